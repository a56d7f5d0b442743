#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "vlib/vlog/vlog_config.h"
#include "vlib/vos/vfile.h"
#include "vlib/vos/vmutex.h"
#include "vlib/vos/vos_types.h"
#include "vlib/vos/vthread.h"
#include "vlib/vos/vthread_annotations.h"

// The logger. A message is delivered when the configuration has a rule for exactly its topic and
// level (the topic "*" is a name like any other); the rule says what the line looks like and where
// it goes.
//
// Lines for the console are printed at once by the calling thread. Lines for files are queued, at
// most 200 of them, and appended by the logger's own thread once a period; a file that would grow
// past its rule's size is first copied to its name with ".bkp" added, and emptied. Sinks get every
// line at once.
//
// Any thread may call write(), addSink() and removeSink(). Changes of the configuration
// (configFromFile(), configFromDefault(), addTopic(), removeTopic()) are not locked and belong to
// start-up, before others log.
class VLog : public VThread::VIRunnable {
public:
    // One delivered line.
    struct LogEntry {
        // A copy: what happens to the rule later does not matter to the line.
        VLogConfig::Entry rules;
        uint32_t id = 0;
        std::string timestamp;  // 32 characters, of which NULs are the last: use its c_str()
        os_thread_t tid{};
        std::string file;  // the caller's source file and line
        uint32_t line = 0;
        std::string buffer;  // the finished line, "\r\n" included
    };

    // A receiver of lines. Called on the thread that logs, with the logger's mutex held: it must
    // not log to the same logger, nor add or remove sinks.
    class ILogSink {
    public:
        virtual void consume(VLog* log, const LogEntry& entry) = 0;
        virtual ~ILogSink() = default;
    };

    // Creates the global logger, with a period of 500 ms, unless there is one. configFilename is
    // "default" in any letter case for the built-in configuration, the path of a configuration
    // file, or empty for a logger that delivers nothing, which is said in one line on standard
    // output.
    //
    // init(), getGlobalLog() and destroy() are safe against one another from several threads.
    static void init(std::string configFilename);

    // The global logger. Where there is none, one that delivers nothing is created first.
    static VLog* getGlobalLog();

    // Writes what is queued and deletes the global logger. Pointers to it end with that.
    static void destroy();

    VLog();                                 // looks at its queue every 500 ms
    explicit VLog(uint32_t refreshRateMs);  // looks at its queue every refreshRateMs milliseconds
    ~VLog() override;                       // writes what is queued; sinks are not deleted
    VLog(const VLog&) = delete;
    VLog& operator=(const VLog&) = delete;

    // Replaces the configuration by that of a file. When the file is missing or malformed the
    // built-in configuration is used and a line of the topic LOGGER says so. Returns VLogConfig::OK
    // in every case.
    int configFromFile(std::string filename);

    // Replaces the configuration by the built-in one. Returns the result of loading it.
    int configFromDefault();

    // Adds a rule, replacing the one of the same topic and level. sizes are in bytes, one a file, 0
    // for no limit; where they are fewer than the files the last one is repeated.
    void addTopic(std::string topic, uint32_t level, uint32_t tagfmt,
                  std::vector<std::string> files, std::vector<unsigned long> sizes);
    void removeTopic(std::string topic, uint32_t level);

    // Logs a message. topic names the subsystem, id is the call site's number, level one of
    // VLogConfig::Level, file and line the call site; fmt and what follows are as for printf.
    //
    // A line takes up to 1023 characters, its prefix up to 511 of them. A message that does not fit
    // keeps its first part, and the line is padded with zero bytes to the length it would have had.
    [[gnu::format(printf, 7, 8)]] void write(std::string topic, uint16_t id, uint32_t level,
                                             const char* file, int line, const char* fmt, ...);

    // Sinks are not owned: a sink lives until it is removed or the logger is gone. A sink that is
    // in the list already is not added again.
    void addSink(ILogSink* sink) VOS_EXCLUDES(mutex);
    void removeSink(ILogSink* sink) VOS_EXCLUDES(mutex);

    // Logs the rules: topic VLOG, level INFO.
    void dumpConfigInfo();

    // The name of one level; "UNKNOWN" for any other value.
    [[nodiscard]] std::string level2name(uint32_t level);

    // Hooks at the end of construction, and after a configuration was loaded. Both empty.
    void setup();
    void configStderr();

    // The writer thread's work: one drain of the queue a period, and one when the thread ends.
    void run(VThread* runningThread) override;
    void cleanup() override;

    // Appends every queued line to its files, and returns when that is done. A file that cannot be
    // opened is passed over for that line.
    void dumpToFile() VOS_EXCLUDES(mutex, drainMutex);

    // When the file is larger than maxFileSize bytes, makes filename + ".bkp" a copy of it, with
    // its permissions where they may be set, and empties it. Empties it also when the copy cannot
    // be made or not completely. Leaves alone what is no regular file, or cannot be opened for
    // reading and writing.
    void rotateFile(std::string filename, size_t maxFileSize);

private:
    [[nodiscard]] bool mayHaveRule(const std::string& topic, uint32_t level) const;
    void noteRules();
    void appendLine(const std::string& filename, uint64_t maxFileSize, const std::string& line);
    void deliver(LogEntry&& entry) VOS_EXCLUDES(mutex);

    std::vector<LogEntry> messages VOS_GUARDED_BY(mutex);  // what the writer thread has to write
    std::unique_ptr<VThread> thread;
    VMutex mutex;       // guards messages, sinks and the console
    VFile stderrFile;   // reserved
    VLogConfig config;  // on purpose not guarded: changed at start-up only
    std::vector<ILogSink*> sinks VOS_GUARDED_BY(mutex);
    VMutex drainMutex;  // one drain at a time, so that the order of the lines is kept
    // 1024 bits, one of them for each rule. Most messages without a rule are known by it.
    std::array<std::atomic<uint64_t>, 16> ruleBits{};

    static std::atomic<VLog*> Log;  // the global logger
};
