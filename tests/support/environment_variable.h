#pragma once

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

// Sets a variable of this process's environment, and puts back what it was before.
class EnvironmentVariable {
public:
    EnvironmentVariable(std::string variable, const std::string& value)
        : name(std::move(variable)) {
        if (const char* value_before = std::getenv(name.c_str())) {
            before = value_before;
        }
        ::setenv(name.c_str(), value.c_str(), /*overwrite=*/1);
    }
    ~EnvironmentVariable() {
        if (before) {
            ::setenv(name.c_str(), before->c_str(), /*overwrite=*/1);
        } else {
            ::unsetenv(name.c_str());
        }
    }
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

private:
    std::string name;
    std::optional<std::string> before;
};
