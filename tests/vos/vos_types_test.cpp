// The names of the operating system's types.

#include "vlib/vos/vos_types.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <semaphore.h>

#include <cstdio>
#include <type_traits>

namespace {

TEST(VosTypes, NameThePosixTypes) {
    EXPECT_TRUE((std::is_same_v<os_mutex_t, pthread_mutex_t>));
    EXPECT_TRUE((std::is_same_v<os_sem_t, sem_t>));
    EXPECT_TRUE((std::is_same_v<os_thread_t, pthread_t>));
    EXPECT_TRUE((std::is_same_v<os_file_t, std::FILE*>));
    EXPECT_TRUE((std::is_same_v<os_fd_t, int>));
}

}  // namespace
