// sharedlib/util/child_process.cpp: runs another program and logs what it writes.
#include "sharedlib/util/child_process.h"
#include "sharedlib/log/gate.h"
#include "sharedlib/log/progress.h"
#include "sharedlib/platform/child.h"
#include "sharedlib/platform/error_text.h"
#include "sharedlib/util/internal/command_line.h"
#include "sharedlib/util/last_error.h"
#include "sharedlib/util/paths.h"
#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr char const* kName = "spawnWithLoggedOutput";
constexpr std::size_t kMaxCommandLine = 32767;
constexpr std::size_t kMaxPiece = 1000;
constexpr int kWaitMs = 100;
constexpr int kNotRun = -1;
constexpr float kStep = 0.1F;

int describeFailure(int error) {
    platform::setLastError(error);
    describeLastError(kName);
    return kNotRun;
}

// Logs what is there now; what arrives meanwhile waits for the next time, so that a child cannot keep us here.
void drain(platform::OutputPipe const& pipe) {
    std::array<char, kMaxPiece + 2> buffer;
    for (std::int64_t left = platform::outputWaiting(pipe); left > 0;) {
        std::size_t const count = platform::readOutput(pipe, std::span(buffer).first(kMaxPiece));
        if (count == 0) {
            return;
        }
        left -= static_cast<std::int64_t>(count);
        buffer[count] = '\0';
        SHAREDLIB_DEBUGLOG(LogSev_Info, Log::Generic, "%s", buffer.data());
    }
}

int start(char const* program, std::string const& commandLine, platform::OutputPipe const& pipe,
          platform::Child& child) {
    std::vector<std::string> arguments =
        commandLine.empty() ? std::vector<std::string>{program} : splitCommandLine(commandLine);
    int const error = platform::startChild(NativePath(program).c_str(), commandLine, std::move(arguments), pipe, child);
    if (error != 0) {
        SHAREDLIB_DEBUGLOG(LogSev_Error, Log::Generic,
                           "spawnWithLoggedOutput: Failed to execute \"%s\" with command line \"%s\".", program,
                           commandLine.c_str());
        platform::setLastError(error);
    }
    return error;
}

void logUntilEnd(platform::Child& child, platform::OutputPipe const& pipe, CProgress& progress) {
    for (;;) {
        switch (platform::waitForChild(child, pipe, kWaitMs)) {
        case platform::ChildWait::ended:
            return;
        case platform::ChildWait::output:
        case platform::ChildWait::timeout:
            progress.begin(kStep);
            drain(pipe);
            break;
        case platform::ChildWait::failed:
            // The text knows only one way to fail, which has a handle to name; here there is none.
            SHAREDLIB_DEBUGLOG(LogSev_Error, Log::Generic, "spawnWithLoggedOutput: Mutex 0x%x was abandoned.", 0U);
            return;
        }
    }
}

} // namespace

int spawnWithLoggedOutput(char const* program, char* commandLine) {
    int const errorBefore = platform::lastError();
    program = program != nullptr ? program : "";
    std::string const line = commandLine != nullptr ? commandLine : "";
    // The working directory needs no saving: nothing from here on changes it, also not for the child.
    SHAREDLIB_DEBUGLOG(LogSev_Info, Log::Generic, "%s", line.c_str());
    platform::OutputPipe pipe;
    if (int const error = platform::createOutputPipe(pipe); error != 0) {
        return describeFailure(error);
    }
    platform::Child child;
    if (start(program, line, pipe, child) != 0) {
        return kNotRun;
    }
    CProgress progress;
    logUntilEnd(child, pipe, progress);
    drain(pipe);
    platform::flushOutput(pipe);
    drain(pipe);
    int code = kNotRun;
    if (int const error = platform::takeExitCode(child, code); error != 0) {
        return describeFailure(error);
    }
    // The scope ends last: what its window does is the host's.
    child = platform::Child();
    pipe = platform::OutputPipe();
    // A run is no error, whatever the system's calls inside it said.
    platform::setLastError(errorBefore);
    return code;
}

int spawnWithLoggedOutputV(char const* program, char const* word, ...) {
    std::string line;
    va_list words;
    va_start(words, word);
    for (; word != nullptr && line.size() < kMaxCommandLine; word = va_arg(words, char const*)) {
        line.append(word).append(1, ' ');
    }
    va_end(words);
    line.resize(std::min(line.size(), kMaxCommandLine));
    return spawnWithLoggedOutput(program, line.data());
}
