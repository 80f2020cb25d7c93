// tests/net/connection_reentry_scripted_test.cpp: handlers and log callbacks that end, re-open or pump their
// connection.
#include "tests/net/scripted_stream.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>

namespace {

using scripted::net;
using Step = std::function<void(ScriptedStream&)>;

const Step kDelete = [](ScriptedStream& stream) { stream.conn.reset(); };
const Step kReset = [](ScriptedStream& stream) { stream.conn->Reset(); };
const Step kOpen = [](ScriptedStream& stream) { stream.open(); };
const Step kReopen = [](ScriptedStream& stream) { kReset(stream), kOpen(stream); };
const Step kWrite = [](ScriptedStream& stream) { stream.conn->WriteOutboundData(); };
const Step kEvent = [](ScriptedStream& stream) { stream.conn->HandleEvent(); };
const Step kPulse = [](ScriptedStream& stream) { stream.conn->Pulse(); };
const Step kProcess = [](ScriptedStream& stream) { stream.conn->ProcessInboundData(); };
const Step kNoTime = [](ScriptedStream& stream) { stream.conn->setAllowedProcessingTime(-1.0F); };
const Step kPreprocess = [](ScriptedStream& stream) {
    bool processed = false;
    void* const event = stream.conn->Preprocess(&processed);
    EXPECT_EQ(event, stream.conn == nullptr ? nullptr : stream.conn->GetEventHandle());
};
const Step kPump = [](ScriptedStream& stream) {
    for (const Step& step : {kEvent, kWrite, kPulse, kProcess, kPreprocess}) {
        step(stream);
    }
};
const Step kReceiveTwo = [](ScriptedStream& stream) { stream.receive(frameOf("one") + frameOf("two")); };
const Step kWriteBlocked = [](ScriptedStream& stream) {
    net().onSend(scripted::wouldBlock);
    kWrite(stream);
    scripted::clock().seconds += 180;
};
Step sending(std::size_t size) {
    return [size](ScriptedStream& stream) { stream.conn->SendMsg(size, std::string(size, 'b').data()); };
}
Step limiting(int bytes) {
    return [bytes](ScriptedStream&) { CConnection::setOutboundSizeLimit(bytes); };
}

const Step kConnect = [](ScriptedStream& stream) {
    net().onConnect(0);
    stream.conn->Reset();
    stream.conn->InitStream(kScriptedPeer.ip, kScriptedPeer.port);
};
const Step kLose = [](ScriptedStream& stream) { net().closePeer(stream.socket), kPulse(stream); };
const Step kDatagrams = [](ScriptedStream& stream) {
    stream.conn->Reset();
    stream.conn->InitDatagramListen(7000);
    net().deliverDatagram(stream.conn->GetSocket(), kScriptedPeer, frameOf("a") + frameOf("b"));
    net().deliverDatagram(stream.conn->GetSocket(), kScriptedPeer, frameOf("c"));
};

/// Takes the steps for as long as there is an open connection.
void live(ScriptedStream& stream, const std::vector<Step>& steps) {
    for (const Step& step : steps) {
        if (stream.conn != nullptr && stream.conn->GetState() != CConnection::Idle) {
            step(stream);
        }
    }
    CConnection::setOutboundSizeLimit(8'388'608);
}

TEST(ConnectionReentry, AHandlerMayDeleteResetReopenOrPumpInEveryCall) {
    struct Scene {
        RecordingHandler::Action RecordingHandler::*slot;
        /// The call in which the deed is done, the messages that arrive when it ends the connection, and when not.
        int at;
        std::size_t ended, whole;
        CConnection::State untouched;
        std::vector<Step> steps;
    };
    using Handler = RecordingHandler;
    const std::vector<Scene> scenes{
        {&Handler::inMessage, 1, 1, 2, CConnection::Connected, {kReceiveTwo}},
        {&Handler::inMessage, 2, 2, 2, CConnection::Connected, {kNoTime, kReceiveTwo, kPreprocess}},
        {&Handler::inMessage, 1, 1, 3, CConnection::Datagram, {kDatagrams, kEvent}},
        {&Handler::inCheck, 1, 0, 2, CConnection::Connected, {kReceiveTwo}},
        {&Handler::inConnect, 1, 0, 0, CConnection::Connected, {kConnect, kEvent}},
        {&Handler::inConnect, 1, 0, 0, CConnection::Idle, {kLose}},
        {&Handler::inError, 1, 0, 0, CConnection::Connected, {limiting(1), sending(3), kPreprocess}},
        {&Handler::inError, 1, 0, 0, CConnection::Connected, {sending(3), kWriteBlocked, kWriteBlocked}},
    };
    const std::vector<Step> deeds{kDelete, kReset, kReopen, kPump};
    scripted::clock().counterStep = 1;
    net().sendsTakeAll();
    for (std::size_t i = 0; i < scenes.size() * deeds.size(); ++i) {
        const Scene& scene = scenes[i / deeds.size()];
        const std::size_t deed = i % deeds.size();
        SCOPED_TRACE("scene " + std::to_string(i / deeds.size()) + " deed " + std::to_string(deed));
        ScriptedStream stream;
        int calls = 0;
        std::int64_t opened = 0;
        stream.handler.*scene.slot = [&](CConnection*) {
            if (++calls == scene.at) {
                deeds[deed](stream);
                opened = deed == 2 ? stream.conn->getConnectTime() : 0;
                scripted::clock().seconds += 5;
            }
        };
        live(stream, scene.steps);
        EXPECT_GE(calls, scene.at);
        EXPECT_EQ(stream.handler.maxDepth, 1);
        EXPECT_EQ(stream.handler.messages.size(), deed == 3 ? scene.whole : scene.ended);
        EXPECT_EQ(stream.conn == nullptr, deed == 0);
        if (stream.conn != nullptr) {
            const std::array states{CConnection::Idle, CConnection::Idle, CConnection::Connected, scene.untouched};
            EXPECT_EQ(stream.conn->GetState(), states.at(deed));
            EXPECT_EQ(stream.conn->GetError(), 0);
            EXPECT_TRUE(opened == 0 || stream.conn->getConnectTime() == opened) << "the second life's own";
        }
    }
}

TEST(ConnectionReentry, OverwritingTheSocketInAMessageDeliversThatMessageOnce) {
    ScriptedStream stream;
    stream.handler.inMessage = [&](CConnection*) { stream.handler.inMessage = nullptr, kOpen(stream); };
    kReceiveTwo(stream);
    EXPECT_THAT(stream.handler.messages, testing::ElementsAre("one"));
    kProcess(stream);
    EXPECT_THAT(stream.handler.messages, testing::ElementsAre("one", "two"));
    net().allowLeaks();
    scripted::events().allowLeaks();
}

std::function<void(std::string_view)> s_inLine;

/// Takes `step` once, inside the log call of the first line that contains `part`.
void trap(ScriptedStream& stream, std::string_view part, const Step& step) {
    s_inLine = [&stream, part, step](std::string_view text) {
        if (text.find(part) != std::string_view::npos) {
            s_inLine = nullptr;
            step(stream);
        }
    };
    stream.log.show(Log::Network, LogSev_Detail);
    stream.log.show(Log::Connections, LogSev_Info);
    stream.log.logger().setLogLocationMask(LogLocation_Console);
    stream.log.logger().setConsoleLogFunction([](LogItemSeverityLevel, int, const char* text, int, const char*) {
        const auto act = s_inLine;
        act ? act(text) : void();
    });
}
bool sprang() {
    return std::exchange(s_inLine, nullptr) == nullptr;
}

TEST(ConnectionReentry, ALogCallbackMayEndTheConnectionInAnyLineOfAWrite) {
    const Step fill = [](ScriptedStream& stream) { stream.conn->FillBufferDangerous(3, "abc"); };
    const Step breakOff = [](ScriptedStream& stream) { net().onSend(scripted::failsWith(10054)), kWrite(stream); };
    const std::vector<Step> steps{sending(200'000), kWrite,        fill,       kWriteBlocked, kWriteBlocked,
                                  kWriteBlocked,    kEvent,        sending(1), limiting(1),   kWrite,
                                  kNoTime,          limiting(100), kWrite,     sending(1),    breakOff};
    scripted::clock().counterStep = 1;
    net().sendsTakeAll();
    for (const char* part :
         {"Queuing 200000 bytes", "capacity increased to 80000", "capacity increased to 160000", "Attempting write",
          "Sent 10000", "capacity emptied", "Queuing 3 bytes dangerously", "Write blocked", "Timeout. Blocked",
          "Handling event mask", "End write-blocked", "Size limit", "we've used", "Got a socket error", "Cleanup() on",
          "Shutting down", "send failed with"}) {
        for (const bool deletes : {false, true}) {
            SCOPED_TRACE(std::string(deletes ? "delete in " : "reset in ") + part);
            ScriptedStream stream;
            trap(stream, part, deletes ? kDelete : kReset);
            live(stream, steps);
            EXPECT_TRUE(sprang());
            EXPECT_TRUE(deletes ? stream.conn == nullptr : !stream.conn->IsConnected());
            EXPECT_FALSE(net().isOpen(stream.socket));
        }
    }
}

TEST(ConnectionReentry, ALogCallbackMayDeleteTheConnectionThatAReadErrorCloses) {
    for (const char* part : {"Cleanup() on", "Shutting down", "recv failed with"}) {
        ScriptedStream stream;
        trap(stream, part, kDelete);
        net().breakPeer(stream.socket, 10054);
        kPulse(stream);
        EXPECT_TRUE(sprang() && stream.conn == nullptr) << part;
        EXPECT_TRUE(stream.handler.connects.empty()) << part;
    }
}

TEST(ConnectionReentry, ABudgetSetInALineOfAWriteCountsFromTheNextPass) {
    net().sendsTakeAll();
    scripted::clock().counterStep = 1;
    ScriptedStream stream;
    trap(stream, "Attempting write", kNoTime);
    sending(30'000)(stream), kWrite(stream);
    EXPECT_TRUE(sprang());
    EXPECT_EQ(stream.conn->getOutboundByteCount(), 0U);
    sending(30'000)(stream), kWrite(stream);
    EXPECT_EQ(stream.conn->getOutboundByteCount(), 20'002U);
}

TEST(ConnectionReentry, CapacityWarningsFindTheQueueWhole) {
    const Step sendAndFlush = [](ScriptedStream& stream) { sending(1)(stream), kWrite(stream), kPulse(stream); };
    const Step fail = [](ScriptedStream&) { throw std::runtime_error("disk full"); };
    net().sendsTakeAll();
    for (const Step& step : {sending(1), sendAndFlush, fail}) {
        ScriptedStream stream;
        trap(stream, "capacity increased", step);
        try {
            sending(200'000)(stream);
        } catch (const std::runtime_error&) {
            sending(1)(stream);
        }
        kWrite(stream);
        EXPECT_TRUE(sprang());
        EXPECT_TRUE(stream.sent() == frameOf(std::string(200'000, 'b')) + frameOf("b"));
    }
}

TEST(ConnectionReentry, APingMayBringTheWarningThatEndsTheConnection) {
    CConnection::setOutBufferExpandSize(2);
    CConnection::setOutboundSizeWarning(2);
    CConnection::setPulseRate(0);
    for (const bool asked : {false, true}) {
        ScriptedStream stream;
        trap(stream, "capacity increased", kDelete);
        stream.conn->SetUpdateLag();
        asked ? stream.receive(kPingRequest + frameOf("lost")) : kPulse(stream);
        EXPECT_TRUE(sprang());
        EXPECT_TRUE(stream.handler.messages.empty());
    }
    CConnection::setOutBufferExpandSize(10'000);
    CConnection::setOutboundSizeWarning(80'000);
    CConnection::setPulseRate(1800);
}

} // namespace
