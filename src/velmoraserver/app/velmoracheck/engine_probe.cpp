#include "velmoraserver/app/velmoracheck/engine_probe.h"

#include <filesystem>
#include <thread>

#include "velmoraserver/app/velmoracheck/engine_child.h"
#include "velmoraserver/app/velmoracheck/listener.h"
#include "velmoraserver/app/velmoracheck/words.h"

namespace velmoracheck {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds step{2};          // between two looks at what is not told of
constexpr milliseconds leaveTime{2000};  // for the end of a server that is no longer wanted

// What became of a process that has ended without an answer.
std::string endText(EngineChild& child, const char* occasion) {
    const EngineChild::Ending ending = child.end(Clock::now());
    const std::string said = child.said();
    constexpr int notLoaded = 127;
    if (ending.signal.empty() && ending.status == notLoaded && !said.empty()) {
        return said;
    }
    const std::string how = ending.signal.empty()
                                ? joined("ends the process with status ", ending.status)
                                : "crashes with SIG" + ending.signal;
    return joined(how, " when it is ", occasion, said.empty() ? "" : "; it says: ", said);
}

bool listensOn(pid_t pid, int port) {
    sockaddr_storage anywhere{};
    anywhere.ss_family = AF_INET;
    reinterpret_cast<sockaddr_in&>(anywhere).sin_port = htons(static_cast<in_port_t>(port));
    return hasSocket(pid, listenersOn(anywhere).sockets);
}

}  // namespace

EngineProbe probeEngine(milliseconds limit) {
    EngineChild child({});
    const std::vector<std::string> texts = child.texts(3, Clock::now() + limit);
    if (texts.size() == 3) {
        const std::string file = std::filesystem::path(texts[0]).lexically_normal().string();
        return {Engine{file, texts[1], texts[2]}, {}};
    }
    if (!child.hasEnded()) {
        return {std::nullopt, joined("does not answer within ", limit.count(), " ms")};
    }
    return {std::nullopt, endText(child, "loaded and asked for its version")};
}

Rehearsal rehearse(const qor::Settings& settings, milliseconds limit) {
    const Clock::time_point begin = Clock::now();
    EngineChild child({settings.port, settings.connections, settings.threads,
                       settings.threadQueuesize, settings.queueTimeout});
    while (Clock::now() < begin + limit) {
        const std::vector<std::string> texts = child.texts(4, Clock::now() + step);
        const bool isCreated = texts.size() == 4 && texts[3] == "created";
        if (isCreated && listensOn(child.pid(), settings.port)) {
            const auto duration = Clock::now() - begin;
            child.release();
            child.end(Clock::now() + leaveTime);
            return {std::chrono::duration_cast<milliseconds>(duration), {}};
        }
        if (texts.size() == 4 && !isCreated) {
            const std::string said = child.said();
            return {{}, said.empty() ? "creates no server, and says nothing" : said};
        }
        if (child.hasEnded()) {
            return {{}, endText(child, "to create its server")};
        }
        if (isCreated) {
            std::this_thread::sleep_for(step);
        }
    }
    return {{},
            joined("does not listen on port ", settings.port, " within ", limit.count(), " ms",
                   child.said().empty() ? "" : "; it says: ", child.said())};
}

}  // namespace velmoracheck
