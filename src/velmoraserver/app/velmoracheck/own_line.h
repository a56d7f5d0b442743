// What the daemon itself logs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "vlib/vlog/vlog_config.h"

namespace velmoracheck {

// The topics of the daemon's lines.
inline constexpr const char* ownTopic = "VELMORASRV";
inline constexpr const char* loggerTopic = "LOGGER";

[[nodiscard]] bool isOwnTopic(const std::string& topic);
[[nodiscard]] bool isOwnLine(const std::string& topic, uint32_t level);

// The bytes of the shortest line that the daemon logs under a rule of a configuration file; nothing
// when it logs none. `iniFile` is the one that it reads, when it reads one.
[[nodiscard]] std::optional<std::size_t> shortestLine(const VLogConfig::Entry& rule,
                                                      const std::optional<std::string>& iniFile);

}  // namespace velmoracheck
