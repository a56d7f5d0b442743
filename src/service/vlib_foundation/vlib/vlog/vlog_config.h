#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The routing rules of the logger, read from a text of lines like
//
//   TOPIC ; LEVEL ; TAG_FMT ; FILES {comma separated} ; SIZES {comma separated}
//
// Blanks and tabs mean nothing, also inside names. A line that begins with '#' and a line of at
// most 6 characters are ignored. Bad input is never an error of the caller: what cannot be
// understood becomes a default (level NONE, tag format SIMPLE_TS, size 0), a line without exactly
// five fields is left out.
//
// Not locked: one thread at a time changes the rules, and none reads them meanwhile.
class VLogConfig {
public:
    // Single bits, so that levels can be combined into masks.
    enum Level { NONE = 0, INFO = 1, DEBUG = 2, WARN = 4, NOTICE = 8, CRITICAL = 16, TRACE = 32 };

    // The shape of a line's prefix.
    enum Tag { SIMPLE = 1, SIMPLE_TS = 2, FULL = 3 };

    // The result of a load is a combination of these.
    enum State { EMPTY = 0, MALFORMED = 1, FILE_NOT_FOUND = 2, OK = 4 };

    // One rule: messages of this topic at this level go to these destinations.
    struct Entry {
        std::string topic;
        uint32_t level = NONE;
        uint32_t tagfmt = 0;
        std::vector<std::string> files;  // "[STDOUT]" is standard output
        std::vector<uint64_t> sizes;     // limit in bytes of the file at the same index; 0: none
    };

    using Key = std::pair<std::string, uint32_t>;

    using KeyView = std::pair<std::string_view, uint32_t>;

    // The order of the keys: topic by bytes, then level. Finds a rule without building a key.
    struct KeyLess {
        using is_transparent = void;
        bool operator()(const KeyView& a, const KeyView& b) const { return a < b; }
    };

    static constexpr char comment = '#';
    static constexpr char separator = ';';    // between the fields of a rule
    static constexpr char cat = ',';          // between the items of a list field
    static constexpr int minsize = 6;         // a line of at most so many characters is ignored
    static constexpr int nbfields = 5;        // fields of a rule
    static constexpr size_t linesize = 1024;  // a line's length; no limit follows from it

    // Adds the rules of text to the table; a later rule replaces an earlier one of the same topic
    // and level, none is removed. Returns EMPTY (nothing usable, and no rule in the table),
    // MALFORMED (a line was left out, and no rule in the table), OK, or MALFORMED | OK. text loses
    // its blanks and tabs.
    int loadFromString(std::string& text);

    // The same with the content of a file. FILE_NOT_FOUND alone when it cannot be opened.
    int loadFromFile(std::string& path);

    // Stores a rule under its own topic and level; replaces the one that is there.
    void addEntry(Entry& entry);
    void removeEntry(std::string topic, uint32_t level);
    void removeAll();
    [[nodiscard]] bool hasEntry(std::string topic, uint32_t level) const;

    // Whether the rule exists and has the destination.
    [[nodiscard]] bool hasFile(std::string topic, uint32_t level, std::string file) const;

    // The rule; where there is none, a blank one that is not in the table, until the next call.
    [[nodiscard]] Entry& getEntry(std::string topic, uint32_t level);

    // Whether a destination could be opened for appending, as far as the permissions say. Opens
    // nothing and makes nothing.
    [[nodiscard]] bool isWritableFile(std::string& file) const;

    // The rule for exactly this topic and level, or null. It stays the table's.
    [[nodiscard]] const Entry* findEntry(std::string_view topic, uint32_t level) const;

    // Gives every file a size: the last size is repeated for the files after it (0 when there is
    // none), and sizes without a file are dropped.
    static void pairSizes(Entry& entry);

    std::map<Key, Entry, KeyLess> configTree;

private:
    Entry blank;  // what getEntry() returns for a missing rule
};

// The destination that stands for standard output.
inline constexpr std::string_view vlogConsole = "[STDOUT]";

// The level of an upper-case name; NONE for any other text.
[[nodiscard]] uint32_t parseLevel(std::string text);

// The tag format of a name; SIMPLE_TS for any other text.
[[nodiscard]] uint32_t parseTagFmt(std::string text);

// Sizes in bytes, one a string: a decimal number, times 1000 when a 'K' follows, 1000000 for an
// 'M', 1000000000 for a 'G' (searched in this order, upper case only). A string of more than 9
// characters and one without a number are 0; a negative number wraps to a huge size.
[[nodiscard]] std::vector<uint64_t> parseSize(std::vector<std::string> texts);
