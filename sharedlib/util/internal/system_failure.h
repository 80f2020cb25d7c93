// sharedlib/util/internal/system_failure.h: the error numbers of the platform layer, told to the log.
#pragma once
#include "sharedlib/platform/error_text.h"
#include "sharedlib/util/last_error.h"

/// Whether `error`, what a platform function gave, is a failure; logs one with `what` in front of the system's text.
inline bool isFailure(int error, char const* what) {
    if (error == 0) {
        return false;
    }
    platform::setLastError(error);
    describeLastError(what);
    return true;
}
