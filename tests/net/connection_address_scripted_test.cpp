// tests/net/connection_address_scripted_test.cpp: picking among the addresses of machines with several.
#include "sharedlib/net/connection.h"
#include "tests/scripted/adapters.h"
#include <array>
#include <gtest/gtest.h>

namespace {

using scripted::localAddresses;

TEST(ConnectionAddress, PicksTheFirstOfTenLocalAddressesInTheNetwork) {
    const auto inNetworkTen = [] { return CConnection::GetLocalIPAddress(0x0A000000, 0xFF000000); };
    EXPECT_EQ(CConnection::GetLocalIPAddress(0, 0), 0U) << "a machine without addresses";
    localAddresses = {0xC0A80102, 0x0A010203, 0x0A010204};
    EXPECT_EQ(inNetworkTen(), 0x0A010203U);
    localAddresses.assign(9, 0xC0A80102);
    EXPECT_EQ(inNetworkTen(), 0U);
    localAddresses.insert(localAddresses.end(), {0x0A000001, 0x0B000001});
    EXPECT_EQ(inNetworkTen(), 0x0A000001U) << "the tenth";
    EXPECT_EQ(CConnection::GetLocalIPAddress(0x0B000000, 0xFF000000), 0U) << "the eleventh is not looked at";
    std::array<unsigned long, 13> found{};
    found.fill(77);
    CConnection::GetAllLocalIPAddresses(found.data() + 9, 1);
    CConnection::GetAllLocalIPAddresses(found.data(), 0);
    EXPECT_EQ(found[8] + found[10], 154U) << "only what fits";
    CConnection::GetAllLocalIPAddresses(found.data(), 12);
    EXPECT_EQ((std::array{found[8], found[9], found[10], found[11], found[12]}),
              (std::array<unsigned long, 5>{0xC0A80102, 0x0A000001, 0x0B000001, 0, 77}));
}

} // namespace
