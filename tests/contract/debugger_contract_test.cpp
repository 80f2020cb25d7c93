// tests/contract/debugger_contract_test.cpp: what every implementation of platform/debugger.h promises.
#include "sharedlib/platform/clock.h"
#include "sharedlib/platform/debugger.h"
#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// A terminal: what is written to its far end can be read from the near end.
struct Terminal {
    int nearEnd = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    int farEnd = -1;

    Terminal() {
        EXPECT_EQ(::grantpt(nearEnd), 0);
        EXPECT_EQ(::unlockpt(nearEnd), 0);
        farEnd = ::open(::ptsname(nearEnd), O_RDWR | O_NOCTTY | O_CLOEXEC);
    }
    ~Terminal() {
        ::close(nearEnd);
        ::close(farEnd);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
};

// The traced process: it waits until it notices its tracer, at most five seconds.
[[noreturn]] void beTraced() {
    ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    for (int round = 0; round < 500 && !platform::debuggerAttached(); ++round) {
        platform::sleepMs(10);
    }
    platform::writeToDebugger("seen");
    ::_exit(platform::debuggerAttached() ? 0 : 1);
}

// The tracer, with `terminal` as its own.
[[noreturn]] void trace(int terminal) {
    ::dup2(terminal, STDOUT_FILENO);
    const pid_t traced = ::fork();
    if (traced == 0) {
        beTraced();
    }
    int status = -1;
    ::waitpid(traced, &status, 0);
    ::_exit(WIFEXITED(status) ? WEXITSTATUS(status) : 2);
}

TEST(DebuggerContract, TextReachesTheTerminalOfATracerAndNothingElse) {
    const Terminal terminal;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    platform::writeToDebugger("nobody reads this");
    EXPECT_FALSE(platform::debuggerAttached());
    EXPECT_EQ(testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr(), "");
    const pid_t tracer = ::fork();
    if (tracer == 0) {
        trace(terminal.farEnd);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(tracer, &status, 0), tracer);
    EXPECT_EQ(status, 0);
    std::array<char, 64> text{};
    ASSERT_EQ(::read(terminal.nearEnd, text.data(), text.size()), 4);
    EXPECT_STREQ(text.data(), "seen");
}

} // namespace
