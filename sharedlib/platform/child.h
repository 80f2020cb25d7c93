// sharedlib/platform/child.h: child processes and the pipe that takes their output.
#pragma once
#include "sharedlib/platform/file.h"
#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace platform {

/// Both ends of a pipe. Whoever holds the write end open never reads the end of the pipe.
struct OutputPipe {
    File read;
    File write;
};

/// A started process, whose handle closes with its owner; closing ends nothing. `hasEnded` is what `waitForChild` saw.
struct Child {
    File process;
    bool hasEnded = false;
};

/// How a wait ended.
enum class ChildWait { ended, output, timeout, failed };

/// The code of a child that has not ended.
constexpr int kStillActive = 259;

/// Functions that give an `int` error give 0 or the system's error number; interrupted calls are repeated. Any thread.

/// Creates a pipe of which a child gets the write end by `startChild` only; reading never waits.
int createOutputPipe(OutputPipe& pipe);

/// Starts the program `path`, the system's own, with the caller's standard input, environment and working directory,
/// without a window; both outputs are the pipe's write end. It inherits no other handle, and starts with default
/// signals, none blocked. A system that passes the command line whole takes `commandLine`, one that passes a list takes
/// `arguments`, which say the same. No shell is involved. A program that cannot be executed is an error here.
int startChild(const char* path, const std::string& commandLine, std::vector<std::string> arguments,
               const OutputPipe& pipe, Child& child);

/// Waits until the child ends or output is there, `timeoutMs` milliseconds at most. When both are true, it has ended.
ChildWait waitForChild(Child& child, const OutputPipe& pipe, int timeoutMs);

/// Hands to the reader what the write end still holds back.
void flushOutput(const OutputPipe& pipe);

/// The number of bytes that can be read at once; 0 also when that cannot be told.
int outputWaiting(const OutputPipe& pipe);

/// Reads what is there into `buffer` and gives the number of bytes; 0 when nothing is there or the read fails.
std::size_t readOutput(const OutputPipe& pipe, std::span<char> buffer);

/// The exit code of a child; `kStillActive` when `waitForChild` has not seen its end. POSIX gives 128 + n for a child
/// that signal n ended. Gives an error when the rest of the process took the code first. Call it once: the system
/// forgets the child.
int takeExitCode(Child& child, int& code);

} // namespace platform
