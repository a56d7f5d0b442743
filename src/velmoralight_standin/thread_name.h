// Names of the engine's threads, as `top -H` and debuggers show them.
#pragma once

namespace standin {

// `name` has at most 15 characters; the system takes no longer ones.
void nameThisThread(const char* name) noexcept;

}  // namespace standin
