// tests/support/environment.h: environment variables that a test sets, put back afterwards.
#pragma once
#include <cstdlib>
#include <map>
#include <optional>
#include <string>

/// Sets variables, or takes them away, until the object goes.
class Environment {
public:
    /// A variable without a value is taken away.
    explicit Environment(const std::map<std::string, std::optional<std::string>>& variables) {
        for (const auto& [name, value] : variables) {
            const char* const before = std::getenv(name.c_str());
            m_before[name] = before == nullptr ? std::nullopt : std::optional<std::string>(before);
            set(name, value);
        }
    }
    ~Environment() {
        for (const auto& [name, value] : m_before) {
            set(name, value);
        }
    }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

private:
    static void set(const std::string& name, const std::optional<std::string>& value) {
        if (value) {
            ::setenv(name.c_str(), value->c_str(), 1);
        } else {
            ::unsetenv(name.c_str());
        }
    }

    std::map<std::string, std::optional<std::string>> m_before;
};
