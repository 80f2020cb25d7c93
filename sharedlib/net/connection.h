// sharedlib/net/connection.h: one network endpoint: an outgoing or accepted TCP connection, or a bound UDP socket.
#pragma once
#include "sharedlib/export.h"
#include "sharedlib/native_types.h"
#include "sharedlib/net/char_vector.h"
#include "sharedlib/net/conn_fifo_buffer.h"
#include "sharedlib/net/message_handler.h"
#include <cstdint>
#include <limits>
#include <memory>
#include <string>

class CPackedData;
class DeletionGuard;
class InboundBuffer;

/// A message-oriented endpoint. It owns a non-blocking socket, an event object for the socket's events, an inbound
/// buffer and an outbound queue, and tells one `CMessageHandler` about messages, connects, losses and write trouble.
/// The host pumps it: it waits on `GetEventHandle` and calls `HandleEvent`, or calls `Pulse` every frame. A connection
/// belongs to one thread and so do all connections of a process together with their statics.
///
/// Addresses are IPv4 in host byte order, ports too; error codes are Winsock numbers on every system. Failures are
/// logged, leave state `InError` and are kept for `GetError`; a failed connection is not retried, but any `Init...`
/// starts a new one on the same object. An `Init...` on an open connection forgets the old socket without closing it:
/// `Reset` first. Counters are 32 bits wide and wrap. Inside a handler call everything is allowed (`CMessageHandler`).
/// A log callback that hears a line of the connection may send on it, and reset or delete it too while it queues,
/// writes, closes or takes events on a stream; not while it opens or reads.
///
/// Two things hosts must do themselves: a peer that vanished without a word leaves an idle connection `Connected` for
/// ever, so use timers; and when the peer closes, whatever a time budget had kept from delivery is lost.
class SHAREDLIB_API CConnection {
public:
    /// What a connection is at.
    enum State : std::int32_t {
        /// No socket.
        Idle = 0,
        /// A TCP connect is in progress.
        Connecting = 1,
        /// A TCP stream is open.
        Connected = 2,
        /// A UDP socket is bound and readable.
        Datagram = 3,
        /// An operation failed; `GetError` tells how.
        InError = 4
    };

    /// An `Idle` connection without a handler. Throws `std::bad_alloc` when memory is exhausted.
    CConnection();
    /// Closes the connection without a word to the handler, which log lines still ask for its name.
    virtual ~CConnection();
    CConnection(const CConnection&) = delete;
    CConnection& operator=(const CConnection&) = delete;

    /// \name Set-up
    /// @{

    /// Connects to a host name or dotted address, a colon and a port; blocks while the name is looked up. A text that
    /// does not parse or resolve leaves `InError` with 10049.
    void InitStream(const std::string& address);
    /// Starts to connect to `ip`:`port`; state `Connecting`.
    void InitStream(unsigned long ip, unsigned short port);
    /// Binds a UDP socket to `port` on all interfaces, 0 to let the system choose; state `Datagram`.
    void InitDatagramListen(unsigned short port);
    /// Tries `port`, `port` + 1 and so on (65535 is followed by 0) until one is bound or `tries` + 1 were tried.
    void InitDatagramListen(unsigned short port, unsigned long tries);
    /// Adopts an accepted socket, which becomes non-blocking, with its peer's address; state `Connected`. The handler's
    /// `OnConnect` is not called.
    void InitAccepted(unsigned int socket, unsigned long ip, unsigned short port);
    /// @}

    /// \name Pumping
    /// @{

    /// Takes the socket's pending events and acts on them: connect result, read, write, close.
    void HandleEvent();
    /// Does one frame's work without events; with lag updates on it also sends the pings.
    void Pulse();
    /// A frame's first step before the host waits: flushes the outbound queue and goes on with messages that the time
    /// budget kept back, in which case `*processedInbound` becomes true. Returns the event to wait on, null when there
    /// is none: the connection is idle, in error or ignoring packets, or has ended in the call.
    void* Preprocess(bool* processedInbound);
    /// Delivers the whole messages that are buffered, within the time budget.
    void ProcessInboundData();
    /// Sends what is queued, as far as the socket takes it and the time budget allows.
    void WriteOutboundData();
    /// Whether `HandleEvent` makes sense: neither idle nor in error nor ignoring packets.
    bool ShouldHandleEvents() const { return m_state != Idle && m_state != InError && !m_ignorePackets; }
    /// Whether the state is `Connected` or `Datagram`.
    bool IsConnected() const { return m_state == Connected || m_state == Datagram; }
    /// @}

    /// Closes the connection and drops what is queued; state `Idle`. The handler is not told. Statistics, the last
    /// error, the peer's address and `IgnorePackets` stay, and so does an unanswered ping: no further one is sent.
    void Reset();

    /// \name Sending
    /// Messages are copied before the call returns. Queued bytes leave with the next write: `WriteOutboundData`,
    /// `Preprocess`, `Pulse` or a write event. Over 2,147,483,647 queued bytes messages are dropped. The system may
    /// hold a small write back until the peer has acknowledged the one before, up to 40 milliseconds; a host that minds
    /// turns that off on `GetSocket`.
    /// @{

    /// Sends one message of `size` bytes, 0 included: in state `Connected` queued as a stream frame, in state
    /// `Datagram` sent at once to the remote address (`GetRemoteAddress`), in other states dropped.
    void SendMsg(unsigned long size, const char* data);
    /// Sends the used bytes of `msg`, likewise.
    void SendMsg(const CPackedData& msg);
    /// Sends the used bytes of `msg`, at most 65,535, as a datagram with one message to `ip`:`port`.
    void SendMsg(const CPackedData& msg, unsigned long ip, unsigned short port);
    /// Sends one message as a datagram to `ip`:`port`. With its two length bytes it must fit the largest datagram, else
    /// it is logged and dropped. A datagram may be lost without a word.
    void SendMsg(unsigned short size, const char* data, unsigned long ip, unsigned short port);
    /// Sends the first messages of the list, as many as fit, as one datagram to `ip`:`port` and takes them off the
    /// list; those that fit no datagram are logged and dropped on the way. True while messages are left: call again.
    bool SendMultiMsg(CCharVectorList* messages, unsigned long ip, unsigned short port);
    /// Sends the bytes as they are as one datagram to `ip`:`port`.
    void SendDgramMessageRaw(CCharVector* packet, unsigned long ip, unsigned short port);
    /// Queues bytes of a TCP stream as they are. They must form whole frames, else the stream is spoilt for good.
    void FillBufferDangerous(unsigned long size, const char* data);
    /// @}

    /// \name Handler
    /// @{

    /// Sets who is told; null for nobody. The handler stays the host's and outlives the connection.
    void SetMessageHandler(CMessageHandler* handler) { m_handler = handler; }
    /// Tells the handler about a connect or a loss.
    void OnConnect(bool connected);
    /// The handler's name, "Unhandled" without a handler. Never null; as long-lived as the handler makes it.
    const char* GetHandlerName() const;
    /// @}

    /// \name Settings
    /// @{

    /// Drops received messages and refuses sends from now on, for the life of the object.
    void IgnorePackets() { m_ignorePackets = true; }
    bool GetIgnorePackets() const { return m_ignorePackets; }
    /// Measures the lag by pings; only `Pulse` sends them.
    void SetUpdateLag() {
        m_updateLag = true;
        m_pulseCount = 0;
    }
    /// Makes `Pulse` work on every `delay`-th call only; 0 for every call.
    void setDelay(int delay) { m_delay = delay; }
    /// Bounds one inbound or outbound pass to `seconds`, the handler's time included; one message or block is always
    /// dealt with. Unlimited at first.
    void setAllowedProcessingTime(float seconds);
    /// Asks the system for a receive buffer of `bytes` for the current socket.
    void SetRecvBufferSize(int bytes);
    /// Asks the system for a send buffer of `bytes` for the current socket.
    void SetSendBufferSize(int bytes);
    /// @}

    /// \name State and addresses
    /// @{
    State GetState() const { return m_state; }
    /// The last recorded error, also after the connection has been closed since; 0 when there was none.
    int GetError() const { return m_error; }
    /// The socket, all bits set when there is none. It stays the connection's.
    unsigned int GetSocket() const { return m_socket; }
    /// The event object to wait on, null when there is none. It stays the connection's.
    void* GetEventHandle() const { return m_event; }
    unsigned long GetConnectedIp() const { return m_remoteIp; }
    unsigned long GetRemoteAddress() const { return m_remoteIp; }
    unsigned short GetRemotePort() const { return m_remotePort; }
    unsigned short GetLocalPort() const { return m_localPort; }
    /// The remote address as dotted text.
    std::string GetIpAsString() const;
    /// Sender of the last datagram read. It may be forged: do not answer with more bytes than came in.
    unsigned long GetSourceUdpIp() const { return m_sourceUdpIp; }
    unsigned short GetSourceUdpPort() const { return m_sourceUdpPort; }
    /// @}

    /// \name Statistics
    /// @{
    unsigned long getBytesReceived() const { return m_bytesReceived; }
    /// Bytes queued or sent, lengths included.
    unsigned long getBytesSent() const { return m_bytesSent; }
    unsigned long getMessagesReceived() const { return m_messagesReceived; }
    unsigned long getMessagesSent() const { return m_messagesSent; }
    /// The most messages found in one datagram since the last call.
    unsigned long getMessagesPerPacket();
    /// Seconds since the epoch at which the connection became `Connected` or `Datagram`; 0 before.
    std::int64_t getConnectTime() const { return m_connectTime; }
    /// Milliseconds spent in the handler's message calls; each call counts its whole milliseconds.
    unsigned long getProcessTime() const { return m_processTime; }
    /// Milliseconds spent in receiving from the socket, likewise.
    unsigned long getReadTime() const { return m_readTime; }
    /// Milliseconds spent in whole stream reads, likewise.
    unsigned long getTotalReadTime() const { return m_totalReadTime; }
    /// Milliseconds spent in queueing messages.
    unsigned long getWriteTime() const { return m_writeTime; }
    /// The most messages delivered by one pass.
    unsigned long getMaxReadEventsPerFrame() const { return m_maxReadEventsPerFrame; }
    /// Passes in a row that the time budget cut off.
    unsigned long getFailedFrameCounter() const { return m_failedFrameCounter; }
    /// The last measured lag, half a round trip, in milliseconds, `s_maxLag` at most.
    unsigned long GetLag() const { return m_lag; }
    /// Bytes waiting in the outbound queue.
    unsigned long getOutboundByteCount() const { return static_cast<unsigned long>(m_outbound.getByteCount()); }
    /// Seconds since the socket stopped taking bytes; 0 while it takes them.
    unsigned long getWriteBlockedSeconds() const;
    /// Milliseconds since the unanswered ping was queued; 0 when none is.
    unsigned long getPingOutstandingMs() const;
    /// Zeroes the four times and the most messages per pass.
    void resetTimers();
    /// @}

    /// \name Settings of all connections
    /// @{

    /// `Pulse` calls between pings.
    static void setPulseRate(unsigned short pulses) { s_pulseRate = pulses; }
    /// Ceiling of the stored lag in milliseconds.
    static void setMaxLag(unsigned short milliseconds) { s_maxLag = milliseconds; }
    /// Lag in milliseconds above which a warning is logged.
    static void setAbsurdLag(unsigned short milliseconds) { s_absurdLag = milliseconds; }
    /// Outbound block size in bytes, for queues that have not taken a block yet. With 0 or less they queue nothing.
    static void setOutBufferExpandSize(int bytes) { s_outboundBundleSize = bytes; }
    /// Bytes of outbound blocks at which the first capacity warning is logged.
    static void setOutboundSizeWarning(int bytes) { s_outboundSizeWarning = bytes; }
    /// Seconds that a blocked write may last before the handler is told.
    static void setOutboundTimeout(int seconds) { s_outboundTimeout = seconds; }
    /// Stored for hosts; the library does not read it.
    static void setOutboundTimerOffFactor(float factor) { s_outboundTimerOffFactor = factor; }
    /// Queued bytes above which nothing is sent and the handler is told.
    static void setOutboundSizeLimit(int bytes) { s_outboundSizeLimit = bytes; }
    /// The largest datagram in bytes, for sending and receiving.
    static void setMaxUDPPacketSize(unsigned short bytes) { s_maxUDPPacketSize = bytes; }

    static std::uint16_t s_pulseRate;
    static std::uint16_t s_maxLag;
    static std::uint16_t s_absurdLag;
    static int s_outboundBundleSize;
    static int s_outboundSizeWarning;
    static int s_outboundTimeout;
    static float s_outboundTimerOffFactor;
    static int s_outboundSizeLimit;
    /// Performance-counter ticks per millisecond; 0 until the first connection is constructed.
    static std::uint64_t s_timerFreq;
    static std::uint16_t s_maxUDPPacketSize;
    /// @}

    /// \name Address helpers
    /// They keep no state, log nothing and may be called from any thread.
    /// @{

    /// Looks up a host name or dotted address; blocks meanwhile. False, with `*ip` untouched, when there is no answer.
    static bool ConvertAddress(std::string const& host, unsigned long* ip);
    /// Takes apart "host:port" and looks the host up; blocks meanwhile. The port is decimal and cut to 16 bits. False
    /// when a part is missing or the host is unknown; `*port` is set already in the latter case.
    static bool ConvertAddressString(std::string const& text, unsigned long* ip, unsigned short* port);
    /// The address as dotted text.
    static std::string GetIpAsString(unsigned long ip);
    /// Fills `addresses`, an array of `maxCount`, with this machine's IPv4 addresses; unused entries are 0.
    static void GetAllLocalIPAddresses(unsigned long* addresses, unsigned char maxCount);
    /// The first of this machine's first ten addresses that lies in `network` under `mask`; 0 when none does.
    static unsigned long GetLocalIPAddress(unsigned long network, unsigned long mask);
    /// @}

protected:
    /// The same as `Reset`.
    void Cleanup();
    /// Logs that `operation` failed in `where`, as an error or for information, and records `code`; state `InError`.
    /// Closes nothing.
    void SetError(int code, const char* operation, const char* where, bool isError);
    /// Logs why the last query for events failed.
    void LogSocketEventError(WSANETWORKEVENTS events);
    /// Ends a connect attempt: 0 is success.
    void HandleConnectEvent(int error);
    /// Receives once from the stream and delivers what is whole. The error is not used; receiving reveals errors.
    void HandleStreamReadEvent(int error);
    /// Receives and delivers datagrams. The error is not used.
    void HandleDgramReadEvent(int error);
    /// Sends what is queued. The error is not used.
    void HandleWriteEvent(int error);
    /// Delivers one message, unless packets are ignored.
    void HandleMessage(const void* data, unsigned long size);
    /// Asks the handler whether it accepts a frame of `size` bytes; true without a handler.
    bool CheckMessageSize(unsigned long size);
    /// Moves the unprocessed bytes to the start of the inbound buffer.
    void PackInboundBuffer();
    /// Grows the inbound buffer to `size` bytes, the unprocessed ones first. When the system refuses the memory, the
    /// connection is closed like after a read error, with 10055.
    void ResizeInboundBuffer(unsigned long size);
    /// Makes the datagram assembly buffer ready and empty.
    void initUDPPacketBuffer();
    /// Appends one message to the datagram being built; false, and nothing changes, when it does not fit.
    bool AddDataToDgramPacket(unsigned short size, const char* data);

private:
    struct InboundPass;
    enum class FrameResult;

    unsigned int openSocket(bool stream, const char* where);
    bool bindSocket(unsigned int socket, bool stream, unsigned short port, const char* where);
    void* createEvent(unsigned int socket, long mask);
    void adopt(unsigned int socket, void* event);
    void loseConnection();
    void failConnection(int error, const char* operation, const char* where);

    void dispatchEvents(const WSANETWORKEVENTS& events, const DeletionGuard& guard);
    void handleConnectingEvents(const WSANETWORKEVENTS& events, const DeletionGuard& guard);
    void handleStreamEvents(const WSANETWORKEVENTS& events, const DeletionGuard& guard);
    void pulseConnecting(const DeletionGuard& guard);
    void closeAfterFailedSelect(int error, const DeletionGuard& guard);
    void pulseConnected(const DeletionGuard& guard);

    bool receiveIntoBuffer(std::int64_t& now);
    void runInboundPass(std::int64_t now);
    void endInboundPass(FrameResult result, bool processed);
    void closeAfterReadError(int error, std::uint64_t space);
    FrameResult processFrame(InboundPass& pass);
    FrameResult deliverFrame(InboundPass& pass, std::uint64_t headerSize, std::uint64_t bodySize);
    void callHandler(const void* data, unsigned long size, const DeletionGuard& guard);
    void makeRoomForFrame(std::uint64_t frameSize);
    void growInboundBuffer(std::uint64_t size);
    bool isReadBudgetSpent(std::int64_t start);
    void takePingRequest();
    void takePingReply();
    void consumeInbound(std::uint64_t count);
    bool hasBudget() const { return m_allowedProcessingTime != kNoBudget; }

    void queueFrame(unsigned long size, const char* data, const DeletionGuard& guard);
    void countQueued(unsigned long bytes);
    bool isOverQueueLimit(const DeletionGuard& guard);
    int writeOnce(const DeletionGuard& guard);
    bool isWriteBudgetSpent(std::int64_t start) const;
    void endBlockedPeriod();
    void handleSendFailure(int error, int offered, const DeletionGuard& guard);
    void handleBlockedWrite(const DeletionGuard& guard);

    void sendDatagramMessage(std::uint64_t size, const char* data, std::uint32_t ip, std::uint16_t port);
    void handleReceiveFailure(int error);
    void deliverDatagram(std::uint64_t size, const DeletionGuard& guard);

    static constexpr std::int64_t kNoBudget = std::numeric_limits<std::int64_t>::max();

    State m_state = Idle;
    std::int32_t m_error = 0;
    std::uint64_t m_inboundReadPos = 0;
    std::uint64_t m_inboundBytes = 0;
    NativeSocket m_socket = kInvalidSocket;
    void* m_event = nullptr;
    std::uint32_t m_remoteIp = 0;
    std::uint16_t m_remotePort = 0;
    std::uint16_t m_localPort = 0;
    std::uint32_t m_bytesReceived = 0;
    std::uint32_t m_bytesSent = 0;
    std::uint32_t m_messagesReceived = 0;
    std::uint32_t m_messagesSent = 0;
    std::uint32_t m_messagesPerPacket = 0;
    std::int64_t m_connectTime = 0;
    CMessageHandler* m_handler = nullptr;
    CConnFifoBuffer m_outbound;
    std::unique_ptr<InboundBuffer> m_inbound;
    std::uint32_t m_sourceUdpIp = 0;
    std::uint16_t m_sourceUdpPort = 0;
    std::uint16_t m_pulseCount = 0;
    bool m_updateLag = false;
    std::int64_t m_pingSentAt = 0;
    std::uint32_t m_processTime = 0;
    std::uint32_t m_readTime = 0;
    std::uint32_t m_totalReadTime = 0;
    std::uint32_t m_writeTime = 0;
    std::uint32_t m_maxReadEventsPerFrame = 0;
    std::uint32_t m_lag = 0;
    int m_delay = 0;
    std::int64_t m_writeBlockedSince = 0;
    std::uint64_t m_bytesWrittenWhileBlocked = 0;
    std::int64_t m_allowedProcessingTime = kNoBudget;
    std::uint32_t m_failedFrameCounter = 0;
    bool m_ignorePackets = false;
    std::unique_ptr<CCharVector> m_udpPacket;

    DeletionGuard* m_guards = nullptr;
    // Raised by every Cleanup and Init..., so that a pass notices that the connection has begun a new life.
    std::uint32_t m_generation = 0;
    // Error of the last query for events, which LogSocketEventError explains.
    std::int32_t m_eventQueryError = 0;
};
