// sharedlib/util/desktop.h: whether a place is visible on the monitors.
#pragma once
#include "sharedlib/export.h"
#include "sharedlib/native_types.h"

/// 1 if `rect` overlaps a display monitor, else 0; also 0 for null and where there is no display. A rectangle without
/// area counts as the one pixel at its left top corner. May wait up to two seconds for a display server that does not
/// answer. Any thread.
SHAREDLIB_API int rectIsOnDesktop(RECT* rect);
