// The deadline of a bounded wait.

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>

#include "vlib/vos/vsemaphore.h"
#include "vos/system_calls_double.h"

namespace {

class VSemaphoreDeadline : public testing::Test {
protected:
    void SetUp() override {
        system.setTimeOfDay(1700000000, 123456789);
        system.passTimedWaits();
    }

    SystemCallsDouble system;
    VSemaphore semaphore{1};
};

TEST_F(VSemaphoreDeadline, IsTheTimeOfDayPlusTheSeconds) {
    EXPECT_EQ(semaphore.lock(7), 1);
    ASSERT_TRUE(system.deadline().has_value());
    EXPECT_EQ(system.deadline()->tv_sec, 1700000007);
}

TEST_F(VSemaphoreDeadline, KeepsTheNanoseconds) {
    EXPECT_EQ(semaphore.lock(7), 1);
    ASSERT_TRUE(system.deadline().has_value());
    EXPECT_EQ(system.deadline()->tv_nsec, 123456789);
}

TEST_F(VSemaphoreDeadline, IsNowForTimeoutZero) {
    EXPECT_EQ(semaphore.lock(0), 1);
    ASSERT_TRUE(system.deadline().has_value());
    EXPECT_EQ(system.deadline()->tv_sec, 1700000000);
}

TEST_F(VSemaphoreDeadline, DoesNotOverflowForTheHighestTimeout) {
    EXPECT_EQ(semaphore.lock(INT_MAX), 1);
    ASSERT_TRUE(system.deadline().has_value());
    EXPECT_EQ(system.deadline()->tv_sec, 1700000000 + int64_t{INT_MAX});
}

TEST_F(VSemaphoreDeadline, DoesNotExistForANegativeTimeout) {
    EXPECT_EQ(semaphore.lock(-1), 0);
    EXPECT_FALSE(system.deadline().has_value());
}

}  // namespace
