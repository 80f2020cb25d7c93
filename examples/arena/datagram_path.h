// examples/arena/datagram_path.h: one end of the datagrams between a player and the server.
//
// The stream stays the one that is trusted: over it the client announces its token and the server its port. Every
// message in a datagram begins with its type (Uint16), the token (Int64) and a sequence number (Uint32, from 1). Who
// does not know the token is not answered, and a token counts only from the address at the other end of the stream.
#pragma once
#include "sharedlib/enums/msg.h"
#include "sharedlib/net/char_vector.h"
#include "sharedlib/net/connection.h"
#include "sharedlib/packed/packed_data.h"
#include <chrono>
#include <cstdint>

namespace arena {

/// What went over one or more paths.
struct DatagramCounts {
    std::uint64_t messagesOut = 0;
    std::uint64_t packetsOut = 0;
    std::uint64_t bytesOut = 0;
    /// Messages taken, and those among the dropped ones that only came too late.
    std::uint64_t messagesIn = 0;
    std::uint64_t lateIn = 0;
    std::uint64_t bytesIn = 0;
    /// Messages that the other side has sent, as far as their numbers tell.
    std::uint64_t expectedIn = 0;

    DatagramCounts& operator+=(const DatagramCounts& other);
    friend DatagramCounts operator-(const DatagramCounts& one, const DatagramCounts& other);
    [[nodiscard]] std::uint64_t lostIn() const;
    /// Lost messages in percent; 0 when none were expected.
    [[nodiscard]] double lossPercent() const;
    /// Average of the datagrams sent; 0 when there were none.
    [[nodiscard]] double messagesPerPacket() const;
};

/// Sends messages packed into datagrams and judges those that come in.
class DatagramPath {
public:
    /// Sends over `socket`, which outlives the path, to `ip`:`port`. With port 0 the path learns where the other side's
    /// datagrams come from, and follows it when an address translator on the way chooses another port.
    DatagramPath(CConnection& socket, unsigned long ip, unsigned short port, std::int64_t token)
        : m_socket(socket), m_ip(ip), m_port(port), m_learnsPort(port == 0), m_token(token) {}

    /// Reads the sequence number of a message with this path's token that came from `ip`:`port`. False when it is none
    /// of ours, is older than one already taken, or is there a second time: then it must have no effect.
    bool accept(const CPackedData& message, unsigned long ip, unsigned short port);
    /// Whether the other side has been heard lately, so that datagrams get through; else the stream serves.
    [[nodiscard]] bool isAlive() const;

    /// A message of the next number, up to where its content begins.
    CPackedData begin(Msg type);
    /// Lets the message wait for the next `flush`.
    void queue(const CPackedData& message);
    /// Sends what waits, as many messages to a datagram as fit.
    void flush();

    [[nodiscard]] unsigned short port() const { return m_port; }
    [[nodiscard]] const DatagramCounts& counts() const { return m_counts; }
    /// Takes the other side's word for how many messages it has sent, so that those at the end count too.
    void expect(std::uint32_t sent) { m_counts.expectedIn = sent; }

private:
    CConnection& m_socket;
    unsigned long m_ip;
    unsigned short m_port;
    bool m_learnsPort;
    std::int64_t m_token;
    std::uint32_t m_sequenceSent = 0;
    std::uint32_t m_sequenceReceived = 0;
    std::chrono::steady_clock::time_point m_lastHeard;
    CCharVectorList m_waiting;
    DatagramCounts m_counts;
};

} // namespace arena
