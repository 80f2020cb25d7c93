// tests/scripted/adapters.h: a machine whose addresses the test writes down.
#pragma once
#include <cstdint>
#include <vector>

namespace scripted {

/// The addresses that the machine has, in the system's order. For one test: they stay when it ends.
inline std::vector<std::uint32_t> localAddresses;

} // namespace scripted
