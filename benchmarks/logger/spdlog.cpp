#include <spdlog/async.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include <memory>
#include <thread>

#include "logger/logger_benchmarks.h"

namespace loggers {

namespace {

constexpr const char* pattern = "[%Y:%m:%d %H:%M:%S.%f : %-8n : 0x0007 : INFO] -> %v\r";

struct Spdlog {
    static spdlog::logger& consoleLogger() {
        static const std::shared_ptr<spdlog::logger> logger = [] {
            auto made = spdlog::stdout_logger_mt(line::topic);  // flushes every line
            made->set_pattern(pattern);
            return made;
        }();
        return *logger;
    }
    static spdlog::logger& fileLogger() {
        static const std::shared_ptr<spdlog::logger> logger = [] {
            spdlog::init_thread_pool(8192, 1);
            auto made = spdlog::basic_logger_mt<spdlog::async_factory>("file", "/dev/null");
            made->set_pattern(pattern);
            return made;
        }();
        return *logger;
    }

    static void drop() { consoleLogger().debug("\tport            : {}", line::number); }
    static void print() { consoleLogger().info("\tport            : {}", line::number); }
    static void queue() { fileLogger().info("\tport            : {}", line::number); }
    static void drain() {
        while (spdlog::thread_pool()->queue_size() > 0) {
            std::this_thread::yield();
        }
    }
};

}  // namespace

void addSpdlog() {
    addDropped<Spdlog>("spdlog");
    addConsole<Spdlog>("spdlog");
    addCaller<Spdlog>("spdlog-async");
}

}  // namespace loggers
