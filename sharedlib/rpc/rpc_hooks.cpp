// sharedlib/rpc/rpc_hooks.cpp: calls through the host's send and dispatch functions.
#include "sharedlib/rpc/rpc_hooks.h"
#include "sharedlib/rpc/rpc_mgr.h"

RpcSendMessageHook fptr_SendMessageFunction = nullptr;
RpcDispatchMessageHook fptr_DispatchMessageFunction = nullptr;

void CRpcMgr::RegisterSendMessage(RpcSendMessageHook function) {
    fptr_SendMessageFunction = function;
}

void CRpcMgr::RegisterDispatchMessage(RpcDispatchMessageHook function) {
    fptr_DispatchMessageFunction = function;
}

void Rpc_SendMessageFunction(CConnection* connection, CPackedData& message) {
    if (fptr_SendMessageFunction != nullptr) {
        fptr_SendMessageFunction(connection, message);
    }
}

void Rpc_DispatchMessageFunction(std::int64_t object, std::uint32_t route, CPackedData* message) {
    if (fptr_DispatchMessageFunction != nullptr) {
        fptr_DispatchMessageFunction(object, route, message);
    }
}
