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
        // The slot does not name its connection; a test that wants to act here captures it.
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

    /// What happens inside the calls.
    std::function<void(CConnection*)> inMessage;
    std::function<void(CConnection*)> inConnect;
    std::function<void(CConnection*)> inCheck;
    std::function<void(CConnection*)> inError;

    unsigned long largestFrame = std::numeric_limits<unsigned long>::max();
    const char* name = "test";
    /// The deepest nesting of calls so far.
    int maxDepth = 0;

private:
    void call(const std::function<void(CConnection*)>& action, CConnection* conn) {
        ++m_depth;
        maxDepth = std::max(maxDepth, m_depth);
        if (action) {
            // A copy, because the action may replace itself.
            const auto chosen = action;
            chosen(conn);
        }
        --m_depth;
    }

    int m_depth = 0;
};
