// sharedlib/rpc/rpc.cpp: the registration list and what a descriptor does unless it says otherwise.
#include "sharedlib/rpc/rpc.h"

CRpc* CRpc::s_head = nullptr;

CRpc::~CRpc() = default;

void CRpc::AddToStaticList() {
    m_next = s_head;
    s_head = this;
}

void CRpc::CallBody(Kest::Orv::orvContextObj* context, CPackedData& arguments) const {
    // Running a procedure may change its descriptor, and hosts override Invoke as a changing operation.
    const_cast<CRpc*>(this)->Invoke(context, 0, arguments);
}

void CRpc::SetObject(unsigned short /*object*/) {
}

bool CRpc::isValidServer(int /*serverType*/) const {
    return false;
}

bool CRpc::isInternal() const {
    return false;
}

int CRpc::GetProcessType() const {
    return 0;
}

const char* CRpc::GetSignature() const {
    return "";
}

const char* CRpc::GetPrivilege() const {
    return "";
}

int CRpc::GetExpiration() const {
    return -1;
}
