// Fed: eight bytes for one end of a range anywhere among the numbers, one for its length and
// direction, then a list of numbers and ranges. Since a range may be of any size, lists with a
// number of more than four digits are left out. Must hold: what was in the output stays, then comes
// the range, number by number, modulo 2^32.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "velmoraserver/parseargs/argvparser.h"

using namespace CommandLineProcessing;

static bool hasLongNumber(const std::string& text) {
    const std::string digits = "0123456789";
    for (size_t begin = 0; (begin = text.find_first_of(digits, begin)) != std::string::npos;) {
        const size_t end = std::min(text.find_first_not_of(digits, begin), text.length());
        if (end - begin > 4) {
            return true;
        }
        begin = end;
    }
    return false;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 9 || hasLongNumber(std::string(data + 9, data + size))) {
        return 0;
    }
    uint64_t bits = 0;
    for (int i = 0; i < 8; ++i) {
        bits = bits << 8 | data[i];
    }
    const long low = static_cast<long>(bits >> 1);
    const long high = low + std::min<long>(data[8] >> 1, std::numeric_limits<long>::max() - low);
    const bool downwards = (data[8] & 1) != 0 && low != high;
    const long first = downwards ? high : low;
    const long last = downwards ? low : high;
    const std::string range = std::to_string(first) + "-" + std::to_string(last);

    std::vector<unsigned int> out{42};
    expandRangeStringToUInt(range + "," + std::string(data + 9, data + size), out);
    bool holds = out.at(0) == 42;
    for (long i = 0; i <= high - low; ++i) {
        const long number = downwards ? first - i : first + i;
        holds = holds && out.at(static_cast<size_t>(i) + 1) == static_cast<unsigned int>(number);
    }
    if (!holds) {
        std::abort();
    }
    return 0;
}
