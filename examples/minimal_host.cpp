// examples/minimal_host.cpp: a whole host program. It logs, listens, connects to itself and exchanges one message.
#include "sharedlib/sharedlib.h"
#include <cstdio>
#include <memory>

class Host final : public CMessageHandler, public CListenHandler {
public:
    bool exchangeMessage() {
        m_connection.SetMessageHandler(this);
        m_listener.Init(this, 0x7F000001, 0, false);
        m_connection.InitStream(0x7F000001, m_listener.GetPort());
        SHAREDLIB_LOG(LogSev_Info, Log::Generic, "Listening on port %d", m_listener.GetPort());
        while (!m_received) {
            void* const events[] = {m_listener.GetEventHandle(), m_connection.GetEventHandle()};
            const int signalled = WaitForEvents(events, 2, 5000);
            if (signalled < 0) {
                return false;
            }
            signalled == 0 ? m_listener.HandleEvent() : m_connection.HandleEvent();
        }
        return true;
    }

private:
    void OnAccept(CListener*, CConnection* connection) override {
        m_accepted.reset(connection);
        CPackedData message;
        message.PutString("hello from the listener");
        m_accepted->SendMsg(message);
        m_accepted->WriteOutboundData();
    }
    void HandleMessage(CConnection*, const void* data, unsigned long size) override {
        const CPackedData message(data, static_cast<int>(size));
        std::printf("received: %s\n", message.GetString().c_str());
        m_received = true;
    }
    void OnConnect(CConnection*, bool connected) override { std::puts(connected ? "connected" : "lost"); }
    void OnError(CConnection* connection, int, int) override { connection->Reset(); }
    void OnListenError(CListener*, int error) override { std::printf("listener failed: %d\n", error); }

    CListener m_listener;
    CConnection m_connection;
    std::unique_ptr<CConnection> m_accepted;
    bool m_received = false;
};

int main() {
    InitGamePath(false, nullptr);
    auto logger = std::make_unique<Logger>("MinimalHost", "logs");
    logger->setUseDialogs(false);
    theLogger = logger.get();
    const bool received = Host().exchangeMessage();
    theLogger = nullptr;
    logger.reset();
    cleanupSharedTools();
    return received ? 0 : 1;
}
