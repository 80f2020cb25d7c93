// sharedlib/platform/error_text.h: the system's last error and its words for it.
#pragma once
#include <string>

namespace platform {

/// The number of the calling thread's last system error; 0 before the first.
int lastError();
/// Makes `error` the calling thread's last system error.
void setLastError(int error);
/// The system's text for an error number, in English, with the system's line break behind it; numbers that it does not
/// know have a text as well. Any thread.
std::string errorText(int error);

} // namespace platform
