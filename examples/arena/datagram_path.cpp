// examples/arena/datagram_path.cpp: numbers, packs and judges messages in datagrams.
#include "examples/arena/datagram_path.h"
#include "examples/arena/protocol.h"
#include <array>

namespace arena {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// Without a datagram for this long the path counts as dead.
constexpr auto kLongestSilence = 2s;

constexpr std::array kCounters{&DatagramCounts::messagesOut, &DatagramCounts::packetsOut, &DatagramCounts::bytesOut,
                               &DatagramCounts::messagesIn,  &DatagramCounts::lateIn,     &DatagramCounts::bytesIn,
                               &DatagramCounts::expectedIn};

/// Numbers go round after 2^32 messages, so the shorter way round tells which one is newer.
bool isNewer(std::uint32_t sequence, std::uint32_t than) {
    return static_cast<std::int32_t>(sequence - than) > 0;
}

} // namespace

DatagramCounts& DatagramCounts::operator+=(const DatagramCounts& other) {
    for (const auto counter : kCounters) {
        this->*counter += other.*counter;
    }
    return *this;
}

DatagramCounts operator-(const DatagramCounts& one, const DatagramCounts& other) {
    DatagramCounts difference;
    for (const auto counter : kCounters) {
        difference.*counter = one.*counter - other.*counter;
    }
    return difference;
}

std::uint64_t DatagramCounts::lostIn() const {
    const std::uint64_t arrived = messagesIn + lateIn;
    return expectedIn > arrived ? expectedIn - arrived : 0;
}

double DatagramCounts::lossPercent() const {
    return expectedIn == 0 ? 0 : 100.0 * static_cast<double>(lostIn()) / static_cast<double>(expectedIn);
}

double DatagramCounts::messagesPerPacket() const {
    return packetsOut == 0 ? 0 : static_cast<double>(messagesOut) / static_cast<double>(packetsOut);
}

bool DatagramPath::accept(const CPackedData& message, unsigned long ip, unsigned short port) {
    const std::uint32_t sequence = message.GetUint32();
    const bool fromPort = m_learnsPort || port == m_port;
    if (ip != m_ip || !fromPort || sequence == 0) {
        return false;
    }
    m_counts.bytesIn += static_cast<std::uint64_t>(message.size());
    if (!isNewer(sequence, m_sequenceReceived)) {
        ++m_counts.lateIn;
        return false;
    }
    m_counts.expectedIn += sequence - m_sequenceReceived;
    m_sequenceReceived = sequence;
    ++m_counts.messagesIn;
    // Only the newest message moves the port: a late one may still come from the old.
    m_port = port;
    m_lastHeard = Clock::now();
    return true;
}

bool DatagramPath::isAlive() const {
    return m_counts.messagesIn > 0 && Clock::now() - m_lastHeard < kLongestSilence;
}

CPackedData DatagramPath::begin(Msg type) {
    CPackedData message = beginMessage(type);
    message.PutInt64(m_token);
    message.PutUint32(++m_sequenceSent);
    return message;
}

void DatagramPath::queue(const CPackedData& message) {
    m_waiting.emplace_back(message.readData(), message.readData() + message.size());
    ++m_counts.messagesOut;
}

void DatagramPath::flush() {
    const std::uint64_t before = m_socket.getBytesSent();
    for (bool left = !m_waiting.empty(); left;) {
        left = m_socket.SendMultiMsg(&m_waiting, m_ip, m_port);
        ++m_counts.packetsOut;
    }
    // The connection's counter is 32 bits wide and goes round.
    m_counts.bytesOut += static_cast<std::uint32_t>(m_socket.getBytesSent() - before);
}

} // namespace arena
