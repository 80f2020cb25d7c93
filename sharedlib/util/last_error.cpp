// sharedlib/util/last_error.cpp: tells the log what the system said last.
#include "sharedlib/util/last_error.h"
#include "sharedlib/log/gate.h"
#include "sharedlib/platform/error_text.h"

void describeLastError(char const* what) {
    int const error = platform::lastError();
    SHAREDLIB_LOG(LogSev_Error, Log::Generic, "%s: %s", what != nullptr ? what : "",
                  platform::errorText(error).c_str());
    platform::setLastError(error);
}
