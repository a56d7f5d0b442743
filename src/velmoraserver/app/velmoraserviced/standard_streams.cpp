#include "velmoraserver/app/velmoraserviced/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

namespace qor {

void openClosedStreams() {
    int descriptor = -1;
    do {
        descriptor = ::open("/dev/null", O_RDWR);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0) {
        ::close(descriptor);
    }
}

}  // namespace qor
