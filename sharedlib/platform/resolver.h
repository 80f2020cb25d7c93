// sharedlib/platform/resolver.h: host names and address texts.
#pragma once
#include <cstdint>
#include <string>

namespace platform {

/// The IPv4 address (host byte order) that the system's resolver gives first for a host name or dotted address. False,
/// with `ip` unchanged, when it gives none. May wait for a name server. Any thread.
bool resolveHost(const std::string& host, std::uint32_t& ip);
/// `ip` (host byte order) as four decimal numbers with points between.
std::string addressText(std::uint32_t ip);

} // namespace platform
