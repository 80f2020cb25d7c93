// bench/bench_peer.h: plain sockets on loopback, the second process of a measurement, and a frame reader without a
// library.
#pragma once
#include "sharedlib/net/message_handler.h"
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

/// A plain listening socket on 127.0.0.1.
struct PlainListener {
    int descriptor = -1;
    std::uint16_t port = 0;

    PlainListener();
    ~PlainListener();
    PlainListener(const PlainListener&) = delete;
    PlainListener& operator=(const PlainListener&) = delete;
    /// A non-blocking connection that was pending or comes soon.
    int accept() const;
};

/// A non-blocking connection to 127.0.0.1.
int connectPlain(std::uint16_t port);
/// Waits until `descriptor` can be read (or written), without limit.
void awaitReadable(int descriptor);
void awaitWritable(int descriptor);
/// Lets this process hold `count` descriptors; false when the system does not allow so many.
bool allowDescriptors(std::size_t count);
/// Bytes of memory that this process holds resident.
std::size_t residentBytes();
/// Seconds of processor time that this process has used.
double processorSeconds();

/// A second process that runs `body` and ends; waited for in the destructor.
struct SecondProcess {
    pid_t id;

    explicit SecondProcess(const std::function<void()>& body);
    ~SecondProcess();
    SecondProcess(const SecondProcess&) = delete;
    SecondProcess& operator=(const SecondProcess&) = delete;
};

/// Counts the messages of our connections and looks at each.
struct CountingHandler : CMessageHandler {
    void HandleMessage(CConnection*, const void* data, unsigned long size) override {
        ++messages;
        sum += size > 0 ? *static_cast<const char*>(data) : 0;
    }
    void OnConnect(CConnection*, bool) override {}
    void OnError(CConnection*, int, int) override {}

    std::int64_t messages = 0;
    std::int64_t sum = 0;
};

/// What a bare loop needs to take length-prefixed messages out of a socket: one buffer, one `recv` at a time.
class PlainReader {
public:
    explicit PlainReader(std::size_t capacity) : m_buffer(capacity) {}
    /// One `recv` and `received`. False when the peer has closed.
    bool read(int descriptor);
    /// Where the next bytes belong, and how many of them there is room for.
    char* space() { return m_buffer.data() + m_used; }
    std::size_t spaceSize() const { return m_buffer.size() - m_used; }
    /// Takes `count` bytes that have come in at `space()`: adds the messages that are whole now to `messages`.
    void received(std::size_t count);

    std::int64_t messages = 0;
    /// Sum of the messages' first bytes, so that every message is really looked at.
    std::int64_t sum = 0;

private:
    std::vector<char> m_buffer;
    std::size_t m_used = 0;
};

/// What a bare loop needs to send length-prefixed messages: one buffer that is sent when full.
class PlainWriter {
public:
    PlainWriter(int descriptor, std::size_t capacity) : m_descriptor(descriptor) { m_buffer.reserve(capacity); }
    void write(const std::string& body);
    void flush();

private:
    int m_descriptor;
    std::vector<char> m_buffer;
};
