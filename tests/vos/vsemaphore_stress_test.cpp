// Several threads that give and take at full speed.

#include <gtest/gtest.h>

#include <array>
#include <atomic>

#include "support/on_threads.h"
#include "support/stress_test.h"
#include "vlib/vos/vsemaphore.h"

namespace {

class VSemaphoreStress : public StressTest {};

TEST_F(VSemaphoreStress, HandsOutWhatWasGivenAndNoMore) {
    std::array<Random, 4> random{randomOf(0), randomOf(1), randomOf(2), randomOf(3)};
    VSemaphore semaphore(3);
    std::atomic<int> balance = 3;
    std::atomic<int> nonsense = 0;
    onThreads(4, [&](int number) {
        while (goesOn()) {
            if (below(2, random[static_cast<size_t>(number)]) == 0) {
                ++balance;
                semaphore.release();
            } else if (semaphore.lock(0) >= 0) {
                --balance;
            }
            nonsense += static_cast<int>(balance < 0);
        }
    });
    EXPECT_EQ(nonsense, 0);
    semaphore.release();
    EXPECT_EQ(semaphore.lock(0), balance);
}

TEST_F(VSemaphoreStress, WakesOneWaitingThreadForEachRelease) {
    Random random = randomOf(0);
    while (goesOn()) {
        const int each = 1 + below(50, random);
        VSemaphore semaphore;
        std::atomic<int> taken = 0;
        onThreads(4, [&](int number) {
            for (int n = 0; n < each; ++n) {
                if (number % 2 == 0) {
                    semaphore.release();
                } else {
                    taken += static_cast<int>(number == 1 ? semaphore.lock() >= 0
                                                          : semaphore.lock(3600) >= 0);
                }
            }
        });
        ASSERT_EQ(taken, 2 * each);
        ASSERT_EQ(semaphore.lock(0), -1);
    }
}

}  // namespace
