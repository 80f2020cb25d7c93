// sharedlib/util/desktop.cpp: whether a place is visible on the monitors.
#include "sharedlib/util/desktop.h"
#include "sharedlib/platform/displays.h"

int rectIsOnDesktop(RECT* rect) {
    return rect != nullptr && platform::rectangleOverlapsMonitor(*rect) ? 1 : 0;
}
