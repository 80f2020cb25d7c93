// tests/scripted/adapters.cpp: a machine whose addresses the test writes down.
#include "tests/scripted/adapters.h"
#include "sharedlib/platform/adapters.h"
#include "tests/scripted/per_test.h"
#include <algorithm>

namespace scripted {
namespace {

const PerTest kPerTest([](bool) { localAddresses().clear(); }, [] {});

} // namespace

std::vector<std::uint32_t>& localAddresses() {
    static std::vector<std::uint32_t> addresses;
    return addresses;
}

} // namespace scripted

namespace platform {

std::size_t listLocalAddresses(std::uint32_t* addresses, std::size_t max) {
    const std::vector<std::uint32_t>& all = scripted::localAddresses();
    const std::size_t count = std::min(max, all.size());
    std::copy_n(all.begin(), count, addresses);
    return count;
}

} // namespace platform
