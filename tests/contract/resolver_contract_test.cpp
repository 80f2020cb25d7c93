// tests/contract/resolver_contract_test.cpp: host names and address texts.
#include "sharedlib/platform/resolver.h"
#include <gtest/gtest.h>
#include <string>
#include <utility>

namespace {

TEST(ResolverContract, ResolvesWhatNamesAHostAndLeavesTheRestAlone) {
    constexpr std::uint32_t kUntouched = 0xDEADBEEF;
    for (const auto& [host, address] : std::initializer_list<std::pair<std::string, std::uint32_t>>{
             {"localhost", 0x7F000001},
             {"192.168.1.2", 0xC0A80102},
             {"255.255.255.255", 0xFFFFFFFF},
             {"0.0.0.0", 0},
             {"::1", kUntouched},
             {"256.1.1.1", kUntouched},
             {"no such host", kUntouched},
             {std::string("127.0.0.1\0.example", 18), kUntouched},
             {std::string(10240, 'a'), kUntouched},
         }) {
        std::uint32_t ip = kUntouched;
        EXPECT_EQ(platform::resolveHost(host, ip), address != kUntouched) << host.substr(0, 40);
        EXPECT_EQ(ip, address) << host.substr(0, 40);
        EXPECT_TRUE(ip == kUntouched || host == "localhost" || platform::addressText(ip) == host) << host;
    }
}

} // namespace
