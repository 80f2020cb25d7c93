// sharedlib/platform/posix/message_pipe.cpp: the client's end of a named message pipe: a Unix socket that keeps
// messages.
#include "sharedlib/platform/message_pipe.h"
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

namespace platform {
namespace {

constexpr std::string_view kPipeFolder = R"(\\.\PIPE\)";

struct Descriptor {
    explicit Descriptor(int descriptor) : number(descriptor) {}
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;
    ~Descriptor() {
        if (number >= 0) {
            ::close(number);
        }
    }
    int number;
};

bool sameLetter(char letter, char capital) {
    return letter == capital || (capital >= 'A' && capital <= 'Z' && letter == capital - 'A' + 'a');
}

// The socket's name, or nothing when `name` is no pipe's.
std::string_view socketName(std::string_view name) {
    if (name.size() <= kPipeFolder.size() ||
        !std::equal(kPipeFolder.begin(), kPipeFolder.end(), name.begin(),
                    [](char capital, char letter) { return sameLetter(letter, capital); })) {
        return {};
    }
    name.remove_prefix(kPipeFolder.size());
    bool const leadsElsewhere =
        name.find_first_of("/\\") != std::string_view::npos || name == "." || name.find("..") != std::string_view::npos;
    return leadsElsewhere ? std::string_view() : name;
}

std::string socketPath(std::string_view name) {
    char const* const folder = std::getenv("XDG_RUNTIME_DIR");
    // A folder relative to wherever the process happens to be is none.
    std::string path = folder != nullptr && folder[0] == '/' ? folder : "/run";
    path += '/';
    path += name;
    return path;
}

// A connected socket, or -1. A queue of clients that is full would make a blocking connect wait.
int connectTo(std::string const& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        return -1;
    }
    path.copy(address.sun_path, path.size());
    Descriptor client(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (client.number < 0 ||
        ::connect(client.number, reinterpret_cast<sockaddr const*>(&address), sizeof(address)) != 0) {
        return -1;
    }
    return std::exchange(client.number, -1);
}

} // namespace

void* openMessagePipe(char const* name) {
    std::string_view const socket = socketName(name);
    if (socket.empty()) {
        return nullptr;
    }
    Descriptor const client(connectTo(socketPath(socket)));
    if (client.number < 0) {
        return nullptr;
    }
    // Writers wait for room, as they do on other systems.
    int const flags = ::fcntl(client.number, F_GETFL);
    if (flags < 0 || ::fcntl(client.number, F_SETFL, flags & ~O_NONBLOCK) != 0) {
        return nullptr;
    }
    // The number 0 would look like no pipe.
    int const number = ::fcntl(client.number, F_DUPFD_CLOEXEC, 1);
    return reinterpret_cast<void*>(static_cast<std::intptr_t>(std::max(number, 0)));
}

void closeMessagePipe(void* handle) {
    if (handle != nullptr) {
        ::close(static_cast<int>(reinterpret_cast<std::intptr_t>(handle)));
    }
}

} // namespace platform
