#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <optional>

#include "support/wait_until.h"
#include "velmoracheck/check_test.h"
#include "velmoraserver/app/velmoracheck/port_check.h"

using velmoracheck::endpointOf;
using velmoracheck::tryPort;
using velmoracheck::unitOf;

namespace {

// A server on a port that the system chooses.
class Listener {
public:
    explicit Listener(const std::string& address)
        : fd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in place{};
        place.sin_family = AF_INET;
        ::inet_pton(AF_INET, address.c_str(), &place.sin_addr);
        socklen_t length = sizeof place;
        auto* any = reinterpret_cast<sockaddr*>(&place);
        if (::bind(fd, any, length) != 0 || ::listen(fd, 1) != 0 ||
            ::getsockname(fd, any, &length) != 0) {
            throw std::runtime_error("cannot listen on " + address);
        }
        number = ntohs(place.sin_port);
    }
    ~Listener() { ::close(fd); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    [[nodiscard]] int port() const { return number; }

private:
    int fd;
    int number = 0;
};

// The error of listening there.
int tryAddress(const std::string& address, int port) {
    std::optional<sockaddr_storage> endpoint = endpointOf(address, port);
    return endpoint ? tryPort(*endpoint) : -1;
}

class TryPort : public CheckTest {};

TEST_F(TryPort, TellsAPortInUse) {
    const Listener server("127.0.0.1");
    EXPECT_EQ(tryAddress("127.0.0.1", server.port()), EADDRINUSE);
}

TEST_F(TryPort, LeavesAFreePortFree) {
    int port = 0;
    {
        const Listener server(loopbackAddress());
        port = server.port();
    }
    EXPECT_EQ(tryAddress(loopbackAddress(), port), 0);
    EXPECT_EQ(tryAddress(loopbackAddress(), port), 0);
}

TEST_F(TryPort, TellsAnAddressOfAnotherMachine) {
    EXPECT_EQ(tryAddress("192.0.2.1", 6000), EADDRNOTAVAIL);
}

TEST(EndpointOf, IsNothingForAnAddressThatIsNone) {
    for (const char* text : {"", "localhost", "1.2.3", "1.2.3.4%lo", "::1::", "[::1]"}) {
        EXPECT_FALSE(endpointOf(text, 6000)) << text;
    }
}

class PortFinding : public CheckTest {
protected:
    PortFinding() { writeFile(directory.path("vlog.cfg"), goodLog); }
};

TEST_F(PortFinding, InUseIsAWarningAtThePlaceOfTheSetting) {
    const Listener server(environment["VELMORA_LIGHT_BIND"]);
    const std::string port = std::to_string(server.port());
    const CheckOutcome outcome = checkIni("[default]\nthreads = 1\nport = " + port + "\n");
    EXPECT_EQ(outcome.output,
              "velmora.ini:3: warning: port " + port + " of '" + environment["VELMORA_LIGHT_BIND"] +
                  "' is in use now by velmoracheck_te (process " + std::to_string(::getpid()) +
                  "): stop it, or choose another port\n");
    EXPECT_EQ(outcome.ending, "exit 0");
}

TEST_F(PortFinding, IsTriedOnTheLoopbackAddressWithoutAVariable) {
    const Listener server("127.0.0.1");
    environment.erase("VELMORA_LIGHT_BIND");
    const std::string port = std::to_string(server.port());
    EXPECT_EQ(check({"--quiet", "--logcfg", "vlog.cfg", "-p", port}).output,
              "<command-line>:1: warning: port " + port +
                  " of '127.0.0.1' is in use now by velmoracheck_te (process " +
                  std::to_string(::getpid()) + "): stop it, or choose another port\n");
}

TEST_F(PortFinding, CannotBeTriedOnAnAddressThatIsNone) {
    environment["VELMORA_LIGHT_BIND"] = "everywhere";
    EXPECT_EQ(
        check({"--quiet", "--logcfg", "vlog.cfg", "-p", "6000"}).output,
        "<environment>:1: warning: VELMORA_LIGHT_BIND is 'everywhere', which is no IP address\n");
}

TEST_F(PortFinding, OfALinkLocalAddressMayNameItsInterface) {
    for (const char* address : {"::1%lo", "fe80::1%lo", "::1", "0.0.0.0"}) {
        EXPECT_TRUE(endpointOf(address, 6000)) << address;
    }
    environment["VELMORA_LIGHT_BIND"] = "::1%lo";
    EXPECT_EQ(check({"--quiet", "--logcfg", "vlog.cfg", "-p", "6000"}).output, "");
}

// A daemon that serves on a free port, and the checker beside it.
class PortOfTheDaemon : public PortFinding {
protected:
    PortOfTheDaemon() {
        environment["LD_LIBRARY_PATH"] = SPECIAL_ENGINES "/listening";
        const Listener server(environment["VELMORA_LIGHT_BIND"]);
        port = std::to_string(server.port());
        ini = "[default]\nport = " + port + "\n";
        writeFile(directory.path("velmora.ini"), ini);
    }

    void start(const Arguments& arguments) {
        daemon.emplace(Process::Start{.command = commandOf("velmoraserviced", arguments),
                                      .environment = variables(),
                                      .directory = directory.path(),
                                      .output = directory.path("output"),
                                      .errors = directory.path("errors")});
        // To try to listen there would now and then take the port from the daemon.
        ASSERT_TRUE(waitUntil([this] { return isListenedOn(std::stoi(port)); }));
    }

    [[nodiscard]] std::string findings(const Arguments& arguments) {
        Arguments all{"--quiet", "--logcfg", "vlog.cfg"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return check(all).output;
    }

    // The warning of a port that the daemon has, which was started so.
    [[nodiscard]] std::string warning(const std::string& place, const std::string& started) {
        return place + ": warning: port " + port + " of '" + environment["VELMORA_LIGHT_BIND"] +
               "' is in use now by velmoraserviced (process " + std::to_string(daemon->pid()) +
               ", started with " + started + "): stop it, or choose another port\n";
    }

    std::string port;
    std::string ini;
    std::optional<Process> daemon;
};

TEST_F(PortOfTheDaemon, IsNoFindingWhenThatDaemonIsToBeRestarted) {
    start({"--ini", "velmora.ini"});
    EXPECT_EQ(findings({"--strict", "--ini", "velmora.ini"}), "");
    EXPECT_EQ(findings({"--strict", "--ini", directory.path("velmora.ini")}), "");
    EXPECT_NE(
        check({"--logcfg", "vlog.cfg", "--ini", "velmora.ini"})
            .output.find("\nNote: port " + port + " of '" + environment["VELMORA_LIGHT_BIND"] +
                         "' is held by the daemon that is to be restarted (process " +
                         std::to_string(daemon->pid()) + ")\n"),
        std::string::npos);
}

TEST_F(PortOfTheDaemon, IsNoFindingForOptionsWhenItWasStartedWithOptions) {
    start({"-p", port});
    EXPECT_EQ(findings({"-p", port, "-c", "3"}), "");
}

TEST_F(PortOfTheDaemon, IsToldFromTheSamePortOfAnotherAddress) {
    start({"--ini", "velmora.ini"});
    sockaddr_storage beside = *endpointOf("127.127.127.127", std::stoi(port));
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&beside), sizeof(sockaddr_in)), 0);
    ASSERT_EQ(::listen(fd, 1), 0);
    EXPECT_EQ(findings({"--strict", "--ini", "velmora.ini"}), "");
    ::close(fd);
}

TEST_F(PortOfTheDaemon, IsAWarningForAnotherIniFile) {
    start({"--ini", "velmora.ini"});
    writeFile(directory.path("other.ini"), ini);
    EXPECT_EQ(findings({"--ini", "other.ini"}), warning("other.ini:2", "--ini velmora.ini"));
    EXPECT_EQ(findings({"-p", port}), warning("<command-line>:1", "--ini velmora.ini"));
}

TEST_F(PortOfTheDaemon, IsAWarningForADaemonOfAnotherInstallation) {
    start({"--ini", "velmora.ini"});
    copyProgram();
    EXPECT_EQ(findings({"--ini", "velmora.ini"}), warning("velmora.ini:2", "--ini velmora.ini"));
}

TEST_F(PortOfTheDaemon, IsNoFindingAfterANewVersionWasInstalled) {
    copyProgram();
    start({"--ini", "velmora.ini"});
    std::filesystem::copy_file(BUILD_DIRECTORY "/bin/velmoraserviced", directory.path("new"));
    std::filesystem::rename(directory.path("new"), directory.path("bin/velmoraserviced"));
    EXPECT_EQ(findings({"--ini", "velmora.ini"}), "");
}

TEST(UnitOf, IsTheDaemonsUnit) {
    EXPECT_EQ(unitOf("0::/system.slice/velmoraserviced.service\n"), "velmoraserviced.service");
    EXPECT_EQ(unitOf("0::/system.slice/system-velmoraserviced.slice/velmoraserviced@a.service\n"),
              "velmoraserviced@a.service");
}

TEST(UnitOf, IsEmptyForAnotherUnitOrNone) {
    for (const char* text :
         {"", "0::/\n", "0::/system.slice/ssh.service\n", "0::/user.slice/session-3.scope\n",
          "0::/system.slice/velmoraserviced.service/more\n",
          "0::/system.slice/velmoraserviced2.service\n"}) {
        EXPECT_EQ(unitOf(text), "") << text;
    }
}

}  // namespace
