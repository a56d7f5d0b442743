#include "velmoralight_standin/thread_name.h"

#include <pthread.h>

namespace standin {

void nameThisThread(const char* name) noexcept {
    // A thread without its name works as well.
    static_cast<void>(pthread_setname_np(pthread_self(), name));
}

}  // namespace standin
