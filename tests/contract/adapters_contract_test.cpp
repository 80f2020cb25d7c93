// tests/contract/adapters_contract_test.cpp: the addresses of this machine.
#include "sharedlib/platform/adapters.h"
#include "tests/contract/loopback.h"
#include <algorithm>
#include <vector>

namespace {

TEST(AdaptersContract, ListsAddressesThatASocketCanBindAndStopsWhereThereIsNoRoom) {
    constexpr std::uint32_t kUntouched = 0xDEADBEEF;
    std::vector<std::uint32_t> all(256, kUntouched);
    all.resize(platform::listLocalAddresses(all.data(), all.size()));
    EXPECT_NE(std::ranges::find(all, kLoopbackIp), all.end());
    for (std::size_t room = 0; room < all.size(); ++room) {
        const OwnedSocket socket(platform::openSocket(platform::SocketKind::Datagram).socket);
        EXPECT_EQ(platform::bindSocket(socket, {all[room], 0}), 0) << all[room];
        std::vector<std::uint32_t> some(all.size(), kUntouched);
        EXPECT_EQ(platform::listLocalAddresses(some.data(), room), room);
        EXPECT_TRUE(std::equal(some.begin(), some.begin() + static_cast<std::ptrdiff_t>(room), all.begin()));
        EXPECT_EQ(some[room], kUntouched);
    }
}

} // namespace
