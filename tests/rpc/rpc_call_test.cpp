// tests/rpc/rpc_call_test.cpp: the dispatch of calls, what bodies may do meanwhile, and the statistics.
#include "sharedlib/net/connection.h"
#include "tests/rpc/rpc_fixture.h"
#include <chrono>
#include <stdexcept>
#include <thread>

namespace {

using testing::ElementsAre;
using RpcCall = RpcTest;
using Stats = std::array<unsigned long, 3>;

void takeTime() {
    std::this_thread::sleep_for(std::chrono::milliseconds(6));
}

TEST_F(RpcCall, CountsCallsBytesAndWholeMilliseconds) {
    TestRpc first(5);
    TestRpc second(9);
    call(9, "0123456789");
    call(9, "012345678901234567890123456789");
    EXPECT_TRUE(second.calls == 2 && second.lastValue == 0);
    EXPECT_EQ(stats(1), (Stats{2, 40, 0}));
    EXPECT_EQ(manager().getMaxSizeRpcTypeIndex(), 1);
    EXPECT_EQ(manager().getMaxTimeRpcTypeIndex(), -1);
    first.body = takeTime;
    call(5, "0123456789012345678901234567890123456789");
    EXPECT_EQ(manager().getMaxSizeRpcTypeIndex(), 0) << "the first of equal ones";
    EXPECT_EQ(manager().getMaxTimeRpcTypeIndex(), 0);
    EXPECT_GE(stats(0)[2], 6U);
    call(6);
    EXPECT_THAT(log.lines(), ElementsAre(LogLineSeen{LogSev_Error, Log::RPC, "Unable to find RPC with ID 0x6"}));
    EXPECT_EQ(stats(0)[0], 1U) << "an absent identifier counts on no entry";
    const auto refused = testing::ThrowsMessage<std::out_of_range>("invalid vector subscript");
    for (const int index : {-1, 2, 2147483647}) {
        EXPECT_THAT([index] { manager().getRpcTypeCountByIndex(index); }, refused);
        EXPECT_THAT([index] { manager().getRpcTypeSizeByIndex(index); }, refused);
        EXPECT_THAT([index] { manager().getRpcTypeTimeByIndex(index); }, refused);
    }
}

TEST_F(RpcCall, TellsWhereACallCameFromAndNamesSlowOnes) {
    TestRpc rpc(5, "Five");
    CConnection connection;
    log.show(Log::RPC, LogSev_Info);
    call(5, "abc");
    call(5, "abcd", &connection);
    EXPECT_EQ(rpc.lastConnection, &connection);
    const auto line = [](const char* text) { return LogLineSeen{LogSev_Info, Log::RPC, text}; };
    EXPECT_THAT(log.lines(), ElementsAre(line("UNKNOWN to UNKNOWN:-1: Receiving RPC Five (3 bytes)"),
                                         line("Unhandled to 0.0.0.0:0: Receiving RPC Five (4 bytes)")));
    log.show(Log::Pulse, LogSev_Info);
    call(5);
    rpc.body = [&] { takeTime(), log.logger().setBSquelchLogger(false); };
    log.logger().setBSquelchLogger(true);
    call(5);
    EXPECT_THAT(log.texts(Log::Pulse), ElementsAre(testing::StartsWith("Five time="))) << "only the slow one";
}

TEST_F(RpcCall, BodiesMayResetReplaceOrEndTheManager) {
    TestRpc rpc(5);
    TestRpc nested(6);
    const auto callWith = [&](std::function<void()> deed) {
        rpc.body = [deed] { deed(), takeTime(); };
        call(5, "ab");
    };
    callWith([] { manager().ResetStats(); });
    EXPECT_EQ(stats(0)[0], 0U);
    EXPECT_GE(stats(0)[2], 6U);
    callWith(&CRpcMgr::Cleanup);
    EXPECT_EQ(CRpcMgr::sm_pRpcMgr, nullptr);
    callWith([] { CRpcMgr::Cleanup(), manager(); });
    EXPECT_EQ(manager().getMaxTimeRpcTypeIndex(), -1) << "the new manager did not start this call";
    nested.body = takeTime;
    callWith([] { call(6, "abcdefgh"); });
    EXPECT_EQ(stats(0)[1], 2U);
    EXPECT_EQ(stats(1)[1], 8U);
    EXPECT_GE(stats(0)[2], stats(1)[2] + 6);
    manager().ResetStats();
    EXPECT_THROW(callWith([] { takeTime(), throw std::runtime_error("from the body"); }), std::runtime_error);
    EXPECT_GE(stats(0)[2], 6U);
}

TEST_F(RpcCall, ALogCallbackMayEndTheManager) {
    TestRpc rpc(5);
    log.show(Log::RPC, LogSev_Info);
    log.logger().setDBLogFunction(
        [](LogItemSeverityLevel, int, char const* /*text*/, int, char const*) { CRpcMgr::Cleanup(); });
    EXPECT_EQ(manager().FindRpc(6), nullptr);
    EXPECT_EQ(CRpcMgr::sm_pRpcMgr, nullptr);
    call(5);
    EXPECT_EQ(CRpcMgr::sm_pRpcMgr, nullptr);
    EXPECT_EQ(rpc.calls, 0) << "a manager that is gone runs nothing";
}

TEST_F(RpcCall, ReportsAPeriodAndStartsTheNext) {
    TestRpc slow(1, "slow");
    TestRpc busy(2, "busy");
    TestRpc alsoBusy(3, "alsoBusy");
    slow.body = takeTime;
    call(1, "1234567");
    std::string busiest = "?";
    long count = -1;
    for (const int period : {1, 2}) {
        std::string slowest = "?";
        float average = 0;
        for (const unsigned long id : {2, 3, 2, 3}) {
            call(id);
        }
        manager().getRPCStats(slowest, average, busiest, count);
        EXPECT_EQ(slowest, period == 1 ? "slow" : "?");
        EXPECT_EQ(average >= 6.0F, period == 1);
        EXPECT_EQ(busiest, period == 1 ? "?" : "busy") << "-1 is the largest number; the first of equal ones";
        EXPECT_EQ(stats(0), (Stats{0, 7, 0}));
        count = period == 1 ? 0 : count;
    }
    EXPECT_EQ(count, 2);
}

TEST_F(RpcCall, HooksForwardUnchangedWhatTheHostRegistered) {
    CPackedData message;
    Rpc_SendMessageFunction(nullptr, message);
    Rpc_DispatchMessageFunction(1, 2, &message);
    static int sent = 0;
    static auto* const connection = reinterpret_cast<CConnection*>(8);
    CRpcMgr::RegisterSendMessage([](CConnection* to, CPackedData&) { sent += to == connection ? 1 : 0; });
    CRpcMgr::RegisterDispatchMessage([](std::int64_t object, std::uint32_t route, CPackedData* what) {
        sent += object == -5 && route == 0x80000001U && what == nullptr ? 10 : 0;
    });
    Rpc_SendMessageFunction(connection, message);
    Rpc_DispatchMessageFunction(-5, 0x80000001U, nullptr);
    CRpcMgr::RegisterSendMessage(nullptr);
    CRpcMgr::RegisterDispatchMessage(nullptr);
    Rpc_SendMessageFunction(connection, message);
    EXPECT_EQ(sent, 11);
}

} // namespace
