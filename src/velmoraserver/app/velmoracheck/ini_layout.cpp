#include "velmoraserver/app/velmoracheck/ini_layout.h"

#include <ini.h>

#include <algorithm>
#include <optional>
#include <utility>

namespace velmoracheck {

namespace {

struct Report {
    std::string section;
    std::string key;
    std::string value;
};

constexpr const char* probe = "\nprobe=1";

// What the reader makes of a line that stands alone.
struct Alone {
    bool isError = false;
    std::vector<Report> reports;  // that of the probe is the last

    // `isFirst`: a mark of the byte order is skipped there, and only there.
    Alone(const std::string& line, bool isFirst) {
        // A zero byte ends the line for the reader.
        std::string text = isFirst ? "" : "\n";
        text.append(line, 0, line.find('\0')).append(probe);
        isError = ::ini_parse_string(text.c_str(), take, this) != 0;
    }

    static int take(void* user, const char* section, const char* key, const char* value) {
        static_cast<Alone*>(user)->reports.push_back({section, key, value});
        return 1;
    }
};

constexpr const char* blanks = " \t\r\n\v\f";

// Whether a line that is neither key nor error is no comment and not blank either. Before the first
// one there may be a mark of the byte order.
bool isSection(const std::string& line) {
    const std::size_t begin =
        line.find_first_not_of(blanks, line.starts_with("\xEF\xBB\xBF") ? 3 : 0);
    return begin != std::string::npos && line[begin] == '[';
}

// What stands behind the section in a line and is no comment: the reader does not look at it.
std::string afterSection(const std::string& line) {
    const std::size_t begin = line.find_first_not_of(blanks, line.find(']') + 1);
    if (begin == std::string::npos || line[begin] == ';' || line[begin] == '#') {
        return {};
    }
    return line.substr(begin, line.find_last_not_of(blanks) + 1 - begin);
}

// Hands the text to the reader, piece by piece as fgets() would, and notes what becomes of each.
class Watch {
public:
    explicit Watch(std::string_view theText) : text(theText) {}

    std::vector<IniLine> run() {
        ::ini_parse_stream(nextPiece, this, takeKey, this);
        return std::move(lines);
    }

private:
    static char* nextPiece(char* buffer, int size, void* stream) {
        return static_cast<Watch*>(stream)->next(buffer, static_cast<std::size_t>(size));
    }

    static int takeKey(void* user, const char* section, const char* key, const char* value) {
        static_cast<Watch*>(user)->reported = Report{section, key, value};
        return 1;
    }

    char* next(char* buffer, std::size_t size) {
        if (position > 0) {
            finishPiece();
        }
        if (position == text.size()) {
            return nullptr;
        }
        const std::size_t lineEnd = text.find('\n', position);
        const std::size_t toEnd =
            (lineEnd == std::string_view::npos ? text.size() : lineEnd + 1) - position;
        piece = text.substr(position, std::min(toEnd, size - 1));
        buffer[piece.copy(buffer, size - 1)] = '\0';
        position += piece.size();
        return buffer;
    }

    void finishPiece() {
        const Alone alone(piece, position == piece.size());
        if (reported) {
            const bool isWhole = alone.reports.size() == 2 &&
                                 alone.reports.front().key == reported->key &&
                                 alone.reports.front().value == reported->value;
            add(isWhole ? IniLine::Value : IniLine::Continuation, *reported);
            reported.reset();
        } else if (alone.isError && !isRest) {  // the rest of a line is told of once
            add(IniLine::SyntaxError, {});
        } else if (!alone.isError && alone.reports.size() == 1 && isSection(piece)) {
            addSection(alone.reports.front().section);
        }
        countLine();
    }

    void addSection(const std::string& section) {
        if (!section.empty()) {
            add(IniLine::Section, {section, {}, {}});
        }
        if (const std::string rest = afterSection(piece.substr(0, piece.find('\0')));
            !rest.empty()) {
            add(IniLine::AfterSection, {section, {}, rest});
        }
    }

    void countLine() {
        if (piece.ends_with('\n')) {
            ++number;
            isRest = false;
        } else if (!isRest && position < text.size()) {
            isRest = true;
            if (restOfLine().find_first_not_of(" \t\r") != std::string_view::npos) {
                add(IniLine::Overlong, {{}, {}, std::string(restOfLine())});
            }
        }
    }

    [[nodiscard]] std::string_view restOfLine() const {
        return text.substr(position, text.find('\n', position) - position);
    }

    void add(IniLine::Kind kind, Report report) {
        lines.push_back({kind, number, std::move(report.section), std::move(report.key),
                         std::move(report.value)});
    }

    std::string_view text;
    std::size_t position = 0;
    std::size_t number = 1;
    std::string piece;               // what the reader has been given last
    bool isRest = false;             // it does not begin at the beginning of a line
    std::optional<Report> reported;  // what the reader said of it
    std::vector<IniLine> lines;
};

}  // namespace

std::vector<IniLine> iniLayout(std::string_view text) {
    return Watch(text).run();
}

}  // namespace velmoracheck
