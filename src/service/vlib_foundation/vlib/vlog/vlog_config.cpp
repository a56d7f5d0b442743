#include "vlib/vlog/vlog_config.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <sstream>

#include "vlib/vos/vfile.h"
#include "vlib/vos/vfile_access.h"

namespace {

using StringList = std::vector<std::string>;

StringList splitIntoLines(const std::string& text) {
    StringList lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (!line.empty()) {
            lines.push_back(line);
        }
    }
    return lines;
}

// The pieces between the delimiters, empty ones left out.
StringList splitAt(std::string_view text, char delimiter) {
    StringList pieces;
    size_t begin = 0;
    while (begin < text.size()) {
        const size_t end = std::min(text.find(delimiter, begin), text.size());
        if (end > begin) {
            pieces.emplace_back(text.substr(begin, end - begin));
        }
        begin = end + 1;
    }
    return pieces;
}

bool isIgnored(const std::string& line) {
    return line.front() == VLogConfig::comment ||
           line.size() <= static_cast<size_t>(VLogConfig::minsize);
}

VLogConfig::Entry makeEntry(const StringList& fields) {
    VLogConfig::Entry entry;
    entry.topic = fields[0];
    entry.level = parseLevel(fields[1]);
    entry.tagfmt = parseTagFmt(fields[2]);
    entry.files = splitAt(fields[3], VLogConfig::cat);
    entry.sizes = parseSize(splitAt(fields[4], VLogConfig::cat));
    VLogConfig::pairSizes(entry);
    return entry;
}

uint64_t parseOneSize(const std::string& text) {
    constexpr size_t maxLength = 9;
    if (text.size() > maxLength) {
        return 0;
    }
    int number = 0;
    char unit[maxLength + 1] = "";
    // NOLINTNEXTLINE(cert-err34-c): at most nine characters, so the number cannot overflow
    std::sscanf(text.c_str(), "%d%9s", &number, unit);

    int64_t multiplier = 1;
    if (std::strchr(unit, 'K') != nullptr) {
        multiplier = 1000;
    } else if (std::strchr(unit, 'M') != nullptr) {
        multiplier = 1000000;
    } else if (std::strchr(unit, 'G') != nullptr) {
        multiplier = 1000000000;
    }
    return static_cast<uint64_t>(number * multiplier);
}

}  // namespace

int VLogConfig::loadFromString(std::string& text) {
    std::erase(text, ' ');
    std::erase(text, '\t');

    int result = EMPTY;
    for (const std::string& line : splitIntoLines(text)) {
        if (isIgnored(line)) {
            continue;
        }
        const StringList fields = splitAt(line, separator);
        if (fields.size() != static_cast<size_t>(nbfields)) {
            result = MALFORMED;
            continue;
        }
        Entry entry = makeEntry(fields);
        addEntry(entry);
    }
    if (!configTree.empty()) {
        result |= OK;
    }
    return result;
}

int VLogConfig::loadFromFile(std::string& path) {
    VFile file;
    if (!file.open(path.c_str(), "r")) {
        return FILE_NOT_FOUND;
    }
    const std::vector<unsigned char> content = file.read();
    std::string text(content.begin(), content.end());
    return loadFromString(text);
}

void VLogConfig::pairSizes(Entry& entry) {
    const uint64_t last = entry.sizes.empty() ? 0 : entry.sizes.back();
    entry.sizes.resize(entry.files.size(), last);
}

void VLogConfig::addEntry(Entry& entry) {
    configTree[Key(entry.topic, entry.level)] = entry;
}

void VLogConfig::removeEntry(std::string topic, uint32_t level) {
    const auto found = configTree.find(KeyView(topic, level));
    if (found != configTree.end()) {
        configTree.erase(found);
    }
}

void VLogConfig::removeAll() {
    configTree.clear();
}

bool VLogConfig::hasEntry(std::string topic, uint32_t level) const {
    return findEntry(topic, level) != nullptr;
}

bool VLogConfig::hasFile(std::string topic, uint32_t level, std::string file) const {
    const Entry* entry = findEntry(topic, level);
    return entry != nullptr && std::ranges::find(entry->files, file) != entry->files.end();
}

VLogConfig::Entry& VLogConfig::getEntry(std::string topic, uint32_t level) {
    const auto found = configTree.find(KeyView(topic, level));
    if (found != configTree.end()) {
        return found->second;
    }
    blank = Entry{};  // a caller may have filled it
    return blank;
}

bool VLogConfig::isWritableFile(std::string& file) const {
    return file == vlogConsole || vos::canAppendTo(file);
}

const VLogConfig::Entry* VLogConfig::findEntry(std::string_view topic, uint32_t level) const {
    const auto found = configTree.find(KeyView(topic, level));
    return found != configTree.end() ? &found->second : nullptr;
}

uint32_t parseLevel(std::string text) {
    constexpr std::pair<std::string_view, uint32_t> levels[] = {
        {"INFO", VLogConfig::INFO},         {"DEBUG", VLogConfig::DEBUG},
        {"WARN", VLogConfig::WARN},         {"NOTICE", VLogConfig::NOTICE},
        {"CRITICAL", VLogConfig::CRITICAL}, {"TRACE", VLogConfig::TRACE}};
    for (const auto& [name, level] : levels) {
        if (text == name) {
            return level;
        }
    }
    return VLogConfig::NONE;
}

uint32_t parseTagFmt(std::string text) {
    if (text == "SIMPLE") {
        return VLogConfig::SIMPLE;
    }
    if (text == "FULL") {
        return VLogConfig::FULL;
    }
    return VLogConfig::SIMPLE_TS;
}

std::vector<uint64_t> parseSize(std::vector<std::string> texts) {
    std::vector<uint64_t> sizes;
    sizes.reserve(texts.size());
    for (const std::string& text : texts) {
        sizes.push_back(parseOneSize(text));
    }
    return sizes;
}
