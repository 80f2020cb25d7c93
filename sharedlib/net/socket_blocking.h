// sharedlib/net/socket_blocking.h: switches a socket between blocking and non-blocking mode.
#pragma once
#include "sharedlib/export.h"

/// Makes calls on `socket` wait (`blocking` true) or return at once with error 10035 (false).
/// The socket stays the caller's; nothing else about it changes. Returns false, and leaves the mode as it was, when the
/// system refuses, as for a closed socket. Logs nothing. Any thread.
SHAREDLIB_API bool SetSocketBlockingFlag(unsigned int socket, bool blocking);
