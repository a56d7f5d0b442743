#include <fstream>
#include <iostream>
#include <string>

#include <boost/core/null_deleter.hpp>
#include <boost/log/attributes/clock.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/async_frontend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/log/sinks/text_ostream_backend.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/sources/severity_channel_logger.hpp>
#include <boost/log/support/date_time.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>

#include "logger/logger_benchmarks.h"

namespace loggers {

namespace {

namespace logging = boost::log;
namespace expressions = boost::log::expressions;
namespace sinks = boost::log::sinks;

enum Severity { debug, info };

using Source = logging::sources::severity_channel_logger_mt<Severity>;
using FileSink = sinks::asynchronous_sink<sinks::text_ostream_backend>;

template <typename Sink>
boost::shared_ptr<Sink> addSink(const boost::shared_ptr<std::ostream>& stream,
                                const std::string& channel) {
    auto backend = boost::make_shared<sinks::text_ostream_backend>();
    backend->add_stream(stream);
    backend->auto_flush(true);
    auto sink = boost::make_shared<Sink>(backend);
    sink->set_filter(expressions::attr<Severity>("Severity") >= info &&
                     expressions::attr<std::string>("Channel") == channel);
    sink->set_formatter(expressions::stream
                        << '['
                        << expressions::format_date_time<boost::posix_time::ptime>(
                               "TimeStamp", "%Y:%m:%d %H:%M:%S.%f")
                        << " : " << expressions::attr<std::string>("Channel")
                        << " : 0x0007 : INFO] -> " << expressions::smessage << '\r');
    logging::core::get()->add_sink(sink);
    logging::core::get()->add_global_attribute("TimeStamp", logging::attributes::local_clock());
    return sink;
}

struct BoostLog {
    static Source& consoleSource() {
        static Source& source = []() -> Source& {
            addSink<sinks::synchronous_sink<sinks::text_ostream_backend>>(
                {&std::cout, boost::null_deleter()}, line::topic);
            return *new Source(logging::keywords::channel = std::string(line::topic));
        }();
        return source;
    }
    static FileSink& fileSink() {
        static const boost::shared_ptr<FileSink> sink =
            addSink<FileSink>(boost::make_shared<std::ofstream>("/dev/null"), "file");
        return *sink;
    }
    static Source& fileSource() {
        static Source& source = []() -> Source& {
            fileSink();
            return *new Source(logging::keywords::channel = std::string("file"));
        }();
        return source;
    }

    static void drop() {
        BOOST_LOG_SEV(consoleSource(), debug) << "\tport            : " << line::number;
    }
    static void print() {
        BOOST_LOG_SEV(consoleSource(), info) << "\tport            : " << line::number;
    }
    static void queue() {
        BOOST_LOG_SEV(fileSource(), info) << "\tport            : " << line::number;
    }
    static void drain() { fileSink().flush(); }
};

}  // namespace

void addBoostLog() {
    addDropped<BoostLog>("boost-log");
    addConsole<BoostLog>("boost-log");
    addCaller<BoostLog>("boost-log-async");
}

}  // namespace loggers
