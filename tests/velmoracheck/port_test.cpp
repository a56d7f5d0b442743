#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "velmoracheck/check_test.h"
#include "velmoraserver/app/velmoracheck/port_probe.h"

using velmoracheck::PortState;
using velmoracheck::probePort;

namespace {

// A server on a port that the system chooses.
class Listener {
public:
    explicit Listener(const std::string& address) : fd(::socket(AF_INET, SOCK_STREAM, 0)) {
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

TEST(ProbePort, TellsAPortInUse) {
    const Listener server("127.0.0.1");
    EXPECT_EQ(probePort("127.0.0.1", server.port()).kind, PortState::InUse);
}

TEST(ProbePort, LeavesAFreePortFree) {
    int port = 0;
    {
        const Listener server("127.0.0.1");
        port = server.port();
    }
    EXPECT_EQ(probePort("127.0.0.1", port).kind, PortState::Free);
    EXPECT_EQ(probePort("127.0.0.1", port).kind, PortState::Free);
}

TEST(ProbePort, TellsAnAddressThatIsNone) {
    EXPECT_EQ(probePort("localhost", 6000).kind, PortState::Unusable);
    EXPECT_EQ(probePort("localhost", 6000).problem, "Not a numeric address");
}

TEST(ProbePort, TellsAnAddressOfAnotherMachine) {
    EXPECT_EQ(probePort("192.0.2.1", 6000).kind, PortState::Unusable);
}

class Port : public CheckTest {
protected:
    Port() { writeFile(directory.path("vlog.cfg"), goodLog); }
};

TEST_F(Port, InUseIsAWarningAtThePlaceOfTheSetting) {
    const Listener server(environment["VELMORA_LIGHT_BIND"]);
    const std::string port = std::to_string(server.port());
    const CheckOutcome outcome = checkIni("[default]\nthreads = 1\nport = " + port + "\n");
    EXPECT_EQ(outcome.output, "velmora.ini:3: warning: port " + port + " of '" +
                                  environment["VELMORA_LIGHT_BIND"] +
                                  "' is in use now: stop what listens there, or choose another "
                                  "port\n");
    EXPECT_EQ(outcome.ending, "exit 0");
}

TEST_F(Port, IsTriedOnTheLoopbackAddressWithoutAVariable) {
    const Listener server("127.0.0.1");
    environment.erase("VELMORA_LIGHT_BIND");
    const std::string port = std::to_string(server.port());
    EXPECT_EQ(check({"--quiet", "--logcfg", "vlog.cfg", "-p", port}).output,
              "<command-line>:1: warning: port " + port +
                  " of '127.0.0.1' is in use now: stop what listens there, or choose another "
                  "port\n");
}

TEST_F(Port, CannotBeTriedOnAnAddressThatIsNone) {
    environment["VELMORA_LIGHT_BIND"] = "everywhere";
    EXPECT_EQ(check({"--quiet", "--logcfg", "vlog.cfg", "-p", "6000"}).output,
              "<environment>:1: warning: port 6000 of 'everywhere' cannot be listened on: Not a "
              "numeric address\n");
}

}  // namespace
