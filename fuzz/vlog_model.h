// What a logger that is drained by hand does to console, sinks and files: in memory, and without a
// line of the product, for comparison.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vlogmodel {

// A directory with files, and directories with files, in it. Its own name is "".
struct Folder {
    std::map<std::string, std::string> files;
    std::set<std::string> directories{""};

    // Whether a file of this name is there or could be made.
    [[nodiscard]] bool canHold(const std::string& name) const {
        const size_t slash = std::min(name.find('/'), name.size());
        const std::string parent = slash < name.size() ? name.substr(0, slash) : "";
        return directories.contains(parent) && !directories.contains(name);
    }

    void remove(const std::string& name) {
        const auto goes = [&name](const std::string& other) {
            return other == name || other.starts_with(name + "/");
        };
        std::erase_if(directories, goes);
        std::erase_if(files, [&goes](const auto& file) { return goes(file.first); });
    }
};

struct Rule {
    std::vector<std::string> files;
    std::vector<uint64_t> sizes;
};

class Logger {
public:
    std::map<std::pair<std::string, uint32_t>, Rule> rules;
    std::vector<size_t> sinks;
    Folder folder;

    std::string console;
    std::vector<std::pair<size_t, std::string>> consumed;  // sink and line

    void addSink(size_t sink) {
        if (std::find(sinks.begin(), sinks.end(), sink) == sinks.end()) {
            sinks.push_back(sink);
        }
    }

    // The last size serves the files that have none.
    void addTopic(const std::string& topic, uint32_t level, Rule rule) {
        while (rule.sizes.size() < rule.files.size()) {
            rule.sizes.push_back(rule.sizes.empty() ? 0 : rule.sizes.back());
        }
        rules[{topic, level}] = rule;
    }

    // The tag format is SIMPLE. A line has 1023 characters at most, then zero bytes.
    void write(const std::string& topic, uint32_t level, const std::string& levelName,
               const std::string& message) {
        const auto rule = rules.find({topic, level});
        if (rule == rules.end()) {
            return;
        }
        std::string line = "[" + topic + std::string(8 - topic.size(), ' ') +
                           " : 0x002A : " + levelName + "] -> " + message;
        for (size_t i = 1023; i < line.size(); ++i) {
            line[i] = '\0';
        }
        line += "\r\n";
        const auto& files = rule->second.files;
        if (std::find(files.begin(), files.end(), "[STDOUT]") != files.end()) {
            console += line.c_str();
        }
        if (queue.size() < 200) {
            queue.emplace_back(line, rule->second);
        }
        for (const size_t sink : sinks) {
            consumed.emplace_back(sink, line);
        }
    }

    void drain() {
        for (const auto& [line, rule] : queue) {
            for (size_t i = 0; i < rule.files.size(); ++i) {
                if (rule.files[i] != "[STDOUT]") {
                    append(rule.files[i], rule.sizes[i], line);
                }
            }
        }
        queue.clear();
    }

private:
    // A size that is smaller than the line is no limit.
    void append(const std::string& name, uint64_t size, const std::string& line) {
        if (!folder.canHold(name)) {
            return;
        }
        std::string& content = folder.files[name];
        const std::string backup = name + ".bkp";
        if (size >= line.size() && content.size() + line.size() > size) {
            if (folder.canHold(backup)) {
                folder.files[backup] = content;
            }
            folder.files[name].clear();
        }
        folder.files[name] += line;
    }

    std::vector<std::pair<std::string, Rule>> queue;
};

}  // namespace vlogmodel
