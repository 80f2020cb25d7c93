// tests/rpc/rpc_mgr_test.cpp: the table of remote procedures, its digest and its lookups.
#include "tests/rpc/rpc_fixture.h"
#include <memory>
#include <random>
#include <stdexcept>

namespace {

using namespace std::string_view_literals;
using testing::ElementsAre;
using RpcMgr = RpcTest;

std::string builtTable(bool debug = false) {
    CPackedData out;
    out.setDebug(debug);
    CRpcMgr::GetInstance()->BuildTable(out);
    return {out.readData(), static_cast<std::size_t>(out.size())};
}

TEST_F(RpcMgr, SortsByUnsignedIdentifierAndDigestsAllButInternalOnes) {
    EXPECT_EQ(builtTable(), "\x00\xd4\x1d\x8c\xd9\x8f\x00\xb2\x04\xe9\x80\x09\x98\xec\xf8\x42\x7e"sv)
        << "MD5 of no bytes";
    TestRpc c(30, "c");
    TestRpc a(10, "a");
    TestRpc b(20, "b");
    TestRpc high(0x80000000U, "high", true);
    TestRpc low(0x7FFFFFFFU, "low", true);
    int registrations = 0;
    high.registered = [&] { ++registrations; };
    EXPECT_EQ(manager().getRpcTypeCount(), 0) << "what is added later waits for the next manager";
    CRpcMgr::Cleanup();
    log.show(Log::RPC, LogSev_Detail);
    // MD5 of 0A 00 00 00 14 00 00 00 1E 00 00 00.
    EXPECT_EQ(builtTable(), "\x00\x17\x19\xbc\x13\xae\x9f\x2a\xd5\xaa\x50\xc7\x20\xed\xc4\x00\xa6"sv);
    EXPECT_EQ(builtTable(true),
              "\x01\x68\x10\x00\x00\x00\x17\x19\xbc\x13\xae\x9f\x2a\xd5\xaa\x50\xc7\x20\xed\xc4\x00\xa6"sv);
    EXPECT_THAT(log.texts(Log::RPC),
                ElementsAre("In hash: 0x0000000A a", "In hash: 0x00000014 b", "In hash: 0x0000001E c"));
    std::string names;
    for (int index = 0; index < manager().getRpcTypeCount(); ++index) {
        names += manager().getRpcTypeNameByIndex(index) + std::string(" ");
    }
    EXPECT_EQ(names, "a b c low high ");
    EXPECT_EQ(registrations, 1);

    high.registered = [] { throw std::runtime_error("from OnRegister"); };
    CRpcMgr::Cleanup();
    EXPECT_THROW(CRpcMgr::GetInstance(), std::runtime_error);
    EXPECT_EQ(CRpcMgr::sm_pRpcMgr, nullptr) << "half a table";
    CRpc::s_head = nullptr;
    TestRpc wide(0x12345678);
    // MD5 of 78 56 34 12.
    EXPECT_EQ(builtTable(), "\x00\xf6\x53\x26\x21\x68\x57\x00\xb8\x8a\xec\xbf\x20\x2d\xc8\xf9\xd2"sv);
}

TEST_F(RpcMgr, FindsEveryIdentifierAndNoOther) {
    std::mt19937 random(3);
    for (const std::size_t count : {0U, 1U, 2U, 3U, 7U, 8U, 9U, 100U, 1000U}) {
        CRpc::s_head = nullptr;
        std::vector<std::unique_ptr<TestRpc>> calls;
        for (std::size_t index = 0; index < count; ++index) {
            // Even identifiers from both halves of the range, so that odd ones lie between.
            const std::size_t id = (index << 1) | (random() & 0x80000000U) | (random() & 0xFF0000U);
            calls.push_back(std::make_unique<TestRpc>(static_cast<std::uint32_t>(id), "call " + std::to_string(index)));
        }
        CRpcMgr::Cleanup();
        for (const auto& call : calls) {
            ASSERT_EQ(manager().FindRpc(call->GetId()), call.get());
            ASSERT_EQ(manager().FindRpc(call->GetName()), call.get());
            ASSERT_EQ(manager().FindRpc(call->GetId() + 1UL), nullptr);
        }
        ASSERT_EQ(manager().FindRpc(0xFFFFFFFFUL), nullptr);
    }
}

TEST_F(RpcMgr, SaysWhatItDoesNotFindAndLeavesTheAnswersAlone) {
    TestRpc call(7, "Call");
    int processType = 42;
    bool internal = true;
    EXPECT_FALSE(manager().IsValidServer(1, 0xAB, processType, internal));
    EXPECT_TRUE(processType == 42 && internal);
    EXPECT_EQ(manager().FindRpcPrivilege(0), nullptr);
    EXPECT_EQ(manager().getRpcTypeName(8), nullptr);
    EXPECT_EQ(manager().FindRpc("call"), nullptr);
    const auto line = [](const char* text) { return LogLineSeen{LogSev_Error, Log::RPC, text}; };
    EXPECT_THAT(log.lines(),
                ElementsAre(line("Unable to find RPC with ID 0xAB"), line("Unable to find RPC with ID 0x0"),
                            line("Unable to find RPC with ID 0x8"), line("Unable to find RPC with name call")));
    EXPECT_FALSE(manager().IsValidServer(1, 7, processType, internal));
    EXPECT_TRUE(processType == 0 && !internal);
    EXPECT_STREQ(manager().FindRpcPrivilege(7), "");
}

TEST_F(RpcMgr, TakesOnlyAWholeAndEqualTable) {
    TestRpc rpc(7);
    const auto parses = [](std::string_view message) {
        CPackedData in(message.data(), static_cast<int>(message.size()));
        return manager().ParseTable(in);
    };
    const std::string whole = builtTable();
    call(7);
    std::string changed = whole;
    changed.back() ^= 1;
    EXPECT_FALSE(parses(changed));
    // In debug mode a header, a tag and a length are read before the digest turns out to be cut short.
    for (const std::string& table : {whole, builtTable(true)}) {
        for (std::size_t length = 0; length < table.size(); ++length) {
            EXPECT_FALSE(parses(std::string_view(table).substr(0, length))) << length;
        }
    }
    EXPECT_EQ(log.count(LogSev_Error, Log::Network, "Rpc table from server does not match ours"), 1 + 17 + 22);
    EXPECT_EQ(manager().getRpcTypeCountByIndex(0), 1U);
    EXPECT_TRUE(parses(builtTable(true)) && parses(whole));
    EXPECT_EQ(manager().getRpcTypeCountByIndex(0), 0U);
    CPackedData farBehind;
    farBehind.setDebug(true);
    farBehind.setGetIndex(INT32_MAX);
    EXPECT_FALSE(manager().ParseTable(farBehind));
}

} // namespace
