// sharedlib/util/internal/command_line.cpp: a command line as the arguments that a program gets.
#include "sharedlib/util/internal/command_line.h"
#include <algorithm>
#include <cstddef>

namespace {

constexpr std::string_view kBlanks = " \t";

bool isBlank(char c) {
    return kBlanks.find(c) != std::string_view::npos;
}

std::string takeProgramName(std::string_view& rest) {
    std::string name;
    bool isQuoted = false;
    std::size_t i = 0;
    for (; i < rest.size() && (isQuoted || !isBlank(rest[i])); ++i) {
        if (rest[i] == '"') {
            isQuoted = !isQuoted;
        } else {
            name += rest[i];
        }
    }
    rest.remove_prefix(i);
    return name;
}

// A run of backslashes at the front of `rest`, and the quote behind it when there is one.
void takeBackslashes(std::string_view& rest, std::string& argument, bool& isQuoted) {
    const std::size_t count = std::min(rest.find_first_not_of('\\'), rest.size());
    rest.remove_prefix(count);
    if (!rest.starts_with('"')) {
        argument.append(count, '\\');
        return;
    }
    argument.append(count / 2, '\\');
    rest.remove_prefix(1);
    if (count % 2 != 0) {
        argument += '"';
    } else if (isQuoted && rest.starts_with('"')) {
        argument += '"';
        rest.remove_prefix(1);
    } else {
        isQuoted = !isQuoted;
    }
}

std::string takeArgument(std::string_view& rest) {
    std::string argument;
    bool isQuoted = false;
    while (!rest.empty() && (isQuoted || !isBlank(rest.front()))) {
        if (rest.front() == '\\' || rest.front() == '"') {
            takeBackslashes(rest, argument, isQuoted);
        } else {
            argument += rest.front();
            rest.remove_prefix(1);
        }
    }
    return argument;
}

void skipBlanks(std::string_view& rest) {
    rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks), rest.size()));
}

} // namespace

std::vector<std::string> splitCommandLine(std::string_view line) {
    std::vector<std::string> arguments{takeProgramName(line)};
    for (skipBlanks(line); !line.empty(); skipBlanks(line)) {
        arguments.push_back(takeArgument(line));
    }
    return arguments;
}
