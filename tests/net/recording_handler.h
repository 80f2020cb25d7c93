// tests/net/recording_handler.h: a message handler that writes down its calls and does what a test asks in them.
#pragma once
#include "sharedlib/net/connection.h"
#include <algorithm>
#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

class RecordingHandler : public CMessageHandler {
public:
    using Action = std::function<void(CConnection*)>;

    void HandleMessage(CConnection* conn, const void* data, unsigned long size) override {
        messages.emplace_back(static_cast<const char*>(data), size);
        call(inMessage, conn);
    }
    void OnConnect(CConnection* conn, bool connected) override {
        connects.push_back(connected);
        call(inConnect, conn);
    }
    bool CheckMessageSize(unsigned long size) override {
        asked.push_back(size);
        call(inCheck, nullptr);
        return size <= largestFrame;
    }
    void OnError(CConnection* conn, int error, int detail) override {
        errors.emplace_back(error, detail);
        call(inError, conn);
    }
    const char* GetHandlerName() override { return name; }

    std::vector<std::string> messages;
    std::vector<bool> connects;
    std::vector<unsigned long> asked;
    std::vector<std::pair<int, int>> errors;
    /// What happens inside the calls; the size check does not name its connection.
    Action inMessage, inConnect, inCheck, inError;
    unsigned long largestFrame = std::numeric_limits<unsigned long>::max();
    const char* name = "test";
    /// The deepest nesting of calls so far.
    int maxDepth = 0;

private:
    // By value, because the action may replace itself.
    void call(Action action, CConnection* conn) {
        maxDepth = std::max(maxDepth, ++m_depth);
        if (action) {
            action(conn);
        }
        --m_depth;
    }

    int m_depth = 0;
};
