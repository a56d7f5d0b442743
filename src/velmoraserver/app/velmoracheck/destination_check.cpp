#include "velmoraserver/app/velmoracheck/destination_check.h"

#include <map>
#include <set>

#include "velmoraserver/app/velmoracheck/file_probe.h"
#include "velmoraserver/app/velmoracheck/own_line.h"

namespace velmoracheck {

namespace {

// No size of nine characters comes to more, and no negative one to less.
constexpr std::uint64_t largestLimit = std::uint64_t{1} << 62U;
constexpr const char* backupSuffix = ".bkp";

// A file, as the first rule that names it has it.
struct Seen {
    std::string name;
    std::uint64_t limit;
    std::size_t line;
    std::string backup;  // the identity of its backup, if a rule limits it
};

class DestinationCheck {
public:
    DestinationCheck(const std::string& thePath, const std::optional<std::string>& theIniFile,
                     Findings& theFindings)
        : path(thePath), iniFile(theIniFile), findings(theFindings) {}

    void check(const LogRule& rule) {
        const Place place{path, rule.line};
        if (rule.entry.files.empty()) {
            findings.error(place, "no destination: nothing is written; name '[STDOUT]' or a file");
        }
        std::map<std::string, std::string> names;  // of this rule, by identity
        for (std::size_t i = 0; i < rule.entry.files.size(); ++i) {
            const std::string& name = rule.entry.files[i];
            if (name == vlogConsole) {
                continue;
            }
            const std::string identity = identityOf(name);
            const auto [first, isNew] = names.try_emplace(identity, name);
            if (!isNew) {
                findings.warning(place, inQuotes(name), " is the file ", inQuotes(first->second),
                                 " again: it gets each line twice");
            }
            checkFile(name, identity, limitOf(rule.entry.sizes[i]), rule);
        }
    }

    // Once all files are known.
    void checkBackups() {
        for (const auto& [identity, file] : files) {
            const auto other = file.backup.empty() ? files.end() : files.find(file.backup);
            if (other != files.end()) {
                findings.error({path, other->second.line}, inQuotes(other->second.name),
                               " is also the backup of ", inQuotes(file.name),
                               ", which overwrites it: choose another name");
            }
        }
    }

private:
    void checkFile(const std::string& name, const std::string& identity, std::uint64_t limit,
                   const LogRule& rule) {
        const Place place{path, rule.line};
        const auto [found, isNew] = files.try_emplace(identity, Seen{name, limit, rule.line, {}});
        const bool isFifo = isWritableFifo(name);
        if (isNew) {
            checkConsoleName(name, place);
            if (isFifo) {
                findings.warning(place, "destination ", inQuotes(name),
                                 " is a FIFO: while nobody reads it, no file gets a line");
            } else {
                checkWritable("destination", name, place);
            }
        } else if (found->second.limit != limit) {
            findings.warning(place, inQuotes(name), " has the limit ", limit, " here and ",
                             found->second.limit, " in line ", found->second.line,
                             ": give it one limit");
        }
        if (limit > 0 && !isFifo) {  // nothing is ever taken out of a FIFO
            checkLimit(name, limit, rule, found->second);
        }
    }

    void checkConsoleName(const std::string& name, const Place& place) {
        if (lowerCase(name) == "[stdout]" || lowerCase(name) == "stdout") {
            findings.warning(place, inQuotes(name),
                             " is a file of this name: did you mean '[STDOUT]'?");
        }
    }

    // A file is rotated before a line that would make it longer than its limit, unless the line
    // alone is longer.
    void checkLimit(const std::string& name, std::uint64_t limit, const LogRule& rule, Seen& seen) {
        const Place place{path, rule.line};
        const std::size_t line = shortestLine(rule.entry, iniFile).value_or(0);
        if (limit < line) {
            findings.warning(place, "limit of ", limit, " bytes is smaller than any line of this ",
                             "rule (", line, " bytes at least): ", inQuotes(name),
                             " never rotates; write 0 for no limit, or a larger one");
        } else if (seen.backup.empty()) {
            seen.backup = identityOf(name + backupSuffix);
            checkWritable("backup", name + backupSuffix, place);
            if (const std::string why = whyNotReadable(name); !why.empty()) {
                findings.error(place, "destination ", inQuotes(name),
                               " cannot be read, so it never rotates: ", why);
            }
        }
    }

    void checkWritable(const char* what, const std::string& name, const Place& place) {
        if (const std::string why = whyNotWritable(name); !why.empty()) {
            findings.error(place, what, " ", inQuotes(name), " cannot be written: ", why);
        } else if (identityOf(name) == identityOf(path)) {
            findings.error(place, what, " ", inQuotes(name),
                           " is the log configuration itself, which the log would destroy");
        } else if (iniFile && identityOf(name) == identityOf(*iniFile)) {
            findings.error(place, what, " ", inQuotes(name),
                           " is the INI file, which the log would destroy");
        }
    }

    const std::string& path;
    const std::optional<std::string>& iniFile;
    Findings& findings;
    std::map<std::string, Seen> files;  // by identity
};

}  // namespace

std::uint64_t limitOf(std::uint64_t size) {
    return size < largestLimit ? size : 0;
}

void checkDestinations(const std::vector<LogRule>& rules, const std::string& path,
                       const std::optional<std::string>& iniFile, Findings& findings) {
    DestinationCheck destinations(path, iniFile, findings);
    for (const LogRule& rule : rules) {
        if (rule.kind == LogRule::Rule && !rule.replacedBy) {
            destinations.check(rule);
        }
    }
    destinations.checkBackups();
}

}  // namespace velmoracheck
