// An amount of something that several take from and give back to.
#pragma once

#include <cstddef>
#include <utility>

namespace standin {

// What is left of it. Belongs to one thread.
struct Budget {
    std::size_t left = 0;
};

// A part of a budget, given back at the end. The budget outlives it. One that was moved from has
// nothing, and may grow again.
class Claim {
public:
    explicit Claim(Budget& budget) : budget_(&budget) {}
    Claim(Claim&& other) noexcept
        : budget_(other.budget_), amount_(std::exchange(other.amount_, 0)) {}
    Claim(const Claim&) = delete;
    Claim& operator=(const Claim&) = delete;
    Claim& operator=(Claim&&) = delete;
    ~Claim() { release(); }

    [[nodiscard]] std::size_t amount() const { return amount_; }
    [[nodiscard]] bool couldGrowTo(std::size_t amount) const {
        return amount <= amount_ || amount - amount_ <= budget_->left;
    }

    // Makes the part at least this large. False, and nothing changes, when too little is left.
    [[nodiscard]] bool growTo(std::size_t amount) {
        if (!couldGrowTo(amount)) {
            return false;
        }
        const std::size_t more = amount > amount_ ? amount - amount_ : 0;
        budget_->left -= more;
        amount_ += more;
        return true;
    }

    void release() { budget_->left += std::exchange(amount_, 0); }

private:
    Budget* budget_;
    std::size_t amount_ = 0;
};

}  // namespace standin
