// A run of operations on a real logger and on the model of one, side by side.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "fuzz/byte_reader.h"
#include "fuzz/require.h"
#include "fuzz/vlog_model.h"
#include "support/files.h"
#include "support/temporary_directory.h"
#include "vlib/vlog/vlog.h"

namespace vlogrun {

inline const std::string topics[] = {"A", "LONGNAME"};
inline const std::pair<uint32_t, std::string> levels[] = {{VLogConfig::INFO, "INFO"},
                                                          {7, "UNKNOWN"}};
inline const std::string destinations[] = {"a",     "b",    "dir/c", "a.bkp",
                                           "dir/d", "no/e", "",      "[STDOUT]"};
inline const std::string paths[] = {"a", "a.bkp", "dir", "dir/c", "dir/c.bkp", "b"};
inline constexpr uint64_t sizes[] = {0, 1, 40, 100, 1000, 4000, UINT64_MAX};

// Notes its number and the line.
class Sink : public VLog::ILogSink {
public:
    void consume(VLog* /*log*/, const VLog::LogEntry& entry) override {
        lines->emplace_back(number, entry.buffer);
    }
    size_t number = 0;
    std::vector<std::pair<size_t, std::string>>* lines = nullptr;
};

// What an input does, one operation a step. Leaves the logger without rules, sinks and lines.
class Run {
public:
    Run(ByteReader& bytes, VLog& logger) : input(bytes), log(logger) {
        for (size_t i = 0; i < std::size(sinks); ++i) {
            sinks[i].number = i;
            sinks[i].lines = &consumed;
        }
        std::filesystem::create_directory(directory.path("dir"));
        model.folder.directories.insert("dir");
    }
    ~Run() {
        log.dumpToFile();
        for (const auto& [key, rule] : model.rules) {
            log.removeTopic(key.first, key.second);
        }
        for (Sink& sink : sinks) {
            log.removeSink(&sink);
        }
    }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    void step() {
        switch (input.below(10)) {
            case 0:
                return addTopic();
            case 1:
                return removeTopic();
            case 2:
                return addSink();
            case 3:
                return removeSink();
            case 4:
                return drain();
            case 5:
                return removePath();
            case 6:
                return truncateFile();
            case 7:
                return replaceFile();
            case 8:
                return makeDirectory();
            default:
                return writeLines();
        }
    }

    void drain() {
        log.dumpToFile();
        model.drain();
        compareFolders();
    }

    void compareDelivered(const std::string& console) const {
        require(console == model.console, "the console has the model's lines");
        require(consumed == model.consumed, "the sinks have the model's lines");
    }

private:
    void addTopic() {
        const std::string& topic = topics[input.below(2)];
        const uint32_t level = levels[input.below(2)].first;
        vlogmodel::Rule rule;
        std::vector<std::string> files;
        for (size_t n = input.below(4); n > 0; --n) {
            rule.files.push_back(destinations[input.below(std::size(destinations))]);
            const bool console = rule.files.back() == "[STDOUT]";
            files.push_back(console ? rule.files.back() : directory.path(rule.files.back()));
        }
        for (size_t n = input.below(5); n > 0; --n) {
            rule.sizes.push_back(sizes[input.below(std::size(sizes))]);
        }
        log.addTopic(topic, level, VLogConfig::SIMPLE, files, rule.sizes);
        model.addTopic(topic, level, rule);
    }

    void removeTopic() {
        const std::string& topic = topics[input.below(2)];
        const uint32_t level = levels[input.below(2)].first;
        log.removeTopic(topic, level);
        model.rules.erase({topic, level});
    }

    // One number more than there are sinks stands for no sink.
    void addSink() {
        const size_t number = input.below(std::size(sinks) + 1);
        if (number == std::size(sinks)) {
            log.addSink(nullptr);
        } else {
            log.addSink(&sinks[number]);
            model.addSink(number);
        }
    }

    void removeSink() {
        const size_t number = input.below(std::size(sinks));
        log.removeSink(&sinks[number]);
        std::erase(model.sinks, number);
    }

    void writeLines() {
        const std::string& topic = topics[input.below(2)];
        const auto& [level, name] = levels[input.below(2)];
        const std::string message(6U * input.next(), 'm');
        for (size_t n = 1 + input.below(64); n > 0; --n) {
            log.write(topic, 42, level, "file", 1, "%s%zu", message.c_str(), n);
            model.write(topic, level, name, message + std::to_string(n));
        }
    }

    void removePath() {
        const std::string& name = paths[input.below(std::size(paths))];
        std::error_code parentIsNoDirectory;
        std::filesystem::remove_all(directory.path(name), parentIsNoDirectory);
        model.folder.remove(name);
    }

    void truncateFile() {
        const std::string& name = paths[input.below(std::size(paths))];
        const size_t length = input.next();
        if (model.folder.files.contains(name)) {
            std::filesystem::resize_file(directory.path(name), length);
            model.folder.files[name].resize(length, '\0');
        }
    }

    void replaceFile() {
        const std::string& name = paths[input.below(std::size(paths))];
        const std::string content(4U * input.next(), 'r');
        if (model.folder.canHold(name)) {
            std::filesystem::remove(directory.path(name));
            writeFile(directory.path(name), content);
            model.folder.files[name] = content;
        }
    }

    void makeDirectory() {
        const std::string& name = paths[input.below(std::size(paths))];
        if (model.folder.canHold(name) && !model.folder.files.contains(name)) {
            std::filesystem::create_directory(directory.path(name));
            model.folder.directories.insert(name);
        }
    }

    void compareFolders() const {
        vlogmodel::Folder found;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(directory.path())) {
            const std::string name = entry.path().string().substr(directory.path().size() + 1);
            if (entry.is_directory()) {
                found.directories.insert(name);
            } else {
                found.files[name] = readFile(entry.path());
            }
        }
        require(found.directories == model.folder.directories, "the directories are the model's");
        require(found.files == model.folder.files, "the files have the model's content");
    }

    ByteReader& input;
    VLog& log;
    TemporaryDirectory directory;
    vlogmodel::Logger model;
    Sink sinks[3];
    std::vector<std::pair<size_t, std::string>> consumed;
};

}  // namespace vlogrun
