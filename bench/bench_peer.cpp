// bench/bench_peer.cpp: plain sockets on loopback, the second process of a measurement, and a frame reader without a
// library.
#include "bench/bench_peer.h"
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr std::size_t kShortHeader = 2;
constexpr std::size_t kLongHeader = 6;
constexpr std::size_t kLongForm = 0xFFFD;

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

void await(int descriptor, short events) {
    pollfd wait{descriptor, events, 0};
    while (poll(&wait, 1, -1) < 0 && errno == EINTR) {
    }
}

} // namespace

PlainListener::PlainListener() : descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    bind(descriptor, reinterpret_cast<sockaddr*>(&address), length);
    listen(descriptor, 4096);
    getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &length);
    port = ntohs(address.sin_port);
}

PlainListener::~PlainListener() {
    close(descriptor);
}

int PlainListener::accept() const {
    return accept4(descriptor, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
}

int connectPlain(std::uint16_t port) {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(port);
    if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        close(descriptor);
        return -1;
    }
    int on = 1;
    ioctl(descriptor, FIONBIO, &on);
    return descriptor;
}

void awaitReadable(int descriptor) {
    await(descriptor, POLLIN);
}

void awaitWritable(int descriptor) {
    await(descriptor, POLLOUT);
}

bool allowDescriptors(std::size_t count) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = std::max<rlim_t>(limit.rlim_cur, count);
    return limit.rlim_cur <= limit.rlim_max && setrlimit(RLIMIT_NOFILE, &limit) == 0;
}

std::size_t residentBytes() {
    std::size_t pages = 0;
    std::size_t resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

double processorSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

SecondProcess::SecondProcess(const std::function<void()>& body) : id(fork()) {
    if (id == 0) {
        body();
        _exit(0);
    }
}

SecondProcess::~SecondProcess() {
    waitpid(id, nullptr, 0);
}

bool PlainReader::read(int descriptor) {
    const ssize_t count = recv(descriptor, space(), spaceSize(), 0);
    if (count <= 0) {
        return count < 0 && errno == EAGAIN;
    }
    received(static_cast<std::size_t>(count));
    return true;
}

void PlainReader::received(std::size_t count) {
    m_used += count;
    std::size_t at = 0;
    while (m_used - at >= kShortHeader) {
        std::size_t header = kShortHeader;
        std::size_t length =
            static_cast<unsigned char>(m_buffer[at]) | (static_cast<unsigned char>(m_buffer[at + 1]) << 8U);
        if (length == kLongForm) {
            if (m_used - at < kLongHeader) {
                break;
            }
            std::uint32_t size = 0;
            std::memcpy(&size, m_buffer.data() + at + kShortHeader, sizeof size);
            header = kLongHeader;
            length = size;
        }
        if (m_used - at < header + length) {
            break;
        }
        sum += m_buffer[at + header];
        ++messages;
        at += header + length;
    }
    std::memmove(m_buffer.data(), m_buffer.data() + at, m_used - at);
    m_used -= at;
}

void PlainWriter::write(const std::string& body) {
    if (m_buffer.size() + kLongHeader + body.size() > m_buffer.capacity()) {
        flush();
    }
    const auto size = static_cast<std::uint32_t>(body.size());
    char header[kLongHeader];
    std::size_t headerSize = kShortHeader;
    if (size < kLongForm) {
        std::memcpy(header, &size, kShortHeader);
    } else {
        header[0] = static_cast<char>(0xFD);
        header[1] = static_cast<char>(0xFF);
        std::memcpy(header + kShortHeader, &size, sizeof size);
        headerSize = kLongHeader;
    }
    m_buffer.insert(m_buffer.end(), header, header + headerSize);
    m_buffer.insert(m_buffer.end(), body.begin(), body.end());
}

void PlainWriter::flush() {
    std::size_t sent = 0;
    while (sent < m_buffer.size()) {
        const ssize_t count = send(m_descriptor, m_buffer.data() + sent, m_buffer.size() - sent, MSG_NOSIGNAL);
        if (count > 0) {
            sent += static_cast<std::size_t>(count);
        } else if (errno == EAGAIN) {
            awaitWritable(m_descriptor);
        } else {
            break;
        }
    }
    m_buffer.clear();
}
