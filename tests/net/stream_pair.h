// tests/net/stream_pair.h: two connections that reach each other over a loopback TCP stream.
#pragma once
#include "sharedlib/net/listener.h"
#include "tests/net/recording_handler.h"
#include "tests/support/pump.h"
#include <memory>
#include <vector>

inline constexpr unsigned long kLoopback = 0x7F000001;

/// Keeps what a listener accepts.
class AcceptedConnections : public CListenHandler {
public:
    using Action = std::function<void(CListener*)>;

    void OnAccept(CListener* listener, CConnection* connection) override {
        connections.emplace_back(connection);
        call(inAccept, listener);
    }
    void OnListenError(CListener* listener, int error) override {
        errors.push_back(error);
        call(inError, listener);
    }

    std::vector<std::unique_ptr<CConnection>> connections;
    std::vector<int> errors;
    Action inAccept, inError;

private:
    static void call(Action action, CListener* listener) { action ? action(listener) : void(); }
};

/// `client` connects to a listener, `server` is what it accepted. Handlers are set, and both sides are `Connected`.
struct StreamPair {
    StreamPair() {
        client->SetMessageHandler(&clientHandler);
        EXPECT_EQ(listener.Init(&accepted, kLoopback, 0, false), 0);
        client->InitStream(kLoopback, listener.GetPort());
        EXPECT_TRUE(pumpUntil([&] { client->Pulse(), listener.Pulse(); },
                              [&] { return client->IsConnected() && !accepted.connections.empty(); }));
        server = std::move(accepted.connections.at(0));
        accepted.connections.clear();
        server->SetMessageHandler(&serverHandler);
    }

    void pulse() const {
        for (CConnection* const side : {client.get(), server.get()}) {
            side != nullptr ? side->Pulse() : void();
        }
    }
    template <typename Done>
    [[nodiscard]] bool pulseUntil(Done&& done) const {
        return pumpUntil([this] { pulse(); }, std::forward<Done>(done));
    }

    RecordingHandler clientHandler, serverHandler;
    AcceptedConnections accepted;
    CListener listener;
    std::unique_ptr<CConnection> client = std::make_unique<CConnection>(), server;
};
