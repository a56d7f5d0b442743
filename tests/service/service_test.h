#pragma once

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "support/capturing_sink.h"
#include "support/environment_variable.h"
#include "support/files.h"
#include "support/log_text.h"
#include "support/temporary_directory.h"
#include "velmoraserver/app/common/velmoraservice.h"
#include "vlib/vlog/vlog.h"

// Links the recording double as the engine, and hears what the service logs.
class ServiceTest : public testing::Test {
protected:
    using Controller = qor::VelmoraServiceController;

    ServiceTest() {
        for (const uint32_t level : {VLogConfig::INFO, VLogConfig::CRITICAL}) {
            VLog::getGlobalLog()->addTopic("VELMORASRV", level, VLogConfig::FULL, {}, {});
        }
    }
    // A new controller replaces the last one, which nobody releases: for the leak check, all of
    // them stay within reach.
    ~ServiceTest() override {
        static auto& controllers = *new std::set<Controller*>;
        controllers.insert(Controller::instance());
    }

    [[nodiscard]] std::string calls() const { return readFile(directory.path("calls")); }
    [[nodiscard]] std::string log() const { return normalised(sink.text()); }

    TemporaryDirectory directory;

private:
    EnvironmentVariable record{"ENGINE_DOUBLE_RECORD", directory.path("calls")};
    CapturingSink sink{*VLog::getGlobalLog()};
};
