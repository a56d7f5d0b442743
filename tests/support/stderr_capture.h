#pragma once

#include <gtest/gtest.h>

#include <string>

// Captures standard error from its construction until text() or its end, whichever comes first.
// One at a time.
class StderrCapture {
public:
    StderrCapture() { testing::internal::CaptureStderr(); }
    StderrCapture(const StderrCapture&) = delete;
    StderrCapture& operator=(const StderrCapture&) = delete;
    ~StderrCapture() {
        if (capturing) {
            testing::internal::GetCapturedStderr();
        }
    }

    // What was written so far. Ends the capture: to be called once.
    std::string text() {
        capturing = false;
        return testing::internal::GetCapturedStderr();
    }

private:
    bool capturing = true;
};
