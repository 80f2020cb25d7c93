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
    using CConnection::LogSocketEventError;
    using CConnection::ResizeInboundBuffer;
    using CConnection::SetError;
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
    /// Gives `conn` another stream to the same peer.
    void open() const {
        conn->InitAccepted(scripted::net().openConnected(kScriptedPeer), kScriptedPeer.ip, kScriptedPeer.port);
    }
    [[nodiscard]] const std::string& sent() const { return scripted::net().sent(socket); }

    LogCapture log;
    RecordingHandler handler;
    NativeSocket socket = scripted::net().openConnected(kScriptedPeer);
    std::unique_ptr<OpenConnection> conn = std::make_unique<OpenConnection>();
};

/// The stream frame of a message.
inline std::string frameOf(std::string_view body) {
    const bool isLong = body.size() >= 65533;
    std::string frame = isLong ? "\xFD\xFF" : "";
    for (int shift = 0; shift < (isLong ? 32 : 16); shift += 8) {
        frame.push_back(static_cast<char>(body.size() >> shift));
    }
    return frame.append(body);
}

inline const std::string kPingRequest = "\xFF\xFF";
inline const std::string kPingReply = "\xFE\xFF";
