// sharedlib/net/listener.h: a listening TCP socket that hands accepted connections to its host.
#pragma once
#include "sharedlib/export.h"
#include "sharedlib/native_types.h"
#include "sharedlib/net/listen_handler.h"
#include <cstdint>

class DeletionGuard;

/// Accepts TCP connections on an IPv4 address and port. The host pumps it from its frame loop with `Pulse`, or with
/// `HandleEvent` when a wait on the event handle ends. Addresses and ports are in host byte order. It belongs to one
/// thread, which also receives the handler's calls.
class SHAREDLIB_API CListener {
public:
    CListener() = default;
    /// Closes the listener.
    virtual ~CListener();
    /// A copy takes over handler, address and port and is closed: two objects would close the same socket.
    CListener(const CListener& other);
    /// Closes what is open here first; then as above. Nothing happens to a listener that is assigned to itself.
    CListener& operator=(const CListener& other);

    /// Opens the listening socket on `ip` (0: all interfaces) and `port` (0: the system chooses) for `handler`, which
    /// stays the host's. With `searchPort` a port that cannot be had is followed by the next one up, up to 1,000
    /// ports in all. Returns 0, or the error code, which has been logged; after an error the listener is closed, except
    /// that a listener whose event could not be registered still works through `Pulse`. Does not close what is open:
    /// `Reset` an open listener first.
    int Init(CListenHandler* handler, unsigned long ip, unsigned short port, bool searchPort);
    /// Accepts every pending connection and gives each to the handler. An error closes the listener and is reported to
    /// the handler. Does nothing without a handler, while closed, and inside a call of its own handler. Throws
    /// `std::bad_alloc`, with the connection at hand closed, when memory is exhausted.
    void Pulse();
    /// Resets the event and does what `Pulse` does.
    void HandleEvent();
    /// Closes the socket and the event, and sets the accepted count to 0. Handler, address and port stay.
    void Reset();

    /// The port that was actually bound; 0 before the first `Init`.
    unsigned short GetPort() const { return m_port; }
    /// The local address that was bound; 0 means all interfaces.
    unsigned long GetAddress() const { return m_address; }
    /// Connections accepted since construction or the last reset.
    unsigned long GetAcceptedCount() const { return m_acceptedCount; }
    /// The event that is signalled while a connection is pending; null while closed. It stays the listener's.
    void* GetEventHandle() const { return m_event; }

protected:
    /// The same as `Reset`.
    void Cleanup();

private:
    int registerEvent();
    int acceptPending(const DeletionGuard& guard);

    NativeSocket m_socket = kInvalidSocket;
    void* m_event = nullptr;
    CListenHandler* m_handler = nullptr;
    std::uint32_t m_address = 0;
    std::uint16_t m_port = 0;
    std::uint32_t m_acceptedCount = 0;
    DeletionGuard* m_guards = nullptr;
    // Raised by every Cleanup and Init, so that a pass notices that the listener is no longer the one it began with.
    std::uint32_t m_generation = 0;
};
