// sharedlib/platform/displays.h: the desktop's monitors.
#pragma once
#include "sharedlib/native_types.h"

namespace platform {

/// Whether `rectangle` (desktop pixels) overlaps a monitor; one without area counts as the pixel at its left top
/// corner. False when this machine shows no desktop or its display server does not answer within two seconds. Any
/// thread.
bool rectangleOverlapsMonitor(RECT const& rectangle);

} // namespace platform
