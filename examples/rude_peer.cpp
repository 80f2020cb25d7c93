// examples/rude_peer.cpp: peers that a server on an open network must expect. They try to do harm to an arena.
//
// Usage: rude_peer HOST:PORT
//
// Ends with 0 when the server has got rid of every one of them, or when SIGINT comes; with 1 if it has not in time.
#include "examples/arena/calls.h"
#include "examples/arena/host.h"
#include "examples/arena/protocol.h"
#include "sharedlib/net/connection.h"
#include "sharedlib/net/message_handler.h"
#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// One connection to the server and what it does there.
class RudePeer : public CMessageHandler {
public:
    RudePeer(const std::string& server, std::string name) : m_name(std::move(name)) {
        m_connection.SetMessageHandler(this);
        m_connection.InitStream(server);
    }
    RudePeer(const RudePeer&) = delete;
    RudePeer& operator=(const RudePeer&) = delete;
    virtual ~RudePeer() { m_connection.SetMessageHandler(nullptr); }

    /// Ten times a second.
    virtual void act() { m_connection.Pulse(); }
    /// Whether the server has ended the connection.
    [[nodiscard]] virtual bool isGone() const {
        return !m_connection.IsConnected() && m_connection.GetState() != CConnection::Connecting;
    }
    [[nodiscard]] const std::string& name() const { return m_name; }

protected:
    CConnection& connection() { return m_connection; }
    virtual void onConnected() {}

private:
    void HandleMessage(CConnection* /*connection*/, const void* /*data*/, unsigned long /*size*/) override {}
    void OnConnect(CConnection* /*connection*/, bool connected) override {
        if (connected) {
            onConnected();
        }
    }
    void OnError(CConnection* connection, int /*error*/, int /*detail*/) override { connection->Reset(); }

    std::string m_name;
    CConnection m_connection;
};

/// Connects and hangs up at once.
class PortScanner : public RudePeer {
public:
    using RudePeer::RudePeer;

private:
    void onConnected() override { connection().Reset(); }
};

/// Announces a message of 4 GiB and begins to send it.
class Braggart : public RudePeer {
public:
    using RudePeer::RudePeer;

private:
    void onConnected() override {
        std::string bytes("\xFD\xFF\xFF\xFF\xFF\xFF", 6);
        bytes += std::string(10'000, 'x');
        connection().FillBufferDangerous(bytes.size(), bytes.data());
    }
};

/// Joins and plays, but never reads, so that the server's queue for it grows.
class NonReader : public RudePeer {
public:
    NonReader(const std::string& server, std::string name) : RudePeer(server, std::move(name)) {
        constexpr int kSmallestBuffer = 2048;
        connection().SetRecvBufferSize(kSmallestBuffer);
    }
    void act() override {
        if (!connection().IsConnected()) {
            return connection().Pulse();
        }
        m_server.move(1, 1);
        connection().WriteOutboundData();
    }

private:
    void onConnected() override { m_server.join("non-reader"); }

    arena::Remote m_server{connection()};
};

/// Connects without ever joining, and sends to the server's UDP port what no player sends: rubbish, messages with a
/// guessed token, and more than a connection's buffer holds. Stays while the server answers any of it.
class Forger : public RudePeer {
public:
    Forger(const std::string& server, std::string name) : RudePeer(server, std::move(name)) {
        m_datagrams.SetMessageHandler(&m_ear);
        m_datagrams.InitDatagramListen(0);
    }
    ~Forger() override { m_datagrams.SetMessageHandler(nullptr); }

    void act() override {
        RudePeer::act();
        m_datagrams.Pulse();
        // The arena binds its first UDP port where its TCP port is.
        const unsigned long ip = connection().GetConnectedIp();
        const unsigned short port = connection().GetRemotePort();
        CPackedData guess = arena::beginMessage(Msg::RpcCallFunction);
        guess.PutInt64(++m_guess);
        guess.PutUint32(1);
        m_datagrams.SendMsg(guess, ip, port);
        CCharVector rubbish(100, '\xFF');
        m_datagrams.SendDgramMessageRaw(&rubbish, ip, port);
        CCharVector tooLarge(30'000, 'x');
        m_datagrams.SendDgramMessageRaw(&tooLarge, ip, port);
    }

    [[nodiscard]] bool isGone() const override { return RudePeer::isGone() && m_ear.heard == 0; }

private:
    /// Hears what comes back.
    struct Ear final : CMessageHandler {
        int heard = 0;
        void HandleMessage(CConnection* /*connection*/, const void* /*data*/, unsigned long /*size*/) override {
            ++heard;
        }
        void OnConnect(CConnection* /*connection*/, bool /*connected*/) override {}
        void OnError(CConnection* /*connection*/, int /*error*/, int /*detail*/) override {}
    };

    Ear m_ear;
    CConnection m_datagrams;
    std::int64_t m_guess = 0;
};

std::vector<std::unique_ptr<RudePeer>> makePeers(const std::string& server) {
    std::vector<std::unique_ptr<RudePeer>> peers;
    constexpr int kScans = 20;
    peers.reserve(kScans + 4);
    for (int scan = 0; scan < kScans; ++scan) {
        peers.push_back(std::make_unique<PortScanner>(server, "port scanner"));
    }
    peers.push_back(std::make_unique<RudePeer>(server, "silent peer"));
    peers.push_back(std::make_unique<Braggart>(server, "peer that announces 4 GiB"));
    peers.push_back(std::make_unique<NonReader>(server, "peer that never reads"));
    peers.push_back(std::make_unique<Forger>(server, "forger of datagrams"));
    return peers;
}

/// Lets the peers act until the server has got rid of all of them; whether it has.
bool annoy(const std::string& server) {
    std::vector<std::unique_ptr<RudePeer>> peers = makePeers(server);
    const auto start = Clock::now();
    while (!peers.empty() && !arena::isInterrupted() && Clock::now() < start + 12s) {
        for (const auto& peer : peers) {
            peer->act();
        }
        std::erase_if(peers, [&](const auto& peer) {
            if (peer->isGone() && peer->name() != "port scanner") {
                std::printf("rude peers: %s is gone after %.1f s\n", peer->name().c_str(),
                            std::chrono::duration<double>(Clock::now() - start).count());
            }
            return peer->isGone();
        });
        std::this_thread::sleep_for(100ms);
    }
    for (const auto& peer : peers) {
        std::printf("rude peers: %s is still there\n", peer->name().c_str());
    }
    return peers.empty() || arena::isInterrupted();
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: rude_peer HOST:PORT\n", stderr);
        return 2;
    }
    arena::watchForInterrupt();
    arena::Host host("RudePeer");
    return annoy(argv[1]) ? 0 : 1;
}
