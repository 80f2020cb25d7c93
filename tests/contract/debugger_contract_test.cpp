// tests/contract/debugger_contract_test.cpp: what every implementation of platform/debugger.h promises.
#include "sharedlib/platform/debugger.h"
#include "tests/support/pump.h"
#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// The tracer, with `terminal` as its own, of a process that waits until it notices.
[[noreturn]] void trace(int terminal) {
    ::dup2(terminal, STDOUT_FILENO);
    const pid_t traced = ::fork();
    if (traced == 0) {
        ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        const bool noticed = pumpUntil([] {}, &platform::debuggerAttached);
        platform::writeToDebugger("seen");
        ::_exit(noticed ? 0 : 1);
    }
    int status = -1;
    ::waitpid(traced, &status, 0);
    ::_exit(status == 0 ? 0 : 2);
}

TEST(DebuggerContract, TextReachesTheTerminalOfATracerAndNothingElse) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    platform::writeToDebugger("nobody reads this");
    EXPECT_FALSE(platform::debuggerAttached());
    EXPECT_EQ(testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr(), "");

    const int nearEnd = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_TRUE(::grantpt(nearEnd) == 0 && ::unlockpt(nearEnd) == 0);
    const int farEnd = ::open(::ptsname(nearEnd), O_RDWR | O_NOCTTY | O_CLOEXEC);
    const pid_t tracer = ::fork();
    if (tracer == 0) {
        trace(farEnd);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(tracer, &status, 0), tracer);
    EXPECT_EQ(status, 0);
    std::array<char, 64> text{};
    EXPECT_EQ(::read(nearEnd, text.data(), text.size()), 4);
    EXPECT_STREQ(text.data(), "seen");
    ::close(nearEnd);
    ::close(farEnd);
}

} // namespace
