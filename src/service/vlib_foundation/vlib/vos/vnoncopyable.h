#pragma once

// Base of classes whose objects are neither copied nor assigned. It has no data. The copy
// operations are private and have no definition, so that any attempt to copy a derived object fails
// to build.
class VNoncopyable {
protected:
    VNoncopyable() = default;
    ~VNoncopyable() = default;

private:
    // NOLINTNEXTLINE(modernize-use-equals-delete): declared and never defined is the contract
    VNoncopyable(const VNoncopyable&);
    // NOLINTNEXTLINE(modernize-use-equals-delete): declared and never defined is the contract
    VNoncopyable& operator=(const VNoncopyable&);
};
