// In a program of its own: once there is a controller, a process never is without one again.

#include <gtest/gtest.h>

#include "velmoraserver/app/common/velmoraservice.h"

namespace {

TEST(VelmoraServiceInstance, IsNullBeforeCreateInstance) {
    EXPECT_EQ(qor::VelmoraServiceController::instance(), nullptr);
}

}  // namespace
