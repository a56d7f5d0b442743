// Compiled by tests only, with a right and with a wrong ARGUMENT for its format.
#include "vlib/vlog/vlog.h"

void logOneNumber(VLog& log) {
    log.write("A", 1, VLogConfig::INFO, "call.cpp", 12, "%d", ARGUMENT);
}
