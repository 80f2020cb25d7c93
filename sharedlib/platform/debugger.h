// sharedlib/platform/debugger.h: the debugger that watches the process.
#pragma once

namespace platform {

/// Whether a debugger is attached to the process, as of at most a second ago. A few nanoseconds. Any thread.
bool debuggerAttached();

/// Shows `text`, as it is, in the debugger's output; nothing happens when no debugger is attached or it has no
/// terminal. Never waits: text that a stopped terminal does not take is lost. Any thread.
void writeToDebugger(char const* text);

} // namespace platform
