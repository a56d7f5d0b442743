// The lines that the foundation library prints on standard output.

#include "vlib/vos/vdiagnostic.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "support/on_threads.h"
#include "support/output_capture.h"

namespace {

std::string printed(const std::function<void()>& action) {
    OutputCapture output;
    action();
    return output.text();
}

TEST(VDiagnostic, NamesLevelFileFunctionAndLine) {
    EXPECT_EQ(printed([] { vdiagnostic::print("WARN", "file", "function", 12, "a text"); }),
              "[WARN]\tfile:function():12 - a text\r\n");
}

TEST(VDiagnostic, TakesPercentSignsAsTheyAre) {
    EXPECT_EQ(printed([] { vdiagnostic::print("ERR", "f", "g", 1, "100%n"); }),
              "[ERR]\tf:g():1 - 100%n\r\n");
}

TEST(VDiagnostic, IsFlushedAtOnce) {
    const OutputCapture output;
    vdiagnostic::print("WARN", "f", "g", 1, "text");
    EXPECT_EQ(output.written(), "[WARN]\tf:g():1 - text\r\n");
}

TEST(VDiagnostic, KeepsLinesOfSeveralThreadsApart) {
    constexpr int threads = 4;
    constexpr int linesEach = 250;
    std::string expected;
    for (int i = 0; i < threads * linesEach; ++i) {
        expected += "[WARN]\tf:g():1 - text\r\n";
    }
    EXPECT_EQ(printed([] {
                  onThreads(threads, [](int /*number*/) {
                      for (int n = 0; n < linesEach; ++n) {
                          vdiagnostic::print("WARN", "f", "g", 1, "text");
                      }
                  });
              }),
              expected);
}

}  // namespace
