// sharedlib/net/message_handler.h: what a host implements to hear from its connections.
#pragma once
#include "sharedlib/export.h"

class CConnection;

/// Receives the messages, connects, losses and write failures of the connections that it is given to. All calls come
/// from the thread that pumps the connection, inside a call to it. The handler outlives its connections: their log
/// lines ask it for its name, those of the destructor too.
///
/// Inside `HandleMessage`, `OnConnect`, `CheckMessageSize` and `OnError` a handler may do anything with `conn`: reset,
/// re-open or delete it, send, or pump it. A `HandleEvent` or `Pulse` inside a call does nothing. `ProcessInboundData`
/// does nothing while the connection is delivering messages, and `WriteOutboundData` nothing while it is writing.
class SHAREDLIB_API CMessageHandler {
public:
    /// A whole message has arrived: `size` bytes at `data`, which are valid during the call only. Size 0 is a message.
    virtual void HandleMessage(CConnection* conn, const void* data, unsigned long size) = 0;
    /// A connect attempt ended (`connected` true: well), or the connection was lost (false).
    virtual void OnConnect(CConnection* conn, bool connected) = 0;
    /// Whether a stream frame of `size` bytes, its length prefix included, is welcome; asked before it is buffered. A
    /// long frame whose length has not arrived yet is asked for as 65,542 bytes. Refusal drops every byte received so
    /// far, and what follows is taken as new frames: a host that refuses resets the connection. The default accepts
    /// all.
    virtual bool CheckMessageSize([[maybe_unused]] unsigned long size) { return true; }
    /// The write path of `conn` is in trouble; the connection stays open and the handler decides. `error` is
    /// `Error::ConnectWriteTimeout` with the seconds waited as `detail`, or `Error::ConnectWriteQueueLimit` with the
    /// bytes queued. In the second case nothing is sent until a reset or a higher limit: reset the connection.
    virtual void OnError(CConnection* conn, int error, int detail) = 0;
    /// The name that log lines give to the connection; null counts as "". The default is "".
    virtual const char* GetHandlerName() { return ""; }

protected:
    ~CMessageHandler() = default;
};
