// sharedlib/net/listen_handler.h: what a host implements to be given accepted connections.
#pragma once
#include "sharedlib/export.h"

class CConnection;
class CListener;

/// Receives what a `CListener` accepts. Calls come from the thread that pumps the listener, inside a call to it; the
/// handler may reset, re-open, delete or pump the listener there.
class SHAREDLIB_API CListenHandler {
public:
    CListenHandler() = default;
    CListenHandler(const CListenHandler&) = default;
    CListenHandler& operator=(const CListenHandler&) = default;

    /// `connection` is new, in state `Connected`, without a handler, and belongs to the callee, who deletes it.
    virtual void OnAccept(CListener* listener, CConnection* connection) = 0;
    /// Accepting failed with the socket error `error`. The listener has already closed and stays so until `Init`.
    virtual void OnListenError(CListener* listener, int error) = 0;

protected:
    ~CListenHandler() = default;
};
