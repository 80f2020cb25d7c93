// tests/support/environment.h: environment variables that a test sets, put back afterwards.
#pragma once
#include <cstdlib>
#include <map>
#include <optional>
#include <string>

/// Sets variables, or takes away those without a value, until the object goes.
class Environment {
public:
    using Variables = std::map<std::string, std::optional<std::string>>;

    explicit Environment(const Variables& variables) {
        for (const auto& [name, value] : variables) {
            const char* const before = std::getenv(name.c_str());
            m_before[name] = before == nullptr ? std::nullopt : std::optional<std::string>(before);
        }
        set(variables);
    }
    ~Environment() { set(m_before); }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

private:
    static void set(const Variables& variables) {
        for (const auto& [name, value] : variables) {
            value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
        }
    }

    Variables m_before;
};
