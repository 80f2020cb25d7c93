// sharedlib/platform/posix/socket_error.cpp: errno to Winsock numbers.
#include "sharedlib/platform/socket_error.h"
#include <algorithm>
#include <cerrno>
#include <iterator>

namespace platform {
namespace {

struct ErrorPair {
    int system;
    int winsock;
};

constexpr ErrorPair kErrors[] = {
    {0, 0},
    {EINTR, 10004},
    {EBADF, 10038},
    {EACCES, 10013},
    {EPERM, 10013},
    {EFAULT, 10014},
    {EINVAL, 10022},
    {EMFILE, 10024},
    {ENFILE, 10024},
    {EAGAIN, 10035},
    {EINPROGRESS, 10036},
    {EALREADY, 10037},
    {ENOTSOCK, 10038},
    {EDESTADDRREQ, 10039},
    {EMSGSIZE, 10040},
    {EPROTOTYPE, 10041},
    {ENOPROTOOPT, 10042},
    {EPROTONOSUPPORT, 10043},
    {ESOCKTNOSUPPORT, 10044},
    {EOPNOTSUPP, 10045},
    {EPFNOSUPPORT, 10046},
    {EAFNOSUPPORT, 10047},
    {EADDRINUSE, 10048},
    {EADDRNOTAVAIL, 10049},
    {ENETDOWN, 10050},
    {ENETUNREACH, 10051},
    {ENETRESET, 10052},
    {ECONNABORTED, 10053},
    {ECONNRESET, 10054},
    // A write after the peer has reset the connection; we never write to a socket that we shut down ourselves.
    {EPIPE, 10054},
    {ENOBUFS, 10055},
    {ENOMEM, 10055},
    {ENOSPC, 10055},
    {EISCONN, 10056},
    {ENOTCONN, 10057},
    {ESHUTDOWN, 10058},
    {ETOOMANYREFS, 10059},
    {ETIMEDOUT, 10060},
    {ECONNREFUSED, 10061},
    {ELOOP, 10062},
    {ENAMETOOLONG, 10063},
    {EHOSTDOWN, 10064},
    {EHOSTUNREACH, 10065},
    // A protocol failure of the peer's side ends the connection.
    {EPROTO, 10053},
};

} // namespace

int toSocketError(int systemError) {
    constexpr int kInvalidArgument = 10022;
    const auto* const found = std::find_if(std::begin(kErrors), std::end(kErrors),
                                           [=](ErrorPair pair) { return pair.system == systemError; });
    return found == std::end(kErrors) ? kInvalidArgument : found->winsock;
}

int lastSocketError() {
    return toSocketError(errno);
}

} // namespace platform
