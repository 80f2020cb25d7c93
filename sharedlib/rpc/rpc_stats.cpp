// sharedlib/rpc/rpc_stats.cpp: the statistics of remote calls.
#include "sharedlib/rpc/rpc_mgr.h"
#include <stdexcept>

void CRpcMgr::ResetStats() {
    m_stats.assign(m_rpcTable.size(), RpcStats{});
}

CRpcMgr::RpcStats& CRpcMgr::statsAt(int index) {
    if (static_cast<std::size_t>(index) >= m_stats.size()) {
        throw std::out_of_range("invalid vector subscript");
    }
    return m_stats[static_cast<std::size_t>(index)];
}

unsigned long CRpcMgr::getRpcTypeCountByIndex(int index) {
    return statsAt(index).count;
}

unsigned long CRpcMgr::getRpcTypeSizeByIndex(int index) {
    return statsAt(index).bytes;
}

unsigned long CRpcMgr::getRpcTypeTimeByIndex(int index) {
    return statsAt(index).time;
}

int CRpcMgr::maxStatsIndex(std::uint32_t RpcStats::*value) const {
    int maxIndex = -1;
    std::uint32_t maximum = 0;
    for (std::size_t index = 0; index < m_stats.size(); ++index) {
        if (m_stats[index].*value > maximum) {
            maximum = m_stats[index].*value;
            maxIndex = static_cast<int>(index);
        }
    }
    return maxIndex;
}

int CRpcMgr::getMaxSizeRpcTypeIndex() {
    return maxStatsIndex(&RpcStats::bytes);
}

int CRpcMgr::getMaxTimeRpcTypeIndex() {
    return maxStatsIndex(&RpcStats::time);
}

void CRpcMgr::getRPCStats(std::string& slowestName, float& slowestAverage, std::string& busiestName,
                          long& busiestCount) {
    for (int index = 0; index < getRpcTypeCount(); ++index) {
        RpcStats& stats = statsAt(index);
        const float average =
            stats.count != 0 ? static_cast<float>(stats.time) / static_cast<float>(stats.count) : 0.0F;
        if (average > slowestAverage) {
            slowestAverage = average;
            slowestName = getRpcTypeNameByIndex(index);
        }
        if (stats.count > static_cast<unsigned long>(busiestCount)) {
            busiestCount = static_cast<long>(stats.count);
            busiestName = getRpcTypeNameByIndex(index);
        }
        stats.time = 0;
        stats.count = 0;
    }
}
