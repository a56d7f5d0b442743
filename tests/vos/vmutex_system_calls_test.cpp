// What a mutex asks of the system.

#include <gtest/gtest.h>

#include "vlib/vos/vmutex.h"
#include "vos/system_calls_double.h"

namespace {

TEST(VMutexCreation, TakesDefaultAttributesAndIsNotRecursive) {
    const SystemCallsDouble system;
    const VMutex mutex;
    EXPECT_EQ(system.mutexes(), 1);
    EXPECT_EQ(system.mutexesWithAttributes(), 0);
}

}  // namespace
