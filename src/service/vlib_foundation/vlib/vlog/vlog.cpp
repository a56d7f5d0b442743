#include "vlib/vlog/vlog.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>
#include <tuple>
#include <utility>

#include "vlib/vlog/vlog_default_config.h"
#include "vlib/vlog/vlog_format.h"
#include "vlib/vos/vdiagnostic.h"
#include "vlib/vos/vtime.h"

namespace {

constexpr uint32_t globalPeriodMs = 500;
constexpr uint32_t writerStackSize = 65536;
// Bounds what one drain handles, and the memory of a logger whose files cannot keep up.
constexpr size_t maxQueued = 200;

constexpr const char* sourceName = "vlog";
constexpr const char* ownTopic = "LOGGER";
constexpr const char* dumpTopic = "VLOG";
constexpr const char* backupSuffix = ".bkp";

// Held while the global logger comes and goes. Never destroyed, so that it serves until the very
// end.
VMutex& lifecycleMutex() {
    static VMutex& mutex = *new VMutex;
    return mutex;
}

// Which of 1024 bits stands for the rules of a topic and level.
size_t ruleBit(std::string_view topic, uint32_t level) {
    constexpr uint32_t golden = 0x9E3779B1;  // spreads numbers that are close to each other
    uint32_t hash = level * golden;
    if (!topic.empty()) {
        hash ^= static_cast<uint32_t>(topic.size()) << 16 |
                uint32_t{static_cast<unsigned char>(topic.back())} << 8 |
                uint32_t{static_cast<unsigned char>(topic.front())};
    }
    return hash * golden >> 22;  // ten bits of it
}

bool isDefaultName(const std::string& name) {
    return std::ranges::equal(name, std::string_view("default"),
                              [](unsigned char a, char b) { return std::tolower(a) == b; });
}

}  // namespace

std::atomic<VLog*> VLog::Log = nullptr;

void VLog::init(std::string configFilename) {
    // Asked here already, so that a sink may call it also while destroy() logs.
    if (Log.load() != nullptr) {
        return;
    }
    const VMutexGuard guard(lifecycleMutex());
    if (Log.load() != nullptr) {
        return;
    }
    auto log = std::make_unique<VLog>(globalPeriodMs);
    if (configFilename.empty()) {
        vdiagnostic::print("WARN", sourceName, "init", __LINE__, "VLog disabled");
    } else if (isDefaultName(configFilename)) {
        log->configFromDefault();
    } else {
        log->configFromFile(configFilename);
    }
    log->write(ownTopic, 1, VLogConfig::INFO, sourceName, __LINE__, "VLib log session started");
    // Shown last: whoever is handed the logger reads its rules without a lock.
    Log.store(log.release());
}

VLog* VLog::getGlobalLog() {
    VLog* log = Log.load();
    while (log == nullptr) {
        init("");
        log = Log.load();
    }
    return log;
}

void VLog::destroy() {
    const VMutexGuard guard(lifecycleMutex());
    VLog* log = Log.load();
    if (log == nullptr) {
        return;
    }
    log->write(ownTopic, 2, VLogConfig::INFO, sourceName, __LINE__, "VLib log session stopped");
    // Taken off the door first, so that nobody is handed a logger that is about to go.
    Log.store(nullptr);
    delete log;
}

VLog::VLog() : VLog(globalPeriodMs) {}

VLog::VLog(uint32_t refreshRateMs)
    : thread(std::make_unique<VThread>(this, "vlog_file_update", writerStackSize, VTHREAD_PRIO_AUTO,
                                       refreshRateMs, /*ownsWork=*/false)) {
    setup();
    thread->start();
}

VLog::~VLog() {
    thread.reset();  // stops and joins the writer, whose cleanup drains the queue
    dumpToFile();
}

int VLog::configFromFile(std::string filename) {
    config.removeAll();
    const int state = config.loadFromFile(filename);
    noteRules();
    if ((state & VLogConfig::FILE_NOT_FOUND) != 0) {
        configFromDefault();
        write(ownTopic, 1, VLogConfig::CRITICAL, sourceName, __LINE__,
              "Log configuration file [%s] not found - using default", filename.c_str());
    } else if (state == VLogConfig::OK) {
        configStderr();
        write(ownTopic, 2, VLogConfig::INFO, sourceName, __LINE__,
              "Loaded config file: %s - status: %s", filename.c_str(), "OK");
    } else {
        configFromDefault();
        write(ownTopic, 3, VLogConfig::INFO, sourceName, __LINE__,
              "Loaded config file: %s - status: %s - using default", filename.c_str(),
              "SYNTAX_ERROR");
    }
    return VLogConfig::OK;
}

int VLog::configFromDefault() {
    config.removeAll();
    std::string text = vlogDefaultConfig();
    const int state = config.loadFromString(text);
    noteRules();
    configStderr();
    return state;
}

void VLog::addTopic(std::string topic, uint32_t level, uint32_t tagfmt,
                    std::vector<std::string> files, std::vector<unsigned long> sizes) {
    VLogConfig::Entry entry{std::move(topic), level, tagfmt, std::move(files), std::move(sizes)};
    VLogConfig::pairSizes(entry);
    config.addEntry(entry);
    noteRules();
}

void VLog::removeTopic(std::string topic, uint32_t level) {
    config.removeEntry(std::move(topic), level);
    noteRules();
}

void VLog::noteRules() {
    std::array<uint64_t, std::tuple_size_v<decltype(ruleBits)>> bits{};
    static_assert(64 * bits.size() == 1024);
    for (const auto& [key, entry] : config.configTree) {
        const size_t bit = ruleBit(key.first, key.second);
        bits.at(bit / 64) |= uint64_t{1} << bit % 64;
    }
    // None is cleared on the way: other threads may log under the rules that stay.
    for (size_t i = 0; i < bits.size(); ++i) {
        ruleBits[i].store(bits[i], std::memory_order_relaxed);
    }
}

bool VLog::mayHaveRule(const std::string& topic, uint32_t level) const {
    const size_t bit = ruleBit(topic, level);
    return (ruleBits[bit / 64].load(std::memory_order_relaxed) >> bit % 64 & 1) != 0;
}

void VLog::write(std::string topic, uint16_t id, uint32_t level, const char* file, int line,
                 const char* fmt, ...) {
    if (!mayHaveRule(topic, level)) {
        return;
    }
    const VLogConfig::Entry* rule = config.findEntry(topic, level);
    if (rule == nullptr) {
        return;
    }
    LogEntry entry{.rules = *rule,
                   .id = id,
                   .timestamp = utils::get_formated_time(),
                   .tid = VThread::self(),
                   .file = file != nullptr ? file : "",
                   .line = static_cast<uint32_t>(line),
                   .buffer = {}};
    std::va_list args;
    va_start(args, fmt);
    entry.buffer = vlogformat::formatLine({.tagfmt = rule->tagfmt,
                                           .timestamp = entry.timestamp.c_str(),
                                           .tid = entry.tid,
                                           .topic = topic.c_str(),
                                           .id = id,
                                           .level = vlogformat::levelName(level),
                                           .file = entry.file.c_str(),
                                           .line = line},
                                          fmt != nullptr ? fmt : "", args);
    va_end(args);
    deliver(std::move(entry));
}

void VLog::deliver(LogEntry&& entry) {
    const VMutexGuard guard(mutex);
    if (std::ranges::find(entry.rules.files, vlogConsole) != entry.rules.files.end()) {
        std::fputs(entry.buffer.c_str(), stdout);
        std::fflush(stdout);
    }
    const LogEntry* delivered = &entry;
    if (messages.size() < maxQueued) {
        messages.push_back(std::move(entry));
        delivered = &messages.back();
    }
    for (ILogSink* sink : sinks) {
        sink->consume(this, *delivered);
    }
}

void VLog::addSink(ILogSink* sink) {
    const VMutexGuard guard(mutex);
    if (sink != nullptr && std::ranges::find(sinks, sink) == sinks.end()) {
        sinks.push_back(sink);
    }
}

void VLog::removeSink(ILogSink* sink) {
    const VMutexGuard guard(mutex);
    std::erase(sinks, sink);
}

void VLog::dumpConfigInfo() {
    constexpr uint32_t level = VLogConfig::INFO;
    const std::string ruler(60, '=');
    for (const auto& [key, entry] : config.configTree) {
        write(dumpTopic, 0, level, sourceName, __LINE__, "%s", ruler.c_str());
        write(dumpTopic, 0, level, sourceName, __LINE__, "TOPIC: %s \t\t LEVEL: %s",
              entry.topic.c_str(), vlogformat::levelName(entry.level));
        for (size_t i = 0; i < entry.files.size(); ++i) {
            // Sizes are shown in 32 bits: of a larger one the low part.
            write(dumpTopic, 0, level, sourceName, __LINE__, "FILE: %s \t SIZE: %u B",
                  entry.files[i].c_str(), static_cast<uint32_t>(entry.sizes[i]));
        }
    }
}

std::string VLog::level2name(uint32_t level) {
    return vlogformat::levelName(level);
}

void VLog::setup() {}

void VLog::configStderr() {}

void VLog::run(VThread* /*runningThread*/) {
    dumpToFile();
    VThread::yield();
}

void VLog::cleanup() {
    dumpToFile();
}

void VLog::dumpToFile() {
    const VMutexGuard drain(drainMutex);
    std::vector<LogEntry> taken;
    taken.reserve(maxQueued);  // what the queue is then, so that no caller waits for it to grow
    {
        const VMutexGuard guard(mutex);
        taken.swap(messages);
    }
    for (const LogEntry& entry : taken) {
        for (size_t i = 0; i < entry.rules.files.size(); ++i) {
            if (entry.rules.files[i] != vlogConsole) {
                appendLine(entry.rules.files[i], entry.rules.sizes[i], entry.buffer);
            }
        }
    }
}

void VLog::appendLine(const std::string& filename, uint64_t maxFileSize, const std::string& line) {
    // A limit smaller than the line wraps to a huge number: such a file is never rotated, and 0 is
    // no limit.
    rotateFile(filename, maxFileSize - line.size());
    VFile file;
    if (file.open(filename.c_str(), "ab")) {
        file.write(line);
        file.close();
    }
}

void VLog::rotateFile(std::string filename, size_t maxFileSize) {
    std::error_code error;
    // What is no regular file has no size. To open a FIFO would mean to wait for who writes to it.
    const std::uintmax_t size = std::filesystem::file_size(filename, error);
    VFile file;
    // Opened for writing too: a file that cannot be emptied would be copied for each of its lines.
    if (error || size <= maxFileSize || !file.open(filename.c_str(), "r+b")) {
        return;
    }
    file.close();
    const std::string backup = filename + backupSuffix;
    // Whatever becomes of the backup, the limit holds.
    std::filesystem::copy_file(filename, backup, std::filesystem::copy_options::overwrite_existing,
                               error);
    if (error == std::errc::operation_not_permitted) {
        // It may be written, but being somebody else's does not take the permissions of the file.
        std::ofstream(backup, std::ios::binary)
            << std::ifstream(filename, std::ios::binary).rdbuf();
    }
    file.open(filename.c_str(), "wb");
    file.close();
}
