// sharedlib/rpc/rpc_mgr.h: the table of remote procedures, the dispatch of calls and their statistics.
#pragma once
#include "sharedlib/export.h"
#include "sharedlib/rpc/rpc.h"
#include "sharedlib/rpc/rpc_hooks.h"
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// The process's table of remote procedures, sorted by identifier. Identifiers are 32 bits wide: of a wider `unsigned
/// long` only the low 32 bits count. An identifier or name that is not in the table is logged as an Error on channel
/// RPC. All of it belongs to the thread that pumps the connections.
class SHAREDLIB_API CRpcMgr {
public:
    /// The one manager; null until `GetInstance` builds it and after `Cleanup`.
    static CRpcMgr* sm_pRpcMgr;

    CRpcMgr(const CRpcMgr&) = delete;
    CRpcMgr& operator=(const CRpcMgr&) = delete;

    /// The manager, built on first use from the descriptors then on the registration list. Lives until `Cleanup`.
    static CRpcMgr* GetInstance();
    /// Destroys the manager, not the descriptors: the next `GetInstance` takes them again. Also allowed inside a call.
    static void Cleanup();

    /// Server side: appends the 16 bytes of the table digest to `out`, as `PutData` does.
    void BuildTable(CPackedData& out);
    /// Client side: reads a digest from `in`. True, with the statistics at zero, when it is this table's; otherwise,
    /// also when fewer than 16 bytes are left, false, an Error line on channel Network and untouched statistics.
    bool ParseTable(CPackedData& in);

    /// The descriptor with this identifier (any of them, should several share it), or null.
    CRpc* FindRpc(unsigned long id);
    /// The first descriptor in table order with exactly this name, or null.
    CRpc* FindRpc(const char* name);
    /// The descriptor's privilege text, or null when `id` is not in the table.
    const char* FindRpcPrivilege(unsigned long id);
    /// False, with both results untouched, when `id` is not in the table. Otherwise the descriptor's process type,
    /// whether it is internal, and its answer for `serverType`.
    bool IsValidServer(int serverType, unsigned long id, int& processType, bool& internal);

    /// Number of entries in the table; their indices run from 0 in ascending order of identifiers.
    int getRpcTypeCount();
    /// The descriptor's name, or null when `id` is not in the table.
    const char* getRpcTypeName(unsigned long id);
    /// Name and process type of the entry at `index`, which must lie in the table.
    const char* getRpcTypeNameByIndex(int index);
    int getRpcTypeProcessByIndex(int index);

    /// Runs one call: notes `connection` (may be null) in the descriptor, runs its body on `arguments`, which stand at
    /// the first argument, and counts the call, its bytes (the used size of `arguments`) and its whole milliseconds. An
    /// identifier that is not in the table is logged and nothing else happens. Neither server type nor privilege nor
    /// expiration is checked: a host that must refuse calls asks first.
    void CallFunction(Kest::Orv::orvContextObj* context, CConnection* connection, CPackedData& arguments,
                      unsigned long id);

    /// Starts the statistics again at zero for all entries.
    void ResetStats();
    /// Calls, bytes of arguments and whole milliseconds in the bodies, counted since the last reset; the counters wrap
    /// at 2^32. An index outside the table throws `std::out_of_range` with the text "invalid vector subscript".
    unsigned long getRpcTypeCountByIndex(int index);
    unsigned long getRpcTypeSizeByIndex(int index);
    unsigned long getRpcTypeTimeByIndex(int index);
    /// Index of the first entry with the most bytes or the most time; -1 while all are 0.
    int getMaxSizeRpcTypeIndex();
    int getMaxTimeRpcTypeIndex();
    /// Reports the period's slowest procedure (name and average milliseconds per call) and busiest one (name and number
    /// of calls), and starts the next period: times and counts return to 0, bytes stay. The four results hold the
    /// caller's starting values and change only when an entry exceeds them.
    void getRPCStats(std::string& slowestName, float& slowestAverage, std::string& busiestName, long& busiestCount);

    /// Store the host's functions behind `Rpc_SendMessageFunction` and `Rpc_DispatchMessageFunction`; null clears them.
    static void RegisterSendMessage(RpcSendMessageHook function);
    static void RegisterDispatchMessage(RpcDispatchMessageHook function);

private:
    struct RpcStats {
        std::uint32_t time = 0;
        std::uint32_t bytes = 0;
        std::uint32_t count = 0;
    };
    class CallTimer;

    static constexpr std::size_t kRegions = 128;

    CRpcMgr();
    ~CRpcMgr();

    void InitRpcList();
    void Register(CRpc* rpc);
    void InitClientHash();
    void indexIds();
    int FindRpcIndex(unsigned long id);
    int searchIndex(std::uint32_t id) const {
        // A binary search in the identifier's region whose only branch is the loop's, and that one always goes the same
        // way: identifiers of calls follow no pattern that a processor could guess.
        const std::size_t region = std::min<std::size_t>((id - m_lowestId) >> m_regionShift, kRegions - 1);
        std::size_t first = m_regionStarts[region];
        std::size_t count = m_regionSize;
        while (count > 1) {
            const std::size_t half = count / 2;
            const std::size_t mask = 0 - static_cast<std::size_t>(m_ids[first + half - 1] < id);
            first += half & mask;
            count -= half;
        }
        return static_cast<int>(first);
    }
    bool hasIdAt(int index, std::uint32_t id) const {
        const auto position = static_cast<std::size_t>(index);
        return position < m_ids.size() && m_ids[position] == id;
    }
    RpcStats& statsAt(int index);
    int maxStatsIndex(std::uint32_t RpcStats::*value) const;

    std::array<std::uint8_t, 16> m_tableDigest{};
    std::vector<CRpc*> m_rpcTable;
    std::vector<RpcStats> m_stats;
    // The identifiers of m_rpcTable side by side, so that a search touches a few cache lines and no descriptor.
    std::vector<std::uint32_t> m_ids;
    // The range of identifiers from m_lowestId on, cut into equal regions: where each one's entries begin, and a number
    // of entries from there, the same for all, that covers them.
    std::array<std::uint32_t, kRegions> m_regionStarts{};
    std::size_t m_regionSize = 0;
    std::uint32_t m_lowestId = 0;
    int m_regionShift = 0;
    // Tells this manager from one that took its place, perhaps at the same address, while a call was running.
    std::uint64_t m_buildNumber = 0;
};
