// tests/scripted/adapters.cpp: a machine whose addresses the test writes down.
#include "tests/scripted/adapters.h"
#include "sharedlib/platform/adapters.h"
#include <algorithm>

std::size_t platform::listLocalAddresses(std::uint32_t* addresses, std::size_t max) {
    const std::size_t count = std::min(max, scripted::localAddresses.size());
    std::copy_n(scripted::localAddresses.begin(), count, addresses);
    return count;
}
