// sharedlib/rpc/rpc.h: the base class of all remote procedure descriptors.
#pragma once
#include "sharedlib/export.h"
#include <cstdint>

class CConnection;
class CPackedData;

namespace Kest::Orv {
/// What a host hands to the bodies of its remote procedures. The library only passes the pointer through.
class orvContextObj;
} // namespace Kest::Orv

/// One remote procedure: its identifier, its name and how its body runs. The host derives one class per procedure and
/// owns the objects, which live until the manager is cleaned up for the last time. All of it belongs to the thread that
/// pumps the connections.
class SHAREDLIB_API CRpc {
protected:
    CRpc() = default;
    virtual ~CRpc();

public:
    /// Copies take over the connection and the place in the registration list.
    CRpc(const CRpc& other) = default;
    CRpc& operator=(const CRpc& other) = default;

    /// The most recently registered descriptor, the start of the class-wide registration list; null while it is empty.
    static CRpc* s_head;

    /// Puts this descriptor at the head of the registration list, once per object. The list is read when `CRpcMgr` is
    /// built; what is added afterwards waits for the next manager.
    void AddToStaticList();
    /// Stores the connection that the next call comes from (null for none; not owned). It stays after the call, so it
    /// may point to a connection that is gone: read it only inside `Invoke`.
    void SetConnection(CConnection* connection) { m_connection = connection; }

    /// The library never calls this; the host gives it a meaning or leaves it empty.
    virtual void Reserved() = 0;
    /// The identifier, the same for the whole life of the descriptor and unique among them.
    virtual std::uint32_t GetId() const = 0;
    /// The name, zero-terminated, valid as long as the descriptor.
    virtual const char* GetName() const = 0;
    /// Runs the procedure on `arguments`, which stand at the first argument: `Invoke` with the value 0 unless
    /// overridden.
    virtual void CallBody(Kest::Orv::orvContextObj* context, CPackedData& arguments) const;
    /// The procedure itself. `value` belongs to the host (an object identifier, say). It may do anything to the
    /// manager, `CRpcMgr::Cleanup` included.
    virtual void Invoke(Kest::Orv::orvContextObj* context, std::int64_t value, CPackedData& arguments) = 0;
    /// Offered to hosts that route calls to objects; does nothing by default.
    virtual void SetObject(unsigned short object);
    /// Called once by each manager that takes this descriptor into its table. The table is not complete yet, and the
    /// manager must not be cleaned up here. What this throws ends the building of the manager and reaches its caller.
    virtual void OnRegister() = 0;
    /// Whether a server of the host's type `serverType` may run this procedure; false by default.
    virtual bool isValidServer(int serverType) const;
    /// Internal procedures are left out of the table digest, so the two sides may differ in them; false by default.
    virtual bool isInternal() const;
    /// The host's kind of process that runs the procedure; 0 by default.
    virtual int GetProcessType() const;
    /// The host's text for the argument types; empty by default.
    virtual const char* GetSignature() const;
    /// The host's name of the privilege that a caller needs; empty by default. The dispatch does not check it.
    virtual const char* GetPrivilege() const;
    /// When a call loses its meaning, in the host's unit; -1 (never) by default. The dispatch does not check it.
    virtual int GetExpiration() const;

protected:
    /// The connection that the current call came over; null when it came over none.
    CConnection* m_connection = nullptr;

private:
    friend class CRpcMgr;

    CRpc* m_next = nullptr;
};
