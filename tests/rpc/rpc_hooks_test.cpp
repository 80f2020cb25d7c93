// tests/rpc/rpc_hooks_test.cpp: the host's send and dispatch functions.
#include "sharedlib/packed/packed_data.h"
#include "sharedlib/rpc/rpc_mgr.h"
#include <gtest/gtest.h>

namespace {

CConnection* const kConnection = reinterpret_cast<CConnection*>(8);
CPackedData* s_sent = nullptr;
std::int64_t s_object = 0;

TEST(RpcHooks, ForwardUnchangedWhatTheHostRegistered) {
    CPackedData message;
    Rpc_SendMessageFunction(kConnection, message);
    Rpc_DispatchMessageFunction(1, 2, &message);
    EXPECT_EQ(fptr_SendMessageFunction, nullptr);

    CRpcMgr::RegisterSendMessage([](CConnection* connection, CPackedData& sent) {
        EXPECT_EQ(connection, kConnection);
        s_sent = &sent;
    });
    CRpcMgr::RegisterDispatchMessage([](std::int64_t object, std::uint32_t route, CPackedData* sent) {
        s_object = object;
        EXPECT_EQ(route, 0x80000001U);
        EXPECT_EQ(sent, nullptr);
    });
    Rpc_SendMessageFunction(kConnection, message);
    EXPECT_EQ(s_sent, &message);
    Rpc_DispatchMessageFunction(-5, 0x80000001U, nullptr);
    EXPECT_EQ(s_object, -5);

    CRpcMgr::RegisterSendMessage(nullptr);
    CRpcMgr::RegisterDispatchMessage(nullptr);
    s_sent = nullptr;
    Rpc_SendMessageFunction(kConnection, message);
    EXPECT_EQ(s_sent, nullptr);
}

} // namespace
