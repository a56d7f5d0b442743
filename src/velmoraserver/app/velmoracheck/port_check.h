#pragma once

#include <netinet/in.h>

#include <optional>
#include <string>

#include "velmoraserver/app/velmoracheck/listener.h"
#include "velmoraserver/app/velmoracheck/report.h"

namespace velmoracheck {

// Where a server listens. Nothing when the address is none: a numeric one of either family, with
// or without "%" and a network interface after an IPv6 one.
[[nodiscard]] std::optional<sockaddr_storage> endpointOf(const std::string& address, int port);

// Why a server could not listen now, as the system's error; 0 when it could. Takes the port and
// gives it back at once; nothing can connect meanwhile. A port 0 becomes one that is free.
[[nodiscard]] int tryPort(sockaddr_storage& endpoint);

// Whether a process is the daemon that a start with these settings takes the place of: it is the
// program beside this one, or of its unit, and reads the same INI file (or reads none, too).
[[nodiscard]] bool isReplaced(const ProcessInfo& process,
                              const std::optional<std::string>& iniFile);

// Finds what keeps the daemon from listening on its port. Returns the port for a rehearsal: another
// one while the daemon that is to be restarted has it.
int checkPort(Report& report, const std::optional<std::string>& iniFile);

}  // namespace velmoracheck
