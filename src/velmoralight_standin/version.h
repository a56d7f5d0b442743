// What the engine says about itself.
#pragma once

namespace standin {

inline constexpr int kVersionMajor = 1;
inline constexpr int kVersionMinor = 0;
inline constexpr int kVersionPatch = 0;
inline constexpr const char* kVersionText = "1.0.0";

// Says what this engine is to whoever meets it in a log or over the network.
inline constexpr const char* kDescription = "stand-in engine for development";

// "stand-in-" and the seven hex digits of the revision it was built from.
[[nodiscard]] const char* buildIdentifier() noexcept;

}  // namespace standin
