// tests/contract/resolver_contract_test.cpp: host names and address texts.
#include "sharedlib/platform/resolver.h"
#include <gtest/gtest.h>
#include <string>

namespace {

TEST(ResolverContract, ResolvesWhatNamesAHostAndLeavesTheRestAlone) {
    constexpr std::uint32_t kUntouched = 0xDEADBEEF;
    struct Case {
        std::string host;
        std::uint32_t ip;
    };
    const Case cases[] = {
        {"192.168.1.2", 0xC0A80102},
        {"localhost", 0x7F000001},
        {"255.255.255.255", 0xFFFFFFFF},
        {"0.0.0.0", 0},
        {"::1", kUntouched},
        {"256.1.1.1", kUntouched},
        {"no such host", kUntouched},
        {std::string("127.0.0.1\0.example", 18), kUntouched},
        {std::string(10240, 'a'), kUntouched},
        {std::string(10240, '.'), kUntouched},
    };
    for (const Case& c : cases) {
        std::uint32_t ip = kUntouched;
        EXPECT_EQ(platform::resolveHost(c.host, ip), c.ip != kUntouched) << c.host.substr(0, 40);
        EXPECT_EQ(ip, c.ip) << c.host.substr(0, 40);
    }
}

TEST(ResolverContract, WritesAddressesInTheOrderPeopleReadThem) {
    EXPECT_EQ(platform::addressText(0xC0A80102), "192.168.1.2");
    EXPECT_EQ(platform::addressText(0), "0.0.0.0");
    EXPECT_EQ(platform::addressText(0xFFFFFFFF), "255.255.255.255");
}

} // namespace
