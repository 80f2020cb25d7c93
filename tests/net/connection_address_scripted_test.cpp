// tests/net/connection_address_scripted_test.cpp: picking among the addresses of machines with several.
#include "sharedlib/net/connection.h"
#include "tests/scripted/adapters.h"
#include <array>
#include <gtest/gtest.h>

namespace {

TEST(ConnectionAddress, PicksTheFirstOfTenLocalAddressesInTheNetwork) {
    EXPECT_EQ(CConnection::GetLocalIPAddress(0, 0), 0U) << "a machine without addresses";
    scripted::localAddresses() = {0xC0A80102, 0x0A010203, 0x0A010204};
    EXPECT_EQ(CConnection::GetLocalIPAddress(0x0A000000, 0xFF000000), 0x0A010203U);
    EXPECT_EQ(CConnection::GetLocalIPAddress(0xAC100000, 0xFFF00000), 0U);
    EXPECT_EQ(CConnection::GetLocalIPAddress(0xC0A80102, 0xFFFFFFFF), 0xC0A80102U);
    scripted::localAddresses().assign(9, 0xC0A80102);
    scripted::localAddresses().insert(scripted::localAddresses().end(), {0x0A000001, 0x0B000001});
    EXPECT_EQ(CConnection::GetLocalIPAddress(0x0A000000, 0xFF000000), 0x0A000001U) << "the tenth";
    EXPECT_EQ(CConnection::GetLocalIPAddress(0x0B000000, 0xFF000000), 0U) << "the eleventh is not looked at";
}

TEST(ConnectionAddress, ListsWhatFitsAndEndsTheListWithZero) {
    scripted::localAddresses() = {1, 2, 3};
    std::array<unsigned long, 5> found{};
    found.fill(77);
    CConnection::GetAllLocalIPAddresses(found.data(), 2);
    EXPECT_EQ(found, (std::array<unsigned long, 5>{1, 2, 77, 77, 77}));
    CConnection::GetAllLocalIPAddresses(found.data(), 4);
    EXPECT_EQ(found, (std::array<unsigned long, 5>{1, 2, 3, 0, 77}));
    CConnection::GetAllLocalIPAddresses(nullptr, 0);
}

} // namespace
