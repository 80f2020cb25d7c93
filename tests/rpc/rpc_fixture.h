// tests/rpc/rpc_fixture.h: descriptors of a test's own, and a manager and a log for each test.
#pragma once
#include "sharedlib/packed/packed_data.h"
#include "sharedlib/rpc/rpc_mgr.h"
#include "tests/support/log_capture.h"
#include <array>
#include <functional>
#include <gmock/gmock.h>

/// A descriptor that puts itself on the registration list and runs whatever the test wants as its body.
class TestRpc : public CRpc {
public:
    explicit TestRpc(std::uint32_t id, std::string name = "rpc", bool internal = false)
        : m_id(id), m_name(std::move(name)), m_internal(internal) {
        AddToStaticList();
    }
    void Reserved() override {}
    std::uint32_t GetId() const override { return m_id; }
    const char* GetName() const override { return m_name.c_str(); }
    void Invoke(Kest::Orv::orvContextObj* /*context*/, std::int64_t value, CPackedData& /*arguments*/) override {
        ++calls;
        lastValue = value;
        lastConnection = m_connection;
        body();
    }
    void OnRegister() override { registered(); }
    bool isInternal() const override { return m_internal; }

    std::function<void()> body = [] {}, registered = [] {};
    int calls = 0;
    std::int64_t lastValue = -1;
    CConnection* lastConnection = nullptr;

private:
    std::uint32_t m_id;
    std::string m_name;
    bool m_internal;
};

/// An empty registration list and no manager.
class RpcTest : public testing::Test {
protected:
    RpcTest() { CRpc::s_head = nullptr; }
    ~RpcTest() override { CRpcMgr::Cleanup(); }

    static CRpcMgr& manager() { return *CRpcMgr::GetInstance(); }
    static void call(unsigned long id, std::string_view bytes = "", CConnection* connection = nullptr) {
        CPackedData arguments(bytes.data(), static_cast<int>(bytes.size()));
        manager().CallFunction(nullptr, connection, arguments, id);
    }

    /// Calls, bytes and milliseconds of the entry at `index`.
    static std::array<unsigned long, 3> stats(int index) {
        return {manager().getRpcTypeCountByIndex(index), manager().getRpcTypeSizeByIndex(index),
                manager().getRpcTypeTimeByIndex(index)};
    }

    LogCapture log;
};
