// Fed: the text of a log configuration, and after a byte 1 a second one for the same table. Must
// hold: result and rules are those of the model; the caller's text loses its blanks and tabs and
// nothing else; each rule has as many sizes as files; the result is one of the five.

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

#include "fuzz/byte_reader.h"
#include "fuzz/require.h"
#include "fuzz/vlog_config_model.h"
#include "vlib/vlog/vlog_config.h"

static void requireSameRules(const VLogConfig& config, const vlogmodel::Rules& rules) {
    require(config.configTree.size() == rules.size(), "the table has the model's rules");
    auto expected = rules.begin();
    for (const auto& [key, entry] : config.configTree) {
        require(entry.sizes.size() == entry.files.size(), "each file has one size");
        require(key == expected->first, "the table has the model's keys, in the same order");
        require(entry.topic == key.first && entry.level == key.second, "a rule has its own key");
        require(entry.tagfmt == expected->second.tagfmt, "the tag format is the model's");
        require(entry.files == expected->second.files, "the files are the model's");
        require(entry.sizes == expected->second.sizes, "the sizes are the model's");
        ++expected;
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ByteReader input(data, size);
    VLogConfig config;
    vlogmodel::Rules rules;
    for (int i = 0; i < 2; ++i) {
        const std::string given = input.upTo(1);
        std::string text = given;
        const int result = config.loadFromString(text);
        require(result == vlogmodel::load(given, rules), "the result is the model's");
        require(std::set<int>{0, 1, 2, 4, 5}.contains(result), "the result is one of the five");
        require(text == vlogmodel::withoutBlanks(given), "the text loses blanks and tabs only");
        requireSameRules(config, rules);
    }
    return 0;
}
