// sharedlib/platform/posix/adapters.cpp: the addresses of this machine.
#include "sharedlib/platform/adapters.h"
#include <cstring>
#include <ifaddrs.h>
#include <memory>
#include <netinet/in.h>
#include <sys/socket.h>

namespace platform {

std::size_t listLocalAddresses(std::uint32_t* addresses, std::size_t max) {
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) {
        return 0;
    }
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(list, &freeifaddrs);
    std::size_t count = 0;
    for (const ifaddrs* entry = list; entry != nullptr && count < max; entry = entry->ifa_next) {
        // An interface without an address has none to give.
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) {
            continue;
        }
        sockaddr_in address{};
        std::memcpy(&address, entry->ifa_addr, sizeof address);
        addresses[count++] = ntohl(address.sin_addr.s_addr);
    }
    return count;
}

} // namespace platform
