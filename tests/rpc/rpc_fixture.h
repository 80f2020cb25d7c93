// tests/rpc/rpc_fixture.h: descriptors of a test's own, and a logger that remembers its lines.
#pragma once
#include "sharedlib/log/logger.h"
#include "sharedlib/packed/packed_data.h"
#include "sharedlib/rpc/rpc_mgr.h"
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

/// A descriptor that puts itself on the registration list and runs whatever the test wants as its body.
class TestRpc : public CRpc {
public:
    TestRpc(std::uint32_t id, std::string name, bool internal = false)
        : m_id(id), m_name(std::move(name)), m_internal(internal) {
        AddToStaticList();
    }
    void Reserved() override {}
    std::uint32_t GetId() const override { return m_id; }
    const char* GetName() const override { return m_name.c_str(); }
    void Invoke(Kest::Orv::orvContextObj* /*context*/, std::int64_t value, CPackedData& arguments) override {
        ++calls;
        lastValue = value;
        lastConnection = m_connection;
        if (body) {
            body(arguments);
        }
    }
    void OnRegister() override { ++registrations; }
    bool isInternal() const override { return m_internal; }

    std::function<void(CPackedData&)> body;
    int calls = 0;
    int registrations = 0;
    std::int64_t lastValue = -1;
    CConnection* lastConnection = nullptr;

private:
    std::uint32_t m_id;
    std::string m_name;
    bool m_internal;
};

/// An empty registration list, no manager, and a logger that shows all channels in `lines`.
class RpcTest : public testing::Test {
protected:
    RpcTest() : m_logger("RpcTest", nullptr) {
        CRpc::s_head = nullptr;
        m_logger.setUseDialogs(false);
        m_logger.setLogLocationMask(LogLocation_DB);
        m_logger.setDBLogFunction(keepLine);
        lines.clear();
        theLogger = &m_logger;
    }
    ~RpcTest() override {
        CRpcMgr::Cleanup();
        CRpc::s_head = nullptr;
        theLogger = nullptr;
    }

    static inline std::vector<std::string> lines;

private:
    static void keepLine(LogItemSeverityLevel /*severity*/, int /*channel*/, const char* text, int /*prefixLength*/,
                         const char* /*fileChannelName*/) {
        lines.emplace_back(text);
    }

    Logger m_logger;
};
