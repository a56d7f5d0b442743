#include <glog/logging.h>

#include "logger/logger_benchmarks.h"

namespace loggers {

namespace {

struct Glog {
    static void drop() { VLOG(1) << "\tport            : " << line::number; }
    static void print() { LOG(INFO) << "\tport            : " << line::number; }
};

}  // namespace

void addGlog() {
    // Its prefix is its own: level, date, time, thread, file, line.
    FLAGS_logtostderr = true;
    google::InitGoogleLogging("logger_benchmark");
    addDropped<Glog>("glog");
    addConsole<Glog>("glog");
}

}  // namespace loggers
