// sharedlib/platform/posix/service_entry.cpp: a process that systemd started, and its reports on the notify socket.
#include "sharedlib/platform/service_entry.h"
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace platform {
namespace {

/// Ends the process with the service's exit code when `main` has returned and all other objects are gone: systemd knows
/// no other way to hear of it, and hosts return 0 once their service has stopped.
struct ProcessExitCode {
    std::atomic<std::uint32_t> code{0};

    ProcessExitCode() = default;
    ProcessExitCode(const ProcessExitCode&) = delete;
    ProcessExitCode& operator=(const ProcessExitCode&) = delete;
    ~ProcessExitCode() {
        if (code != 0) {
            constexpr std::uint32_t kLowestByte = 0xFF;
            const std::uint32_t shown = code & kLowestByte;
            std::fflush(nullptr);
            ::_exit(static_cast<int>(shown != 0 ? shown : kLowestByte));
        }
    }
};

// Made first, so that it goes last.
[[gnu::init_priority(101)]] ProcessExitCode s_exitCode;

std::atomic<ServiceControlHandler> s_handler{nullptr};
/// The dispatcher's alarm clock; -1 while none runs.
std::atomic<int> s_wake{-1};
std::atomic<bool> s_isStopOrdered{false};
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

std::string_view variable(const char* name) {
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

template <typename Number>
Number numberOf(std::string_view text) {
    Number number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

// One datagram, as systemd wants it. A name that begins with '@' stands for one outside the file system.
void notify(std::string_view text) {
    const std::string_view name = variable("NOTIFY_SOCKET");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (name.size() < 2 || name.size() >= sizeof address.sun_path || (name[0] != '/' && name[0] != '@')) {
        return;
    }
    name.copy(std::begin(address.sun_path), name.size());
    const bool isAbstract = name[0] == '@';
    if (isAbstract) {
        address.sun_path[0] = '\0';
    }
    const std::size_t length = offsetof(sockaddr_un, sun_path) + name.size() + (isAbstract ? 0 : 1);
    const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (socket < 0) {
        return;
    }
    while (::sendto(socket, text.data(), text.size(), MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&address),
                    static_cast<socklen_t>(length)) < 0 &&
           errno == EINTR) {
    }
    ::close(socket);
}

// Allowed in a signal handler.
void wakeDispatcher() {
    const int before = errno;
    constexpr std::uint64_t kOne = 1;
    [[maybe_unused]] const ssize_t written = ::write(s_wake, &kOne, sizeof kOne);
    errno = before;
}

void onTerminate(int /*signal*/) {
    s_isStopOrdered = true;
    wakeDispatcher();
}

/// Makes SIGTERM the stop order while it lives, and lets it through on this thread.
class StopSignal {
public:
    StopSignal() {
        struct sigaction action {};
        action.sa_handler = &onTerminate;
        action.sa_flags = SA_RESTART;
        sigemptyset(&action.sa_mask);
        ::sigaction(SIGTERM, &action, &m_actionBefore);
        sigset_t terminate;
        sigemptyset(&terminate);
        sigaddset(&terminate, SIGTERM);
        ::pthread_sigmask(SIG_UNBLOCK, &terminate, &m_maskBefore);
    }
    ~StopSignal() {
        ::pthread_sigmask(SIG_SETMASK, &m_maskBefore, nullptr);
        ::sigaction(SIGTERM, &m_actionBefore, nullptr);
    }
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

private:
    struct sigaction m_actionBefore {};
    sigset_t m_maskBefore{};
};

// Half the time after which systemd takes the process for hung, in milliseconds; -1 when it does not look.
int watchdogPeriod() {
    const std::string_view process = variable("WATCHDOG_PID");
    const auto limit = numberOf<std::int64_t>(variable("WATCHDOG_USEC"));
    if (limit <= 0 || (!process.empty() && numberOf<pid_t>(process) != ::getpid())) {
        return -1;
    }
    constexpr std::int64_t kHalfInMs = 2000;
    constexpr std::int64_t kLongest = 3600000;
    return static_cast<int>(std::clamp<std::int64_t>(limit / kHalfInMs, 1, kLongest));
}

// Hands on orders and feeds the watchdog until `hasReturned`.
void dispatch(const std::atomic<bool>& hasReturned, int watchdogMs) {
    pollfd wake{s_wake, POLLIN, 0};
    while (!hasReturned) {
        if (watchdogMs > 0) {
            notify("WATCHDOG=1");
        }
        if (::poll(&wake, 1, watchdogMs) > 0) {
            std::uint64_t count = 0;
            [[maybe_unused]] const ssize_t size = ::read(wake.fd, &count, sizeof count);
        }
        const ServiceControlHandler handler = s_handler;
        if (handler != nullptr && s_isStopOrdered.exchange(false)) {
            handler(kServiceControlStop);
        }
    }
}

} // namespace

bool isStartedAsService() {
    const bool hasSocket = !variable("NOTIFY_SOCKET").empty();
    if (!hasSocket && variable("INVOCATION_ID").empty()) {
        return false;
    }
    // Children inherit the variables, so a shell in a terminal that systemd started has them as well.
    const std::string_view process = variable("SYSTEMD_EXEC_PID");
    if (!process.empty()) {
        return numberOf<pid_t>(process) == ::getpid();
    }
    return hasSocket || ::getppid() == 1;
}

int runServiceDispatcher(NativeServiceMain serviceMain, const char* name) {
    if (!isStartedAsService()) {
        return ENOTCONN;
    }
    const int wake = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wake < 0) {
        return errno;
    }
    s_wake = wake;
    int error = 0;
    {
        const StopSignal stopSignal;
        std::string nameArgument = name;
        std::atomic<bool> hasReturned{false};
        try {
            std::thread service([&] {
                char* arguments[] = {nameArgument.data(), nullptr};
                serviceMain(1, arguments);
                hasReturned = true;
                wakeDispatcher();
            });
            dispatch(hasReturned, watchdogPeriod());
            service.join();
        } catch (const std::system_error& refused) {
            error = refused.code().value();
        }
    }
    s_handler = nullptr;
    s_isStopOrdered = false;
    s_wake = -1;
    ::close(wake);
    return error;
}

bool registerServiceHandler(const char* /*name*/, ServiceControlHandler handler) {
    s_handler = handler;
    // An order may have come before.
    wakeDispatcher();
    return true;
}

void reportServiceStatus(const ServiceStatus& status) {
    if (status.state == kServiceRunning) {
        notify("READY=1\nSTATUS=Running");
    } else if (status.state == kServiceStopped) {
        s_exitCode.code = status.exitCode;
        notify("STOPPING=1\nSTATUS=Stopped with exit code " +
               std::to_string(static_cast<std::int32_t>(status.exitCode)));
    }
}

} // namespace platform
