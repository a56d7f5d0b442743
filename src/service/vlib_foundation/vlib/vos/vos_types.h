// The operating-system types behind the wrappers of this folder. Another platform names its own
// here and brings its own files beside those in impl/.
#pragma once

#include <pthread.h>
#include <semaphore.h>

#include <cstdio>

using os_mutex_t = pthread_mutex_t;
using os_sem_t = sem_t;
using os_thread_t = pthread_t;
using os_file_t = std::FILE*;
using os_fd_t = int;
