#pragma once

#include <string>

#include "vlib/vlog/vlog_config.h"

// Adds the rules of a text that stays as it is to a configuration; returns the load's state.
inline int loadRules(VLogConfig& config, std::string text) {
    return config.loadFromString(text);
}
