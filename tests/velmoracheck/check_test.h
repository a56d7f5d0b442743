#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "support/files.h"
#include "support/process.h"
#include "support/temporary_directory.h"

// What a run of the checker came to.
struct CheckOutcome {
    std::string ending;  // "exit 0"
    std::string output;  // standard output
    std::string errors;  // standard error
};

// Runs the real checker in a directory of its own, with the recording double as the engine and with
// an environment that holds little else. Ports are tried on a loopback address that nobody else
// uses.
class CheckTest : public testing::Test {
protected:
    using Arguments = std::vector<std::string>;

    // A log configuration without findings.
    static constexpr char goodLog[] =
        "VELMORASRV ; INFO     ; SIMPLE_TS ; [STDOUT], service.log ; 0, 10M\n"
        "VELMORASRV ; CRITICAL ; FULL      ; [STDOUT]              ; 0\n";
    // An INI file without findings.
    static constexpr char goodIni[] = "[default]\nport = 6000\nconnections = 4\nthreads = 4\n";

    CheckTest() {
        ::umask(022);  // what is written here is for the unprivileged user too
        environment["LD_LIBRARY_PATH"] = ENGINE_DOUBLE_DIRECTORY;
        environment["VELMORA_LIGHT_BIND"] = loopbackAddress();
        environment["ENGINE_DOUBLE_RECORD"] = records.path("calls");
        for (const char* options :
             {"ASAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"}) {
            if (const char* value = std::getenv(options)) {
                environment[options] = value;
            }
        }
    }

    static std::string loopbackAddress() {
        const int number = ::getpid();
        return "127." + std::to_string(64 + number / 65536 % 64) + "." +
               std::to_string(number / 256 % 256) + "." + std::to_string(number % 256);
    }

    // How a program is started: through `prefix`, with these arguments.
    [[nodiscard]] Arguments commandOf(const std::string& name, const Arguments& arguments) const {
        Arguments command = prefix;
        command.push_back(programs + name);
        command.insert(command.end(), arguments.begin(), arguments.end());
        return command;
    }

    [[nodiscard]] Arguments variables() const {
        Arguments texts;
        for (const auto& [name, value] : environment) {
            texts.push_back(name + "=" + value);
        }
        return texts;
    }

    [[nodiscard]] CheckOutcome check(const Arguments& arguments) {
        const TemporaryDirectory streams;
        Process process({.command = commandOf("velmoracheck", arguments),
                         .environment = variables(),
                         .directory = directory.path(),
                         .output = output.empty() ? streams.path("output") : output,
                         .errors = streams.path("errors")});
        const std::string ending = process.waitForEnd();
        return {ending, readFile(streams.path("output")), readFile(streams.path("errors"))};
    }

    // The findings for an INI file, beside a good log configuration.
    [[nodiscard]] CheckOutcome checkIni(const std::string& content) {
        writeFile(directory.path("velmora.ini"), content);
        writeFile(directory.path("vlog.cfg"), goodLog);
        return check({"--quiet", "--ini", "velmora.ini", "--logcfg", "vlog.cfg"});
    }

    // The findings for a log configuration, beside a good INI file.
    [[nodiscard]] CheckOutcome checkLog(const std::string& content) {
        writeFile(directory.path("velmora.ini"), goodIni);
        writeFile(directory.path("vlog.cfg"), content);
        return check({"--quiet", "--ini", "velmora.ini", "--logcfg", "vlog.cfg"});
    }

    // Lets the checker run as a user that permissions hold for, from a place that this user sees.
    void becomeUnprivileged() {
        std::filesystem::permissions(directory.path(), std::filesystem::perms(0755));
        copyProgram();
        environment["LD_LIBRARY_PATH"] = directory.path("lib");
        environment.erase("ENGINE_DOUBLE_RECORD");
        prefix = ::geteuid() == 0 ? Arguments{"/usr/bin/setpriv", "--reuid=65534", "--regid=65534",
                                              "--clear-groups"}
                                  : Arguments{};
    }

    // Puts the programs into bin/ and the engine into lib/ of the directory, and runs them there.
    void copyProgram() {
        std::filesystem::create_directories(directory.path("lib/velmora"));
        std::filesystem::create_directory(directory.path("bin"));
        for (const char* name :
             {"bin/velmoracheck", "bin/velmoraserviced", "lib/velmora/velmoraengine-probe"}) {
            copyForAll(BUILD_DIRECTORY + std::string("/") + name, directory.path(name));
        }
        copyForAll(ENGINE_DOUBLE_DIRECTORY "/libvelmoraLight.so",
                   directory.path("lib/libvelmoraLight.so"));
        programs = directory.path("bin/");
    }

    // Whether somebody listens at the address of the environment.
    [[nodiscard]] bool isListenedOn(int port) const {
        sockaddr_in place{};
        place.sin_family = AF_INET;
        place.sin_port = htons(static_cast<in_port_t>(port));
        ::inet_pton(AF_INET, environment.at("VELMORA_LIGHT_BIND").c_str(), &place.sin_addr);
        const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const bool isConnected =
            ::connect(fd, reinterpret_cast<const sockaddr*>(&place), sizeof place) == 0;
        ::close(fd);
        return isConnected;
    }

    // The calls of the engine.
    [[nodiscard]] std::string calls() const { return readFile(records.path("calls")); }

    TemporaryDirectory directory;  // in which the checker runs
    std::map<std::string, std::string> environment;
    Arguments prefix;    // the program that starts the checker, if there is one, and its arguments
    std::string output;  // a file for standard output in place of one that is read

private:
    static void copyForAll(const std::string& from, const std::string& to) {
        std::filesystem::copy_file(from, to);
        std::filesystem::permissions(to, std::filesystem::perms(0755));
    }

    TemporaryDirectory records;
    std::string programs = BUILD_DIRECTORY "/bin/";
};
