// sharedlib/platform/posix/debugger.cpp: the debugger that watches the process: the tracer that Linux tells of.
#include "sharedlib/platform/debugger.h"
#include <array>
#include <atomic>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace platform {
namespace {

// At the start of a line, because the process may choose a name that looks the same.
constexpr std::string_view kTracerLabel = "\nTracerPid:\t";

std::atomic<std::int64_t> s_lastLook{-1};
std::atomic<int> s_tracer{0};

struct Descriptor {
    explicit Descriptor(char const* path, int flags) : number(::open(path, flags | O_CLOEXEC | O_NOCTTY)) {}
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;
    ~Descriptor() {
        if (number >= 0) {
            ::close(number);
        }
    }
    int number;
};

// The process that traces this one, 0 when there is none.
int readTracer() {
    Descriptor const status("/proc/self/status", O_RDONLY);
    std::array<char, 2048> text;
    ssize_t const length = status.number < 0 ? 0 : ::read(status.number, text.data(), text.size());
    if (length <= 0) {
        return 0;
    }
    std::string_view const lines(text.data(), static_cast<std::size_t>(length));
    std::size_t const label = lines.find(kTracerLabel);
    int tracer = 0;
    if (label != std::string_view::npos) {
        std::string_view const number = lines.substr(label + kTracerLabel.size());
        std::from_chars(number.data(), number.data() + number.size(), tracer);
    }
    return tracer;
}

bool writeToTerminal(int process, int stream, std::string_view text) {
    std::array<char, 48> path;
    std::snprintf(path.data(), path.size(), "/proc/%d/fd/%d", process, stream);
    Descriptor const terminal(path.data(), O_WRONLY | O_NONBLOCK);
    if (terminal.number < 0 || ::isatty(terminal.number) == 0) {
        return false;
    }
    // What a stopped terminal does not take is lost, as promised.
    return ::write(terminal.number, text.data(), text.size()) >= 0;
}

} // namespace

bool debuggerAttached() {
    // The cheapest clock there is; a step of it is only another look.
    std::int64_t const now = std::time(nullptr);
    if (s_lastLook.load(std::memory_order_relaxed) != now) {
        s_tracer.store(readTracer(), std::memory_order_relaxed);
        s_lastLook.store(now, std::memory_order_relaxed);
    }
    return s_tracer.load(std::memory_order_relaxed) != 0;
}

void writeToDebugger(char const* text) {
    if (!debuggerAttached()) {
        return;
    }
    int const tracer = s_tracer.load(std::memory_order_relaxed);
    for (int const stream : {STDOUT_FILENO, STDERR_FILENO}) {
        if (tracer != 0 && writeToTerminal(tracer, stream, text)) {
            return;
        }
    }
}

} // namespace platform
