// sharedlib/net/connection_address.cpp: the address helpers of CConnection.
#include "sharedlib/net/connection.h"
#include "sharedlib/platform/adapters.h"
#include "sharedlib/platform/resolver.h"
#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>

namespace {

constexpr std::size_t kMaxScannedAddresses = 10;

/// The leading decimal digits as a number that saturates, so that no text overflows it; 0 without digits.
std::uint64_t leadingNumber(const std::string& text) {
    constexpr std::uint64_t kMax = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t number = 0;
    for (const char character : text) {
        if (character < '0' || character > '9') {
            break;
        }
        const auto digit = static_cast<std::uint64_t>(character - '0');
        number = number > (kMax - digit) / 10 ? kMax : number * 10 + digit;
    }
    return number;
}

} // namespace

bool CConnection::ConvertAddress(std::string const& host, unsigned long* ip) {
    std::uint32_t resolved = 0;
    if (!platform::resolveHost(host, resolved)) {
        return false;
    }
    *ip = resolved;
    return true;
}

bool CConnection::ConvertAddressString(std::string const& text, unsigned long* ip, unsigned short* port) {
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos) {
        return false;
    }
    const std::string host = text.substr(0, colon);
    const std::string portText = text.substr(colon + 1);
    if (host.empty() || portText.empty()) {
        return false;
    }
    *port = static_cast<unsigned short>(leadingNumber(portText));
    return ConvertAddress(host, ip);
}

std::string CConnection::GetIpAsString(unsigned long ip) {
    return platform::addressText(static_cast<std::uint32_t>(ip));
}

void CConnection::GetAllLocalIPAddresses(unsigned long* addresses, unsigned char maxCount) {
    std::array<std::uint32_t, std::numeric_limits<unsigned char>::max()> found{};
    platform::listLocalAddresses(found.data(), maxCount);
    std::copy_n(found.begin(), maxCount, addresses);
}

unsigned long CConnection::GetLocalIPAddress(unsigned long network, unsigned long mask) {
    std::array<unsigned long, kMaxScannedAddresses> addresses{};
    GetAllLocalIPAddresses(addresses.data(), static_cast<unsigned char>(addresses.size()));
    const auto fits = [=](unsigned long address) {
        return address == 0 || static_cast<std::uint32_t>(address & mask) == static_cast<std::uint32_t>(network);
    };
    // An unused entry ends the list, and its 0 is the answer for "none".
    const auto match = std::find_if(addresses.begin(), addresses.end(), fits);
    return match == addresses.end() ? 0 : *match;
}
