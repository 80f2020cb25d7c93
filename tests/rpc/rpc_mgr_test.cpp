// tests/rpc/rpc_mgr_test.cpp: the table of remote procedures, its digest and its lookups.
#include "tests/rpc/rpc_fixture.h"
#include <array>
#include <memory>
#include <random>

namespace {

using RpcMgr = RpcTest;

const std::string kNoBytesDigest = "d41d8cd98f00b204e9800998ecf8427e";

std::string builtTable(bool debug = false) {
    CPackedData out;
    out.setDebug(debug);
    CRpcMgr::GetInstance()->BuildTable(out);
    std::string hex;
    for (int index = 0; index < out.size(); ++index) {
        constexpr const char* kDigits = "0123456789abcdef";
        const auto byte = static_cast<unsigned char>(out.readData()[index]);
        hex += {kDigits[byte / 16], kDigits[byte % 16]};
    }
    return hex;
}

bool parses(const std::vector<unsigned char>& message) {
    CPackedData in(message.data(), static_cast<int>(message.size()));
    return CRpcMgr::GetInstance()->ParseTable(in);
}

TEST_F(RpcMgr, SortsByUnsignedIdentifierAndDigestsAllButInternalOnes) {
    EXPECT_EQ(builtTable(), "00" + kNoBytesDigest);
    CRpcMgr::Cleanup();

    TestRpc c(30, "c");
    TestRpc a(10, "a");
    TestRpc b(20, "b");
    TestRpc high(0x80000000U, "high", true);
    TestRpc low(0x7FFFFFFFU, "low", true);
    // MD5 of 0A 00 00 00 14 00 00 00 1E 00 00 00.
    const std::string digest = "1719bc13ae9f2ad5aa50c720edc400a6";
    EXPECT_EQ(builtTable(), "00" + digest);
    EXPECT_EQ(builtTable(true), "016810000000" + digest);

    CRpcMgr* manager = CRpcMgr::GetInstance();
    ASSERT_EQ(manager->getRpcTypeCount(), 5);
    std::string names;
    for (int index = 0; index < manager->getRpcTypeCount(); ++index) {
        names += manager->getRpcTypeNameByIndex(index) + std::string(" ");
    }
    EXPECT_EQ(names, "a b c low high ");
    EXPECT_EQ(manager->FindRpc(0x80000000UL), &high);
    EXPECT_EQ(high.registrations, 1);

    TestRpc late(5, "late");
    EXPECT_EQ(manager->getRpcTypeCount(), 5);
    CRpcMgr::Cleanup();
    EXPECT_EQ(CRpcMgr::sm_pRpcMgr, nullptr);
    EXPECT_NE(builtTable(), "00" + digest);
    EXPECT_EQ(high.registrations, 2);
    EXPECT_EQ(late.registrations, 1);

    CRpcMgr::Cleanup();
    CRpc::s_head = nullptr;
    TestRpc wide(0x12345678, "wide");
    // MD5 of 78 56 34 12.
    EXPECT_EQ(builtTable(), "00f6532621685700b88aecbf202dc8f9d2");
}

TEST_F(RpcMgr, ShowsWhatItDigestsAtDetail) {
    theLogger->SetConditional(Log::RPC, LogSev_Detail);
    TestRpc call(0xAB, "call");
    TestRpc internal(0xAC, "internal", true);
    CRpcMgr::GetInstance();
    EXPECT_EQ(lines, std::vector<std::string>{"RPC: In hash: 0x000000AB call"});
}

TEST_F(RpcMgr, FindsEveryIdentifierAndNoOther) {
    std::mt19937 random(3);
    for (const std::size_t count : {0U, 1U, 2U, 3U, 7U, 8U, 9U, 100U, 1000U}) {
        CRpc::s_head = nullptr;
        std::vector<std::unique_ptr<TestRpc>> calls;
        for (std::size_t index = 0; index < count; ++index) {
            // Even identifiers from both halves of the range, so that odd ones lie between.
            const auto id =
                static_cast<std::uint32_t>((index << 1) | (random() & 0x80000000U) | (random() & 0xFF0000U));
            calls.push_back(std::make_unique<TestRpc>(id, "call " + std::to_string(index)));
        }
        CRpcMgr::Cleanup();
        CRpcMgr* manager = CRpcMgr::GetInstance();
        for (const auto& call : calls) {
            ASSERT_EQ(manager->FindRpc(call->GetId()), call.get());
            ASSERT_EQ(manager->FindRpc(call->GetName()), call.get());
            ASSERT_EQ(manager->FindRpc(call->GetId() + 1UL), nullptr);
        }
        ASSERT_EQ(manager->FindRpc(0xFFFFFFFFUL), nullptr);
    }
}

TEST_F(RpcMgr, SaysWhatItDoesNotFindAndLeavesTheAnswersAlone) {
    TestRpc call(7, "Call");
    CRpcMgr* manager = CRpcMgr::GetInstance();
    int processType = 42;
    bool internal = true;
    EXPECT_FALSE(manager->IsValidServer(1, 0xAB, processType, internal));
    EXPECT_EQ(processType, 42);
    EXPECT_TRUE(internal);
    EXPECT_EQ(manager->FindRpcPrivilege(0), nullptr);
    EXPECT_EQ(manager->getRpcTypeName(8), nullptr);
    EXPECT_EQ(manager->FindRpc("call"), nullptr);
    EXPECT_EQ(lines, (std::vector<std::string>{
                         "ERROR RPC: Unable to find RPC with ID 0xAB", "ERROR RPC: Unable to find RPC with ID 0x0",
                         "ERROR RPC: Unable to find RPC with ID 0x8", "ERROR RPC: Unable to find RPC with name call"}));
    EXPECT_FALSE(manager->IsValidServer(1, 7, processType, internal));
    EXPECT_EQ(processType, 0);
    EXPECT_FALSE(internal);
    EXPECT_STREQ(manager->FindRpcPrivilege(7), "");
}

TEST_F(RpcMgr, TakesOnlyAWholeAndEqualTable) {
    TestRpc call(7, "call");
    CRpcMgr* manager = CRpcMgr::GetInstance();
    CPackedData table;
    manager->BuildTable(table);
    const std::vector<unsigned char> whole(table.readData(), table.readData() + table.size());
    CPackedData arguments;
    manager->CallFunction(nullptr, nullptr, arguments, 7);

    std::vector<unsigned char> changed = whole;
    changed.back() ^= 1;
    EXPECT_FALSE(parses(changed));
    for (std::size_t length = 0; length < whole.size(); ++length) {
        EXPECT_FALSE(parses({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)})) << length;
    }
    // In debug mode a header, a tag and a length are read before the digest turns out to be cut short.
    EXPECT_FALSE(parses({1, 0x68, 16, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
    EXPECT_EQ(lines.size(), whole.size() + 2);
    EXPECT_EQ(lines.back(), "ERROR Network: Rpc table from server does not match ours");
    EXPECT_EQ(manager->getRpcTypeCountByIndex(0), 1U);
    EXPECT_TRUE(parses(whole));
    EXPECT_EQ(manager->getRpcTypeCountByIndex(0), 0U);
}

} // namespace
