#include <log4cplus/asyncappender.h>
#include <log4cplus/consoleappender.h>
#include <log4cplus/fileappender.h>
#include <log4cplus/initializer.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <chrono>
#include <memory>
#include <thread>

#include "logger/logger_benchmarks.h"

namespace loggers {

namespace {

// Never deleted: its loggers are used to the end.
void initialise() {
    static const log4cplus::Initializer& initializer = *new log4cplus::Initializer;
    static_cast<void>(initializer);
}

log4cplus::Logger makeLogger(const char* name, const log4cplus::SharedAppenderPtr& writer,
                             const log4cplus::SharedAppenderPtr& appender) {
    writer->setLayout(std::make_unique<log4cplus::PatternLayout>(
        "[%D{%Y:%m:%d %H:%M:%S.%q} : %-8c : 0x0007 : INFO] -> %m\r\n"));
    log4cplus::Logger logger = log4cplus::Logger::getInstance(name);
    logger.setLogLevel(log4cplus::INFO_LOG_LEVEL);
    logger.addAppender(appender);
    return logger;
}

// Counts what reaches the file, so that a drain knows when all of it has.
class CountingFile : public log4cplus::FileAppender {
public:
    CountingFile() : FileAppender("/dev/null") {}
    CountingFile(const CountingFile&) = delete;
    CountingFile& operator=(const CountingFile&) = delete;
    ~CountingFile() override { destructorImpl(); }
    std::atomic<int64_t> lines = 0;

protected:
    void append(const log4cplus::spi::InternalLoggingEvent& event) override {
        FileAppender::append(event);
        ++lines;
    }
};

struct Log4cplus {
    static const log4cplus::Logger& consoleLogger() {
        static const log4cplus::Logger logger = [] {
            initialise();
            const log4cplus::SharedAppenderPtr appender(
                new log4cplus::ConsoleAppender(/*logToStdErr=*/false, /*immediateFlush=*/true));
            return makeLogger(line::topic, appender, appender);
        }();
        return logger;
    }
    static CountingFile& file() {
        static CountingFile& file = *new CountingFile;
        return file;
    }
    static const log4cplus::Logger& fileLogger() {
        static const log4cplus::Logger logger = [] {
            initialise();
            const log4cplus::SharedAppenderPtr appender(&file());
            const log4cplus::SharedAppenderPtr async(
                new log4cplus::AsyncAppender(appender, /*max_len=*/8192));
            return makeLogger("file", appender, async);
        }();
        return logger;
    }

    static void drop() {
        LOG4CPLUS_DEBUG_FMT(consoleLogger(), VELMORA_BENCHMARK_MESSAGE, line::number);
    }
    static void print() {
        LOG4CPLUS_INFO_FMT(consoleLogger(), VELMORA_BENCHMARK_MESSAGE, line::number);
    }
    static void queue() {
        ++queued();
        LOG4CPLUS_INFO_FMT(fileLogger(), VELMORA_BENCHMARK_MESSAGE, line::number);
    }
    static void drain() {
        while (file().lines < queued()) {
            std::this_thread::yield();
        }
    }
    static std::atomic<int64_t>& queued() {
        static std::atomic<int64_t> count = 0;
        return count;
    }
};

}  // namespace

void addLog4cplus() {
    addDropped<Log4cplus>("log4cplus");
    addConsole<Log4cplus>("log4cplus");
    addCaller<Log4cplus>("log4cplus-async");
}

}  // namespace loggers
