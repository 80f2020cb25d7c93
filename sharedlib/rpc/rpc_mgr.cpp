// sharedlib/rpc/rpc_mgr.cpp: the table of remote procedures, its digest and the lookups in it.
#include "sharedlib/rpc/rpc_mgr.h"
#include "sharedlib/enums/log_channel.h"
#include "sharedlib/log/gate.h"
#include "sharedlib/packed/md5.h"
#include "sharedlib/packed/packed_data.h"
#include <algorithm>
#include <cstring>
#include <numeric>
#include <utility>

CRpcMgr* CRpcMgr::sm_pRpcMgr = nullptr;

namespace {

std::uint64_t s_buildCount = 0;

void appendId(md5_state_s& state, std::uint32_t id) {
    const std::array<unsigned char, 4> bytes{static_cast<unsigned char>(id), static_cast<unsigned char>(id >> 8),
                                             static_cast<unsigned char>(id >> 16),
                                             static_cast<unsigned char>(id >> 24)};
    md5_append(&state, bytes.data(), static_cast<int>(bytes.size()));
}

} // namespace

CRpcMgr* CRpcMgr::GetInstance() {
    if (sm_pRpcMgr == nullptr) {
        // Stands in sm_pRpcMgr before it builds its table, so that OnRegister may ask for the manager.
        sm_pRpcMgr = new CRpcMgr;
        try {
            sm_pRpcMgr->InitRpcList();
            sm_pRpcMgr->InitClientHash();
            sm_pRpcMgr->ResetStats();
        } catch (...) {
            // Half a table would answer for the whole one from now on.
            Cleanup();
            throw;
        }
    }
    return sm_pRpcMgr;
}

void CRpcMgr::Cleanup() {
    delete std::exchange(sm_pRpcMgr, nullptr);
}

CRpcMgr::CRpcMgr() : m_buildNumber(++s_buildCount) {
}

CRpcMgr::~CRpcMgr() = default;

void CRpcMgr::InitRpcList() {
    for (CRpc* rpc = CRpc::s_head; rpc != nullptr; rpc = rpc->m_next) {
        Register(rpc);
    }
    std::stable_sort(m_rpcTable.begin(), m_rpcTable.end(),
                     [](const CRpc* left, const CRpc* right) { return left->GetId() < right->GetId(); });
    for (const CRpc* rpc : m_rpcTable) {
        m_ids.push_back(rpc->GetId());
    }
    indexIds();
}

void CRpcMgr::indexIds() {
    if (m_ids.empty()) {
        return;
    }
    m_lowestId = m_ids.front();
    while ((m_ids.back() - m_lowestId) >> m_regionShift >= kRegions) {
        ++m_regionShift;
    }
    std::array<std::uint32_t, kRegions> ends{};
    for (const std::uint32_t id : m_ids) {
        ++ends[(id - m_lowestId) >> m_regionShift];
    }
    m_regionSize = *std::max_element(ends.begin(), ends.end());
    std::partial_sum(ends.begin(), ends.end(), ends.begin());
    // A search may look at entries before its region, but at none behind the last.
    const auto lastStart = static_cast<std::uint32_t>(m_ids.size() - m_regionSize);
    for (std::size_t region = 1; region < kRegions; ++region) {
        m_regionStarts[region] = std::min(ends[region - 1], lastStart);
    }
}

void CRpcMgr::Register(CRpc* rpc) {
    m_rpcTable.push_back(rpc);
    rpc->OnRegister();
}

void CRpcMgr::InitClientHash() {
    md5_state_s state;
    md5_init(&state);
    for (const CRpc* rpc : m_rpcTable) {
        if (rpc->isInternal()) {
            continue;
        }
        appendId(state, rpc->GetId());
        SHAREDLIB_LOG(LogSev_Detail, Log::RPC, "In hash: 0x%08X %s", rpc->GetId(), rpc->GetName());
    }
    md5_finish(&state, m_tableDigest.data());
}

void CRpcMgr::BuildTable(CPackedData& out) {
    out.PutData(m_tableDigest.data(), static_cast<int>(m_tableDigest.size()));
}

bool CRpcMgr::ParseTable(CPackedData& in) {
    // GetData copies all or nothing: what was not read must differ.
    std::array<std::uint8_t, 16> digest = m_tableDigest;
    digest[0] ^= 1;
    in.GetData(digest.data(), static_cast<int>(digest.size()));
    if (digest != m_tableDigest) {
        SHAREDLIB_LOG(LogSev_Error, Log::Network, "Rpc table from server does not match ours");
        return false;
    }
    ResetStats();
    return true;
}

int CRpcMgr::FindRpcIndex(unsigned long id) {
    const auto wanted = static_cast<std::uint32_t>(id);
    const int index = searchIndex(wanted);
    if (!hasIdAt(index, wanted)) {
        SHAREDLIB_LOG(LogSev_Error, Log::RPC, "Unable to find RPC with ID 0x%X", wanted);
        return 0;
    }
    return index;
}

CRpc* CRpcMgr::FindRpc(unsigned long id) {
    const int index = searchIndex(static_cast<std::uint32_t>(id));
    if (hasIdAt(index, static_cast<std::uint32_t>(id))) {
        return m_rpcTable[static_cast<std::size_t>(index)];
    }
    // Only to log what is missing; whoever hears that may end the manager.
    FindRpcIndex(id);
    return nullptr;
}

CRpc* CRpcMgr::FindRpc(const char* name) {
    for (CRpc* rpc : m_rpcTable) {
        if (std::strcmp(rpc->GetName(), name) == 0) {
            return rpc;
        }
    }
    SHAREDLIB_LOG(LogSev_Error, Log::RPC, "Unable to find RPC with name %s", name);
    return nullptr;
}

const char* CRpcMgr::FindRpcPrivilege(unsigned long id) {
    const CRpc* rpc = FindRpc(id);
    return rpc != nullptr ? rpc->GetPrivilege() : nullptr;
}

bool CRpcMgr::IsValidServer(int serverType, unsigned long id, int& processType, bool& internal) {
    const CRpc* rpc = FindRpc(id);
    if (rpc == nullptr) {
        return false;
    }
    processType = rpc->GetProcessType();
    internal = rpc->isInternal();
    return rpc->isValidServer(serverType);
}

int CRpcMgr::getRpcTypeCount() {
    return static_cast<int>(m_rpcTable.size());
}

const char* CRpcMgr::getRpcTypeName(unsigned long id) {
    const CRpc* rpc = FindRpc(id);
    return rpc != nullptr ? rpc->GetName() : nullptr;
}

const char* CRpcMgr::getRpcTypeNameByIndex(int index) {
    return m_rpcTable[static_cast<std::size_t>(index)]->GetName();
}

int CRpcMgr::getRpcTypeProcessByIndex(int index) {
    return m_rpcTable[static_cast<std::size_t>(index)]->GetProcessType();
}
