// sharedlib/platform/posix/resolver.cpp: host names and address texts.
#include "sharedlib/platform/resolver.h"
#include <arpa/inet.h>
#include <array>
#include <cstring>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace platform {

bool resolveHost(const std::string& host, std::uint32_t& ip) {
    // The system would see only what stands before the zero byte, which is another host than the caller named.
    if (host.find('\0') != std::string::npos) {
        return false;
    }
    addrinfo hints{};
    hints.ai_family = AF_INET;
    addrinfo* list = nullptr;
    const int failure = getaddrinfo(host.c_str(), "0", &hints, &list);
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(list, &freeaddrinfo);
    if (failure != 0 || list == nullptr || list->ai_addr == nullptr || list->ai_addr->sa_family != AF_INET ||
        list->ai_addrlen != sizeof(sockaddr_in)) {
        return false;
    }
    sockaddr_in address{};
    std::memcpy(&address, list->ai_addr, sizeof address);
    ip = ntohl(address.sin_addr.s_addr);
    return true;
}

std::string addressText(std::uint32_t ip) {
    in_addr address{};
    address.s_addr = htonl(ip);
    std::array<char, INET_ADDRSTRLEN> text{};
    inet_ntop(AF_INET, &address, text.data(), text.size());
    return text.data();
}

} // namespace platform
