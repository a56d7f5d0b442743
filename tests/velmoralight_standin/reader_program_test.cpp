// The reader program, as the server talks to it.

#include "reader_program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <seccomp.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ostream>
#include <string>
#include <utility>

#include "support/files.h"
#include "support/process_state.h"
#include "support/row_name.h"
#include "support/stopwatch.h"
#include "support/wait_until.h"
#include "test_images.h"
#include "velmoralight_standin/limits.h"
#include "velmoralight_standin/reader/sandbox.h"

namespace {

using testing::HasSubstr;

// The number in a line of the process's /proc/PID/status, in kB.
long statusOf(pid_t pid, const std::string& name) {
    const std::string text = readFile("/proc/" + std::to_string(pid) + "/status");
    const size_t at = text.find(name + ":");
    return at == std::string::npos ? -1 : std::atol(text.c_str() + at + name.size() + 1);
}

bool isAlive(pid_t pid) {
    return statusOf(pid, "Pid") == pid &&
           readFile("/proc/" + std::to_string(pid) + "/status").find("State:\tZ") ==
               std::string::npos;
}

const std::string& picture() {
    static const std::string file = qrPng("through the program");
    return file;
}

}  // namespace

TEST(ReaderProgram, AnswersOnePictureAfterTheOther) {
    ReaderProgram reader;
    for (int i = 0; i < 3; ++i) {
        const auto answer = reader.ask(picture());
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->code, 0);
        EXPECT_EQ(answer->symbols, 1U);
        EXPECT_THAT(answer->text, HasSubstr("\"text\":\"through the program\""));
        EXPECT_THAT(answer->text, testing::StartsWith("{\"code\":0,"));
        EXPECT_THAT(answer->text, testing::EndsWith("}]}"));
    }
}

TEST(ReaderProgram, PassesTheQueryOn) {
    ReaderProgram reader;
    EXPECT_EQ(reader.ask(picture(), "formats=Aztec")->symbols, 0U);
    EXPECT_EQ(reader.ask(picture(), "roi=1,2,3")->code, 7);
    EXPECT_EQ(reader.ask(picture())->symbols, 1U);
}

TEST(ReaderProgram, AnswersAnEmptyFile) {
    ReaderProgram reader;
    EXPECT_EQ(reader.ask("")->code, 2);
}

TEST(ReaderProgram, EndsWithTheConversation) {
    ReaderProgram reader;
    reader.hangUp();
    const int status = reader.waitForEnd();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

TEST(ReaderProgram, EndsWithAHostThatWasKilled) {
    // The host hands its reader's number up and is killed while that works on a picture.
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const pid_t host = ::fork();
    if (host == 0) {
        ReaderProgram reader;
        reader.send(slowImage());
        const pid_t pid = reader.pid();
        const bool told = ::write(ends[1], &pid, sizeof(pid)) == sizeof(pid);
        ::kill(::getpid(), told ? SIGKILL : SIGTERM);
    }
    pid_t pid = 0;
    ASSERT_EQ(::read(ends[0], &pid, sizeof(pid)), ssize_t(sizeof(pid)));
    ::waitpid(host, nullptr, 0);
    EXPECT_TRUE(waitUntil([pid] { return !isAlive(pid); }));
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST(ReaderProgram, StartsWhereAServiceManagerForbadeSystemCalls) {
    // What a unit that keeps resource limits and sandboxes to administrators forbids.
    const pid_t service = ::fork();
    if (service == 0) {
        const scmp_filter_ctx filter = seccomp_init(SCMP_ACT_ALLOW);
        bool done = true;
        for (const int call :
             {SCMP_SYS(seccomp), SCMP_SYS(setrlimit), SCMP_SYS(sched_setaffinity)}) {
            done = done && seccomp_rule_add(filter, SCMP_ACT_ERRNO(EPERM), call, 0) == 0;
        }
        done = done && seccomp_load(filter) == 0;
        ReaderProgram reader;
        const auto answer = reader.ask(picture());
        ::_exit(done && answer && answer->symbols == 1 ? 0 : 1);
    }
    int status = -1;
    ::waitpid(service, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST(ReaderProgram, AsksForMemoryForALargePictureOnly) {
    ReaderProgram reader;
    EXPECT_EQ(reader.ask(picture())->neededMemory, 0U);
    // 12 megapixels times five and a quarter.
    EXPECT_EQ(reader.ask(encodeJpeg(plain(4000, 3000)))->neededMemory, 61U);
}

TEST(ReaderProgram, DecodesNothingBeforeItsMemoryIsGranted) {
    ReaderProgram reader;
    reader.send(encodeProgressiveJpeg(plain(4000, 3000)));
    EXPECT_TRUE(waitUntil([&] { return statusOf(reader.pid(), "VmRSS") > 0; }));
    EXPECT_LT(statusOf(reader.pid(), "VmHWM"), 40 * 1024);
    EXPECT_EQ(reader.answer()->code, 0);
}

struct LargePicture {
    const char* name;
    std::string (*make)();
};

std::ostream& operator<<(std::ostream& out, const LargePicture& row) {
    return out << row.name;
}

GreyImage noise(int width, int height) {
    // A small piece of it again and again: the file stays small.
    const GreyImage piece = withNoise(plain(250, 250, 128), 127);
    GreyImage all = plain(width, height);
    for (int y = 0; y + 250 <= height; y += 250) {
        for (int x = 0; x + 250 <= width; x += 250) {
            all = placed(std::move(all), piece, x, y);
        }
    }
    return all;
}

class ReaderProgramMemory : public testing::TestWithParam<LargePicture> {};

TEST_P(ReaderProgramMemory, StaysBelowWhatWasAskedForAndIsGivenBack) {
    if (!standin::kIsConfined) {
        GTEST_SKIP() << "this build has its own allocator";
    }
    constexpr long kProgram = 12 * 1024;  // kB: the program itself, its libraries, small files
    const std::string file = GetParam().make();
    ReaderProgram reader;
    const auto answer = reader.ask(file);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->code, 0) << answer->text;
    const long peak = statusOf(reader.pid(), "VmHWM");
    const long asked = static_cast<long>(answer->neededMemory) * 1024;
    const long unasked = static_cast<long>(standin::Limits().smallPictureMemory) * 1024;
    EXPECT_LT(peak, std::max(asked, unasked) + kProgram + static_cast<long>(file.size()) / 1024);
    // The next answer comes after everything of this one is gone.
    ASSERT_TRUE(reader.ask(picture()));
    EXPECT_LT(statusOf(reader.pid(), "VmRSS"), kProgram);
    std::printf("%s: asked %ld MiB, peak %ld MiB, then %ld MiB\n", GetParam().name, asked / 1024,
                peak / 1024, statusOf(reader.pid(), "VmRSS") / 1024);
}

INSTANTIATE_TEST_SUITE_P(
    Pictures, ReaderProgramMemory,
    testing::Values(
        LargePicture{"Progressive", [] { return encodeProgressiveJpeg(plain(8192, 6144, 200)); }},
        LargePicture{"Grey", [] { return encodePng(plain(8000, 8000, 200)); }},
        LargePicture{"Interlaced", [] { return encodeInterlacedPng(plain(4000, 3000, 200)); }},
        LargePicture{"Noisy", [] { return encodePng(noise(4000, 3000)); }},
        LargePicture{"LossyWebp", [] { return encodeWebp(noise(2000, 1500)); }},
        LargePicture{"LosslessWebp", [] { return encodeLosslessWebp(noise(4000, 3000)); }},
        LargePicture{"WebpOfManyTables", [] { return webpOfManyTables(188, 184); }},
        LargePicture{"TransparentWebp", [] { return encodeTransparentWebp(noise(2000, 1500)); }}),
    rowName);

TEST(ReaderProgram, DoesNotUnpackWhatNoPixelComesFrom) {
    // Each of them 64 KiB packed, and a thousand times that unpacked.
    const std::string text = "key" + std::string(2, '\0') + packedZeros(64 * 1024 * 1024);
    std::string chunks;
    for (int i = 0; i < 200; ++i) {
        chunks += pngChunk("zTXt", text);
    }
    chunks += pngChunk("iCCP", text);
    ReaderProgram reader;
    EXPECT_EQ(reader.ask(withPngChunks(picture(), chunks))->symbols, 1U);
    constexpr long kSeconds = 5;  // of the processor: others may have it first
    EXPECT_LT(processorTicks(reader.pid()), kSeconds * ::sysconf(_SC_CLK_TCK));
}

TEST(ReaderProgram, CanBeKilledInTheMidstOfAPicture) {
    ReaderProgram reader;
    reader.send(finderPatterns(700));
    const Stopwatch watch;
    reader.kill();
    EXPECT_FALSE(reader.answer());
    EXPECT_LT(watch.elapsed(), std::chrono::seconds(30));
}
