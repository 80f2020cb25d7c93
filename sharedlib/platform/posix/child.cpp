// sharedlib/platform/posix/child.cpp: child processes over the system's process descriptors.
#include "sharedlib/platform/child.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace platform {
namespace {

constexpr std::size_t kStackSize = 65536;
constexpr int kFirstForeignDescriptor = STDERR_FILENO + 1;
constexpr int kNotExecuted = 127;
constexpr int kSignalled = 128;
constexpr int kSignals = 64;
constexpr std::size_t kSignalMaskSize = kSignals / 8;
// As the kernel takes them: the default disposition (all fields 0), and masks.
constexpr std::array<std::uint64_t, 4> kDefaultDisposition{};
constexpr std::uint64_t kNoSignal = 0;
constexpr std::uint64_t kEverySignal = ~std::uint64_t{0};

int descriptor(const File& file) {
    return static_cast<int>(file.handle);
}

/// Keeps every signal from this thread, also the C library's own, while it shares its memory with a child: a handler
/// that ran in the child would do its work in this process.
class SignalsBlocked {
public:
    SignalsBlocked() { ::syscall(SYS_rt_sigprocmask, SIG_SETMASK, &kEverySignal, &m_before, kSignalMaskSize); }
    ~SignalsBlocked() { ::syscall(SYS_rt_sigprocmask, SIG_SETMASK, &m_before, nullptr, kSignalMaskSize); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    std::uint64_t m_before = 0;
};

/// What a child needs until it executes its program, and what it says when it cannot.
struct Start {
    const char* path;
    char* const* arguments;
    int output;
    int error;
};

void closeForeignDescriptors() {
    if (::syscall(SYS_close_range, kFirstForeignDescriptor, ~0U, 0) == 0) {
        return;
    }
    // An older system, or one that forbids the call.
    constexpr rlim_t kEnough = 1U << 20U;
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    const auto end = static_cast<int>(std::min(limit.rlim_cur, kEnough));
    for (int number = kFirstForeignDescriptor; number < end; ++number) {
        ::syscall(SYS_close, number);
    }
}

// Runs in the child, on memory that is its parent's until the program is executed: nothing here may allocate, lock or
// leave a trace in the C library, hence the bare system calls.
int becomeProgram(void* context) {
    Start& start = *static_cast<Start*>(context);
    // First the dispositions, then the mask, so that no handler of the parent runs here.
    for (int number = 1; number <= kSignals; ++number) {
        ::syscall(SYS_rt_sigaction, number, kDefaultDisposition.data(), nullptr, kSignalMaskSize);
    }
    ::syscall(SYS_rt_sigprocmask, SIG_SETMASK, &kNoSignal, nullptr, kSignalMaskSize);
    // The parent's standard input, also where the parent means to keep it from programs.
    ::syscall(SYS_fcntl, STDIN_FILENO, F_SETFD, 0);
    if (::syscall(SYS_dup3, start.output, STDOUT_FILENO, 0) >= 0 &&
        ::syscall(SYS_dup3, start.output, STDERR_FILENO, 0) >= 0) {
        closeForeignDescriptors();
        ::syscall(SYS_execve, start.path, start.arguments, ::environ);
    }
    start.error = errno;
    return kNotExecuted;
}

/// Waits for the end of the process behind a descriptor; 0 or the system's error number.
int reap(int process, siginfo_t& info) {
    int result = 0;
    do {
        result = ::waitid(P_PIDFD, static_cast<id_t>(process), &info, WEXITED);
    } while (result != 0 && errno == EINTR);
    return result != 0 ? errno : 0;
}

/// Whether the system waits for a process by its descriptor (Linux 5.4 and later); nothing is started where it does
/// not.
bool knowsProcessDescriptors() {
    siginfo_t ignored{};
    constexpr id_t kNobody = INT_MAX;
    return ::waitid(P_PIDFD, kNobody, &ignored, WEXITED | WNOHANG) != 0 && errno == EBADF;
}

/// What the kernel remembers of a process while somebody holds its descriptor (Linux 6.15 and later).
struct ProcessInfo {
    std::uint64_t mask;
    std::array<std::uint32_t, 13> notAsked;
    std::int32_t waitStatus;
};
static_assert(sizeof(ProcessInfo) == 64);

/// The wait status of a process that others have reaped, or that nobody has to reap; false when nobody can tell.
bool rememberedStatus(int process, int& status) {
    constexpr std::uint64_t kExitStatus = 1U << 3U;
    constexpr int kTries = 1000;
    for (int i = 0; i < kTries; ++i) {
        ProcessInfo info{};
        info.mask = kExitStatus;
        if (::ioctl(process, _IOWR(0xFF, 11, ProcessInfo), &info) != 0) {
            return false;
        }
        if ((info.mask & kExitStatus) != 0) {
            status = info.waitStatus;
            return true;
        }
        // It has ended, and whoever reaps it is not quite done.
        ::poll(nullptr, 0, 1);
    }
    return false;
}

/// Moves a descriptor above the standard ones, whose numbers are free in a process that has closed them.
int liftAboveStandard(File& file) {
    if (descriptor(file) >= kFirstForeignDescriptor) {
        return 0;
    }
    File lifted;
    lifted.handle = ::fcntl(descriptor(file), F_DUPFD_CLOEXEC, kFirstForeignDescriptor);
    if (!lifted.isOpen()) {
        return errno;
    }
    file = std::move(lifted);
    return 0;
}

} // namespace

int createOutputPipe(OutputPipe& pipe) {
    // No size is suggested: the smallest one the system has is larger than any that the protocol asks for.
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        return errno;
    }
    OutputPipe created;
    created.read.handle = ends[0];
    created.write.handle = ends[1];
    // The two ends are separate to the system: writing still waits.
    if (::fcntl(ends[0], F_SETFL, O_NONBLOCK) != 0) {
        return errno;
    }
    for (File* end : {&created.read, &created.write}) {
        if (const int error = liftAboveStandard(*end); error != 0) {
            return error;
        }
    }
    pipe = std::move(created);
    return 0;
}

int startChild(const char* path, const std::string& /*commandLine*/, std::vector<std::string> arguments,
               const OutputPipe& pipe, Child& child) {
    if (!knowsProcessDescriptors()) {
        return ENOSYS;
    }
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    Start start{path, pointers.data(), descriptor(pipe.write), 0};
    // Shared memory instead of a copy keeps this cheap in a process of many gigabytes, and gives back the error. The
    // descriptor comes with the process, because its number may be another's before this thread runs on.
    const auto stack = std::make_unique<std::byte[]>(kStackSize);
    int process = -1;
    {
        const SignalsBlocked blocked;
        constexpr int kFlags = CLONE_VM | CLONE_VFORK | CLONE_PIDFD | SIGCHLD;
        if (::clone(&becomeProgram, stack.get() + kStackSize, kFlags, &start, &process) < 0) {
            return errno;
        }
    }
    child = Child();
    child.process.handle = process;
    liftAboveStandard(child.process);
    if (start.error != 0) {
        siginfo_t ignored{};
        reap(descriptor(child.process), ignored);
    }
    return start.error;
}

ChildWait waitForChild(Child& child, const OutputPipe& pipe, int timeoutMs) {
    using std::chrono::milliseconds;
    using std::chrono::steady_clock;
    const auto end = steady_clock::now() + milliseconds(timeoutMs);
    std::array<pollfd, 2> waited{{{descriptor(child.process), POLLIN, 0}, {descriptor(pipe.read), POLLIN, 0}}};
    int left = timeoutMs;
    int ready = 0;
    while ((ready = ::poll(waited.data(), waited.size(), left)) < 0 && errno == EINTR) {
        const auto rest = std::chrono::ceil<milliseconds>(end - steady_clock::now());
        left = static_cast<int>(std::clamp<std::int64_t>(rest.count(), 0, timeoutMs));
    }
    if (ready <= 0) {
        return ready == 0 ? ChildWait::timeout : ChildWait::failed;
    }
    child.hasEnded = waited[0].revents != 0;
    return child.hasEnded ? ChildWait::ended : ChildWait::output;
}

void flushOutput(const OutputPipe& /*pipe*/) {
    // A pipe of this system holds nothing back.
}

int outputWaiting(const OutputPipe& pipe) {
    int count = 0;
    return ::ioctl(descriptor(pipe.read), FIONREAD, &count) == 0 ? count : 0;
}

std::size_t readOutput(const OutputPipe& pipe, std::span<char> buffer) {
    ssize_t count = 0;
    do {
        count = ::read(descriptor(pipe.read), buffer.data(), buffer.size());
    } while (count < 0 && errno == EINTR);
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

int takeExitCode(Child& child, int& code) {
    if (!child.hasEnded) {
        code = kStillActive;
        return 0;
    }
    siginfo_t info{};
    const int error = reap(descriptor(child.process), info);
    if (error == 0) {
        code = info.si_code == CLD_EXITED ? info.si_status : kSignalled + info.si_status;
        return 0;
    }
    int status = 0;
    if (!rememberedStatus(descriptor(child.process), status)) {
        return error;
    }
    code = WIFEXITED(status) ? WEXITSTATUS(status) : kSignalled + WTERMSIG(status);
    return 0;
}

} // namespace platform
