// tests/rpc/rpc_call_test.cpp: the dispatch of calls, what bodies may do meanwhile, and the statistics.
#include "sharedlib/net/connection.h"
#include "tests/rpc/rpc_fixture.h"
#include <chrono>
#include <stdexcept>
#include <thread>

namespace {

using RpcCall = RpcTest;

void call(unsigned long id, int argumentBytes = 0, CConnection* connection = nullptr) {
    const std::string bytes(static_cast<std::size_t>(argumentBytes), '\0');
    CPackedData arguments(bytes.data(), argumentBytes);
    CRpcMgr::GetInstance()->CallFunction(nullptr, connection, arguments, id);
}

void takeTime(CPackedData& /*arguments*/) {
    std::this_thread::sleep_for(std::chrono::milliseconds(6));
}

TEST_F(RpcCall, CountsCallsBytesAndWholeMilliseconds) {
    TestRpc first(5, "first");
    TestRpc second(9, "second");
    CRpcMgr* manager = CRpcMgr::GetInstance();
    EXPECT_EQ(manager->getMaxSizeRpcTypeIndex(), -1);
    call(9, 10);
    call(9, 30);
    EXPECT_EQ(second.calls, 2);
    EXPECT_EQ(second.lastValue, 0);
    EXPECT_EQ(manager->getRpcTypeCountByIndex(1), 2U);
    EXPECT_EQ(manager->getRpcTypeSizeByIndex(1), 40U);
    EXPECT_EQ(manager->getMaxSizeRpcTypeIndex(), 1);
    EXPECT_EQ(manager->getMaxTimeRpcTypeIndex(), -1);
    call(5, 40);
    EXPECT_EQ(manager->getMaxSizeRpcTypeIndex(), 0) << "the first of equal ones";
    first.body = takeTime;
    call(5);
    EXPECT_EQ(manager->getMaxTimeRpcTypeIndex(), 0);
    EXPECT_GE(manager->getRpcTypeTimeByIndex(0), 6U);

    call(6);
    EXPECT_EQ(lines, std::vector<std::string>{"ERROR RPC: Unable to find RPC with ID 0x6"});
    EXPECT_EQ(manager->getRpcTypeCountByIndex(0), 2U) << "an absent identifier counts on no entry";
}

TEST_F(RpcCall, TellsWhereACallCameFrom) {
    TestRpc rpc(5, "Five");
    CConnection connection;
    theLogger->SetConditional(Log::RPC, LogSev_Info);
    call(5, 3);
    call(5, 4, &connection);
    EXPECT_EQ(rpc.lastConnection, &connection);
    EXPECT_EQ(lines, (std::vector<std::string>{"RPC: UNKNOWN to UNKNOWN:-1: Receiving RPC Five (3 bytes)",
                                               "RPC: Unhandled to 0.0.0.0:0: Receiving RPC Five (4 bytes)"}));
}

TEST_F(RpcCall, NamesSlowCallsWhenThePulseChannelIsOpen) {
    TestRpc slow(5, "Slow");
    TestRpc fast(6, "Fast");
    slow.body = takeTime;
    call(5);
    EXPECT_TRUE(lines.empty());
    theLogger->SetConditional(Log::Pulse, LogSev_Info);
    call(5);
    call(6);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].rfind("Pulse: Slow time=", 0), 0U) << lines[0];
}

TEST_F(RpcCall, BodiesMayResetReplaceOrEndTheManager) {
    TestRpc rpc(5, "rpc");
    TestRpc nested(6, "nested");
    rpc.body = [](CPackedData& arguments) {
        CRpcMgr::GetInstance()->ResetStats();
        takeTime(arguments);
    };
    call(5);
    EXPECT_EQ(CRpcMgr::GetInstance()->getRpcTypeCountByIndex(0), 0U);
    EXPECT_GE(CRpcMgr::GetInstance()->getRpcTypeTimeByIndex(0), 6U);

    rpc.body = [](CPackedData& arguments) {
        CRpcMgr::Cleanup();
        takeTime(arguments);
    };
    call(5);
    EXPECT_EQ(CRpcMgr::sm_pRpcMgr, nullptr);

    rpc.body = [](CPackedData& arguments) {
        CRpcMgr::Cleanup();
        CRpcMgr::GetInstance();
        takeTime(arguments);
    };
    call(5);
    EXPECT_EQ(CRpcMgr::GetInstance()->getMaxTimeRpcTypeIndex(), -1) << "the new manager did not start this call";

    rpc.body = [](CPackedData& /*arguments*/) { call(6, 8); };
    nested.body = takeTime;
    call(5, 2);
    EXPECT_EQ(CRpcMgr::GetInstance()->getRpcTypeSizeByIndex(0), 2U);
    EXPECT_EQ(CRpcMgr::GetInstance()->getRpcTypeSizeByIndex(1), 8U);
    EXPECT_GE(CRpcMgr::GetInstance()->getRpcTypeTimeByIndex(0), CRpcMgr::GetInstance()->getRpcTypeTimeByIndex(1));

    rpc.body = [](CPackedData& arguments) {
        takeTime(arguments);
        throw std::runtime_error("from the body");
    };
    CRpcMgr::GetInstance()->ResetStats();
    EXPECT_THROW(call(5), std::runtime_error);
    EXPECT_GE(CRpcMgr::GetInstance()->getRpcTypeTimeByIndex(0), 6U);
}

TEST_F(RpcCall, ReportsAPeriodAndStartsTheNext) {
    TestRpc slow(1, "slow");
    TestRpc busy(2, "busy");
    TestRpc alsoBusy(3, "alsoBusy");
    slow.body = takeTime;
    call(1, 7);
    for (int count = 0; count < 3; ++count) {
        call(2);
        call(3);
    }
    std::string slowestName = "?";
    std::string busiestName = "?";
    float slowestAverage = 0;
    long busiestCount = -1;
    CRpcMgr* manager = CRpcMgr::GetInstance();
    CRpcMgr::GetInstance()->getRPCStats(slowestName, slowestAverage, busiestName, busiestCount);
    EXPECT_EQ(slowestName, "slow");
    EXPECT_GE(slowestAverage, 6.0F);
    EXPECT_EQ(busiestName, "?") << "-1 compares as the largest unsigned number";
    EXPECT_EQ(manager->getRpcTypeCountByIndex(1), 0U);
    EXPECT_EQ(manager->getRpcTypeTimeByIndex(0), 0U);
    EXPECT_EQ(manager->getRpcTypeSizeByIndex(0), 7U);

    for (int count = 0; count < 3; ++count) {
        call(2);
        call(3);
    }
    slowestName = "?";
    slowestAverage = 0;
    busiestCount = 0;
    manager->getRPCStats(slowestName, slowestAverage, busiestName, busiestCount);
    EXPECT_EQ(slowestName, "?");
    EXPECT_EQ(busiestName, "busy") << "the first of equal ones";
    EXPECT_EQ(busiestCount, 3);
}

TEST_F(RpcCall, RefusesIndicesOutsideTheStatistics) {
    TestRpc rpc(1, "one");
    CRpcMgr* manager = CRpcMgr::GetInstance();
    for (const int index : {-1, 1, 2147483647, -2147483647}) {
        try {
            manager->getRpcTypeTimeByIndex(index);
            FAIL() << index;
        } catch (const std::out_of_range& error) {
            EXPECT_STREQ(error.what(), "invalid vector subscript");
        }
        EXPECT_THROW(manager->getRpcTypeCountByIndex(index), std::out_of_range);
        EXPECT_THROW(manager->getRpcTypeSizeByIndex(index), std::out_of_range);
    }
    EXPECT_TRUE(lines.empty());
}

} // namespace
