#pragma once

#include "daemon/daemon_test.h"

// A daemon whose engine tells about itself, and whose service lines go to the console.
class DaemonEngine : public DaemonTest {
protected:
    DaemonEngine() {
        writeFile(directory.path("vlog.cfg"),
                  "VELMORASRV;INFO;FULL;[STDOUT];0\nVELMORASRV;CRITICAL;FULL;[STDOUT];0\n");
        environment["VL_LOGCFG"] = "vlog.cfg";
        environment["ENGINE_DOUBLE_VERSION"] = "7 12 345";
        environment["ENGINE_DOUBLE_BUILD"] = "0123abc-%s";
    }

    // The engine's calls between the lines of the log.
    void showCallsInOutput() { environment["ENGINE_DOUBLE_RECORD"] = "/dev/stdout"; }

    static constexpr char engineLines[] =
        "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
        "velmoraserver/app/common/velmoraservice : 74] -> "
        "----------------------------------------\r\n"
        "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
        "velmoraserver/app/common/velmoraservice : 75] -> "
        "Velmora Light Info\r\n"
        "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
        "velmoraserver/app/common/velmoraservice : 77] -> "
        "\tVelmora Version: 7.12.345\r\n"
        "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
        "velmoraserver/app/common/velmoraservice : 78] -> "
        "\tVelmora BuildInfo: 0123abc-%s\r\n"
        "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
        "velmoraserver/app/common/velmoraservice : 79] -> "
        "----------------------------------------\r\n";

    static constexpr char settingsLines[] =
        "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
        "velmoraserver/app/common/velmoraservice : 60] -> "
        "----------------------------------------\r\n"
        "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
        "velmoraserver/app/common/velmoraservice : 61] -> "
        "Velmora Service\r\n"
        "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
        "velmoraserver/app/common/velmoraservice : 62] -> "
        "\tBUILD           :<build>\r\n"
        "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
        "velmoraserver/app/common/velmoraservice : 63] -> "
        "\tconnections     : 2\r\n"
        "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
        "velmoraserver/app/common/velmoraservice : 64] -> "
        "\tport            : 6000\r\n"
        "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
        "velmoraserver/app/common/velmoraservice : 65] -> "
        "\tthreads         : 3\r\n"
        "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
        "velmoraserver/app/common/velmoraservice : 66] -> "
        "\tthreadQueuesize : 4\r\n"
        "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
        "velmoraserver/app/common/velmoraservice : 67] -> "
        "\tqueueTimeout    : -5\r\n"
        "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
        "velmoraserver/app/common/velmoraservice : 68] -> "
        "----------------------------------------\r\n";
};
