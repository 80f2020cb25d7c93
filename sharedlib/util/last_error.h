// sharedlib/util/last_error.h: tells the log what the system said last.
#pragma once
#include "sharedlib/export.h"

/// Logs `what` (null counts as ""), ": " and the system's text for the calling thread's last error, which ends with a
/// line break, at severity Error on channel Generic. The last error stays as it was. Any thread.
SHAREDLIB_API void describeLastError(char const* what);
