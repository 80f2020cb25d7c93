// sharedlib/net/connection_event_error.cpp: says in the log why a query for socket events failed.
#include "sharedlib/log/gate.h"
#include "sharedlib/net/connection.h"
#include "sharedlib/net/internal/inbound_buffer.h"
#include <array>
#include <cstddef>

namespace {

struct Explanation {
    int code;
    const char* line;
};

constexpr std::array kExplanations{
    Explanation{10014, "WSAEnumNetworkEvents() returned Err = WSAEFAULT (The lpNetworkEvents parameter is not a valid "
                       "part of the user address space) "},
    Explanation{10022, "WSAEnumNetworkEvents() returned Err = WSAEINVAL (Indicates that one of the specified "
                       "parameters was invalid) "},
    Explanation{10036, "WSAEnumNetworkEvents() returned Err = WSAEINPROGRESS (A blocking Windows Sockets 1.1 call is "
                       "in progress, or the service provider is still processing a callback function) "},
    Explanation{10038, "WSAEnumNetworkEvents() returned Err = WSAENOTSOCK (The descriptor is not a socket) "},
    Explanation{10050, "WSAEnumNetworkEvents() returned Err = WSAENETDOWN (The network subsystem has failed) "},
    Explanation{10053, "WSAEnumNetworkEvents() returned Err = WSAECONNABORTED (Software caused connection abort) "},
    Explanation{10054, "WSAEnumNetworkEvents() returned Err = WSAECONNRESET (Connection reset by peer) "},
    Explanation{10093, "WSAEnumNetworkEvents() returned Err = WSANOTINITIALISED (successful WSAStartup call must occur "
                       "before using this function) "},
};

/// The events by their bit numbers.
constexpr std::array kEventNames{"FD_READ",
                                 "FD_WRITE",
                                 "FD_OOB",
                                 "FD_ACCEPT",
                                 "FD_CONNECT",
                                 "FD_CLOSE",
                                 "FD_QOS",
                                 "FD_GROUP_QOS",
                                 "FD_ROUTING_INTERFACE_CHANGE",
                                 "FD_ADDRESS_LIST_CHANGE"};

void logQueryError(int code) {
    for (const Explanation& explanation : kExplanations) {
        if (explanation.code == code) {
            SHAREDLIB_LOG(LogSev_Error, Log::Network, "%s", explanation.line);
            return;
        }
    }
    SHAREDLIB_LOG(LogSev_Error, Log::Network, "WSAEnumNetworkEvents() returned unknown error code %d", code);
}

} // namespace

void CConnection::LogSocketEventError(WSANETWORKEVENTS events) {
    if (m_eventQueryError == 0) {
        return;
    }
    logQueryError(m_eventQueryError);
    for (std::size_t bit = 0; bit < kEventNames.size(); ++bit) {
        if (const int error = events.iErrorCode[bit]; error != 0) {
            SHAREDLIB_LOG(LogSev_Error, Log::Network, "WSAEnumNetworkEvents() - return error code 0x%X for event %s",
                          static_cast<unsigned int>(error), kEventNames[bit]);
        }
    }
}
