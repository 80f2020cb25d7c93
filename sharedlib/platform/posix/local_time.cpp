// sharedlib/platform/posix/local_time.cpp: the local time as text, over POSIX.
#include "sharedlib/platform/local_time.h"
#include <ctime>

namespace platform {

bool localTimeText(std::int64_t seconds, char (&text)[kLocalTimeLength + 2]) {
    constexpr int kYearBase = 1900;
    constexpr int kLastYear = 9999;
    text[0] = '\0';
    const std::time_t time = seconds;
    std::tm local{};
    // Only a year of four digits fits.
    if (::localtime_r(&time, &local) == nullptr || local.tm_year > kLastYear - kYearBase) {
        return false;
    }
    return ::asctime_r(&local, text) != nullptr;
}

} // namespace platform
