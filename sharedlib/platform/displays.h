// sharedlib/platform/displays.h: the desktop's monitors.
#pragma once
#include "sharedlib/native_types.h"

namespace platform {

/// Whether `rectangle` (desktop pixels; at least one pixel of area) overlaps a monitor. False when there is no display
/// or it does not answer within two seconds. Any thread.
bool rectangleOverlapsMonitor(RECT const& rectangle);

} // namespace platform
