// sharedlib/net/socket_blocking.cpp: switches a socket between blocking and non-blocking mode.
#include "sharedlib/net/socket_blocking.h"
#include "sharedlib/platform/socket.h"

bool SetSocketBlockingFlag(unsigned int socket, bool blocking) {
    return platform::setSocketBlocking(socket, blocking) == 0;
}
