// What the engine says about itself.
#pragma once

namespace standin {

// The project's version.
extern const int kVersionMajor;
extern const int kVersionMinor;
extern const int kVersionPatch;
extern const char* const kVersionText;

// Says what this engine is to whoever meets it in a log or over the network.
inline constexpr const char* kDescription = "stand-in engine for development";

// "stand-in-" and the seven hex digits of the revision it was built from.
[[nodiscard]] const char* buildIdentifier() noexcept;

}  // namespace standin
