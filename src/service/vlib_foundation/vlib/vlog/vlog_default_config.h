#pragma once

#include <string>

// The built-in log configuration: rules that print on the console, for the topics of the foundation
// library and for the topic "*". Used when the name "default" is given, and in place of a
// configuration file that is missing or malformed.
[[nodiscard]] std::string vlogDefaultConfig();
