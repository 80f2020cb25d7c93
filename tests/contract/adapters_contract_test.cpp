// tests/contract/adapters_contract_test.cpp: the addresses of this machine.
#include "sharedlib/platform/adapters.h"
#include "sharedlib/platform/socket.h"
#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

namespace {

TEST(AdaptersContract, ListsAddressesThatASocketCanBindAndStopsWhereThereIsNoRoom) {
    constexpr std::uint32_t kUntouched = 0xDEADBEEF;
    std::vector<std::uint32_t> all(256, kUntouched);
    const std::size_t count = platform::listLocalAddresses(all.data(), all.size());
    ASSERT_GT(count, 0U);
    EXPECT_EQ(std::count(all.begin() + static_cast<std::ptrdiff_t>(count), all.end(), kUntouched),
              256 - static_cast<std::ptrdiff_t>(count));
    EXPECT_NE(std::find(all.begin(), all.end(), 0x7F000001U), all.end());
    for (std::size_t i = 0; i < count; ++i) {
        const platform::OpenResult opened = platform::openSocket(platform::SocketKind::Datagram);
        EXPECT_EQ(platform::bindSocket(opened.socket, {all[i], 0}), 0) << std::hex << all[i];
        platform::closeSocket(opened.socket);
    }
    for (std::size_t room = 0; room < count; ++room) {
        std::vector<std::uint32_t> some(count, kUntouched);
        EXPECT_EQ(platform::listLocalAddresses(some.data(), room), room);
        EXPECT_TRUE(std::equal(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(room), some.begin()));
        EXPECT_EQ(some[room], kUntouched);
    }
}

} // namespace
