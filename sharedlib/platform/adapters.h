// sharedlib/platform/adapters.h: the addresses of this machine.
#pragma once
#include <cstddef>
#include <cstdint>

namespace platform {

/// Stores at most `max` of the machine's IPv4 unicast addresses (host byte order), in the order in which the system
/// names them, and gives the number stored; 0 when the system does not tell. Any thread.
std::size_t listLocalAddresses(std::uint32_t* addresses, std::size_t max);

} // namespace platform
