// Fed: the text of an INI file. Must hold: the daemon's start asks the engine for the five numbers
// that strtol makes of the values, whatever the case of the keys; for the default where it makes
// none.

#include <INIReader.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "fuzz/recording_engine.h"
#include "fuzz/require.h"
#include "support/files.h"
#include "support/temporary_directory.h"
#include "velmoraserver/app/velmoraserviced/velmoraserviced.h"

static int numberOf(const INIReader& reader, const char* key, int otherwise) {
    const std::string text = reader.Get("DEFAULT", key, "");
    char* end = nullptr;
    const long number = std::strtol(text.c_str(), &end, 0);
    return end == text.c_str() ? otherwise : static_cast<int>(number);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const TemporaryDirectory directory;
    const std::string path = directory.path("velmora.ini");
    writeFile(path, std::string(data, data + size));

    require(startService(path) == -1, "without a server the start fails");
    const FiveNumbers found = numbersOfLastStart();
    forgetLastStart();

    const INIReader reader(path);
    const char* keys[] = {"PORT", "connections", "Threads", "threadQueueSize", "QUEUETIMEOUT"};
    for (size_t i = 0; i < found.size(); ++i) {
        require(found[i] == numberOf(reader, keys[i], defaultNumbers[i]), keys[i]);
    }
    return 0;
}
