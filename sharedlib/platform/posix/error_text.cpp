// sharedlib/platform/posix/error_text.cpp: errno and the C library's words for it.
#include "sharedlib/platform/error_text.h"
#include <cerrno>
#include <cstring>

namespace platform {

int lastError() {
    return errno;
}

void setLastError(int error) {
    errno = error;
}

std::string errorText(int error) {
    // The one source of texts that no locale translates.
    const char* const text = strerrordesc_np(error);
    return (text != nullptr ? std::string(text) : "Unknown error " + std::to_string(error)).append("\n");
}

} // namespace platform
