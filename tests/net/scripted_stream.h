// tests/net/scripted_stream.h: a connected stream over the scripted network.
#pragma once
#include "sharedlib/net/connection.h"
#include "tests/net/recording_handler.h"
#include "tests/scripted/clock.h"
#include "tests/scripted/socket.h"
#include "tests/scripted/socket_event.h"
#include "tests/support/log_capture.h"
#include <memory>
#include <string>
#include <string_view>

/// Opens the protected operations.
class OpenConnection : public CConnection {
public:
    using CConnection::HandleStreamReadEvent;
    using CConnection::HandleWriteEvent;
    using CConnection::ResizeInboundBuffer;
};

inline constexpr platform::Endpoint kScriptedPeer{0x0A000001, 4000};

/// `conn` is `Connected` to 10.0.0.1:4000 over `socket`. The log shows Warning and worse until a test asks for more.
struct ScriptedStream {
    ScriptedStream() {
        conn->SetMessageHandler(&handler);
        conn->InitAccepted(socket, kScriptedPeer.ip, kScriptedPeer.port);
    }

    /// One read event after `bytes` have arrived.
    void receive(std::string_view bytes) {
        scripted::net().deliver(socket, bytes);
        conn->HandleStreamReadEvent(0);
    }
    [[nodiscard]] const std::string& sent() const { return scripted::net().sent(socket); }

    LogCapture log;
    RecordingHandler handler;
    NativeSocket socket = scripted::net().openConnected(kScriptedPeer);
    std::unique_ptr<OpenConnection> conn = std::make_unique<OpenConnection>();
};

/// The stream frame of a message.
inline std::string frameOf(std::string_view body) {
    std::string frame;
    const auto put = [&frame](std::size_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) {
            frame.push_back(static_cast<char>(value >> (8 * i)));
        }
    };
    put(body.size() < 65533 ? body.size() : 0xFFFD, 2);
    if (body.size() >= 65533) {
        put(body.size(), 4);
    }
    return frame.append(body);
}

inline const std::string kPingRequest = "\xFF\xFF";
inline const std::string kPingReply = "\xFE\xFF";
