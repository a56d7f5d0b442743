#include "logger/logger_benchmarks.h"

int main(int argc, char** argv) {
    loggers::addFloor();
    loggers::addVlog();
#ifdef VELMORA_HAVE_SPDLOG
    loggers::addSpdlog();
#endif
#ifdef VELMORA_HAVE_GLOG
    loggers::addGlog();
#endif
#ifdef VELMORA_HAVE_LOG4CPLUS
    loggers::addLog4cplus();
#endif
#ifdef VELMORA_HAVE_BOOST_LOG
    loggers::addBoostLog();
#endif
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
