// sharedlib/rpc/rpc_call.cpp: the dispatch of one remote call, timed and counted.
#include "sharedlib/enums/log_channel.h"
#include "sharedlib/log/frame_event_log.h"
#include "sharedlib/log/gate.h"
#include "sharedlib/net/connection.h"
#include "sharedlib/packed/packed_data.h"
#include "sharedlib/platform/clock.h"
#include "sharedlib/rpc/rpc_mgr.h"

namespace {

constexpr std::uint64_t kSlowCallMs = 5;

float milliseconds(std::int64_t elapsedTicks) {
    return static_cast<float>(static_cast<double>(elapsedTicks)) /
           static_cast<float>(static_cast<double>(FrameEventLogger::ticksPerMillisecond()));
}

void logReceiving(const CConnection* connection, const CRpc& rpc, const CPackedData& arguments) {
    SHAREDLIB_DEBUGLOG(LogSev_Info, Log::RPC, "%s to %s:%d: Receiving RPC %s (%d bytes)",
                       connection != nullptr ? connection->GetHandlerName() : "UNKNOWN",
                       (connection != nullptr ? connection->GetIpAsString() : std::string("UNKNOWN")).c_str(),
                       connection != nullptr ? static_cast<int>(connection->GetRemotePort()) : -1, rpc.GetName(),
                       arguments.size());
}

} // namespace

/// Times one body twice, for its record and for the line that names slow calls, with one counter reading at each end.
class CRpcMgr::CallTimer {
public:
    CallTimer(const CRpcMgr& manager, int index, const CRpc& rpc)
        : m_buildNumber(manager.m_buildNumber), m_index(index) {
        // Squelching counts only at the end, where the line is due.
        if (theLogger != nullptr && theLogger->CheckConditional(Log::Pulse, LogSev_Info)) {
            m_name = rpc.GetName();
        }
        m_start = platform::stretchCounter();
    }
    CallTimer(const CallTimer&) = delete;
    CallTimer& operator=(const CallTimer&) = delete;
    ~CallTimer() {
        const std::int64_t elapsed = platform::stretchCounter() - m_start;
        addToRecord(elapsed);
        logSlowCall(elapsed);
    }

private:
    void addToRecord(std::int64_t elapsed) const {
        if (elapsed < static_cast<std::int64_t>(FrameEventLogger::ticksPerMillisecond() / 2)) {
            return;
        }
        // The body may have reset the statistics or replaced the manager: only the one that started the call counts it.
        if (sm_pRpcMgr == nullptr || sm_pRpcMgr->m_buildNumber != m_buildNumber) {
            return;
        }
        sm_pRpcMgr->m_stats[static_cast<std::size_t>(m_index)].time +=
            static_cast<std::uint32_t>(static_cast<std::int64_t>(milliseconds(elapsed)));
    }
    void logSlowCall(std::int64_t elapsed) const {
        if (m_name != nullptr &&
            elapsed >= static_cast<std::int64_t>(kSlowCallMs * FrameEventLogger::ticksPerMillisecond())) {
            SHAREDLIB_DEBUGLOG(LogSev_Info, Log::Pulse, "%s time=%.4lf ms", m_name,
                               static_cast<double>(milliseconds(elapsed)));
        }
    }

    std::uint64_t m_buildNumber;
    int m_index;
    const char* m_name = nullptr;
    std::int64_t m_start;
};

void CRpcMgr::CallFunction(Kest::Orv::orvContextObj* context, CConnection* connection, CPackedData& arguments,
                           unsigned long id) {
    const int index = searchIndex(static_cast<std::uint32_t>(id));
    if (!hasIdAt(index, static_cast<std::uint32_t>(id))) {
        // Only to log what is missing.
        FindRpcIndex(id);
        return;
    }
    CRpc* rpc = m_rpcTable[static_cast<std::size_t>(index)];
    const std::uint64_t buildNumber = m_buildNumber;
    logReceiving(connection, *rpc, arguments);
    // Whoever heard that line may have ended this manager.
    if (sm_pRpcMgr == nullptr || sm_pRpcMgr->m_buildNumber != buildNumber) {
        return;
    }
    RpcStats& stats = statsAt(index);
    const CallTimer timer(*this, index, *rpc);
    stats.bytes += static_cast<std::uint32_t>(arguments.size());
    ++stats.count;
    rpc->SetConnection(connection);
    // The body may end with this manager gone.
    rpc->CallBody(context, arguments);
}
