// sharedlib/rpc/rpc_hooks.h: the host's functions that send call messages and hand on object-routed ones.
#pragma once
#include "sharedlib/export.h"
#include <cstdint>

class CConnection;
class CPackedData;

/// Sends a packed call message over a connection.
using RpcSendMessageHook = void (*)(CConnection* connection, CPackedData& message);
/// Hands an object-routed call message to the dispatch path; the two numbers are the host's routing data.
using RpcDispatchMessageHook = void (*)(std::int64_t object, std::uint32_t route, CPackedData* message);

/// The host's send function; null until `CRpcMgr::RegisterSendMessage` sets it. Pumping thread only.
extern SHAREDLIB_API RpcSendMessageHook fptr_SendMessageFunction;
/// The host's dispatch function; null until `CRpcMgr::RegisterDispatchMessage` sets it. Pumping thread only.
extern SHAREDLIB_API RpcDispatchMessageHook fptr_DispatchMessageFunction;

/// Calls the send function with the same arguments; while there is none the message is dropped silently.
SHAREDLIB_API void Rpc_SendMessageFunction(CConnection* connection, CPackedData& message);
/// Calls the dispatch function with the same arguments; while there is none the message is dropped silently.
SHAREDLIB_API void Rpc_DispatchMessageFunction(std::int64_t object, std::uint32_t route, CPackedData* message);
