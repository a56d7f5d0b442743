#pragma once

// Base of classes whose objects are neither copied nor assigned. It has no data. The copy
// operations are private and have no definition, so that any attempt to copy a derived object fails
// to build.
class VNoncopyable {
protected:
    VNoncopyable() = default;
    ~VNoncopyable() = default;

private:
    // NOLINTNEXTLINE(modernize-use-equals-delete): declared only, for derived classes of any
    // standard
    VNoncopyable(const VNoncopyable&);
    // NOLINTNEXTLINE(modernize-use-equals-delete): declared only, for derived classes of any
    // standard
    VNoncopyable& operator=(const VNoncopyable&);
};
