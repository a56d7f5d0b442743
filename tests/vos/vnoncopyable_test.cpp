// Who cannot be copied, and that the base class which sees to it costs nothing.

#include "vlib/vos/vnoncopyable.h"

#include <gtest/gtest.h>

#include <type_traits>

#include "vlib/vos/vfile.h"
#include "vlib/vos/vmutex.h"
#include "vlib/vos/vsemaphore.h"
#include "vlib/vos/vthread.h"

namespace {

template <typename T>
class NoncopyableClass : public testing::Test {};

using Classes = testing::Types<VNoncopyable, VMutex, VMutexGuard, VFile, VSemaphore, VThread>;
TYPED_TEST_SUITE(NoncopyableClass, Classes);

TYPED_TEST(NoncopyableClass, CanNeitherBeCopiedNorMoved) {
    EXPECT_FALSE(std::is_copy_constructible_v<TypeParam>);
    EXPECT_FALSE(std::is_move_constructible_v<TypeParam>);
}

TYPED_TEST(NoncopyableClass, CannotBeAssigned) {
    EXPECT_FALSE(std::is_copy_assignable_v<TypeParam>);
    EXPECT_FALSE(std::is_move_assignable_v<TypeParam>);
}

TYPED_TEST(NoncopyableClass, DerivesFromTheBase) {
    EXPECT_TRUE((std::is_base_of_v<VNoncopyable, TypeParam>));
}

class Derived : public VNoncopyable {
public:
    int data = 7;
};

TEST(VNoncopyable, IsNotMadeOnItsOwn) {
    EXPECT_FALSE(std::is_default_constructible_v<VNoncopyable>);
    EXPECT_FALSE(std::is_destructible_v<VNoncopyable>);
}

TEST(VNoncopyable, LetsDerivedClassesBeMade) {
    EXPECT_TRUE(std::is_default_constructible_v<Derived>);
    EXPECT_EQ(Derived().data, 7);
}

TEST(VNoncopyable, HasNoData) {
    EXPECT_TRUE(std::is_empty_v<VNoncopyable>);
    EXPECT_EQ(sizeof(Derived), sizeof(int));
}

TEST(VThread, NeverThrowsFromItsDestructor) {
    EXPECT_TRUE(std::is_nothrow_destructible_v<VThread>);
    EXPECT_TRUE(std::is_nothrow_destructible_v<VThread::VIRunnable>);
}

}  // namespace
