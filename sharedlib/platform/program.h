// sharedlib/platform/program.h: helper programs of the system, found on the search path and started without a shell.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

namespace platform {

/// What a helper program reads.
enum class ProgramInput { caller, nothing };

/// Starts the program that is the first of `words` with all of them as its arguments, default signals, the caller's
/// outputs and no other file of this process. Gives the system's error number, as for a program that is not there, or 0
/// and in `process` what the system calls the child, which the caller waits for. Any thread.
int startProgram(std::vector<std::string> words, ProgramInput input, std::intptr_t& process);

} // namespace platform
