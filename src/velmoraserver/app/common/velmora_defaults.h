#pragma once

// The settings' defaults: those of the INI file, of the command line and of the controller.
namespace qor::defaults {

inline constexpr int port = 51000;
inline constexpr int connections = 1;
inline constexpr int threads = 1;
inline constexpr int threadQueueSize = 10;
inline constexpr int queueTimeout = 0;

}  // namespace qor::defaults
