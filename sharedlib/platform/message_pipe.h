// sharedlib/platform/message_pipe.h: the client's end of a named message pipe.
#pragma once

namespace platform {

/// Connects to the pipe `name`, written `\\.\pipe\NAME`, that a server on this machine has created, for writing
/// messages: each write is one message. Returns the handle, on POSIX the number of a socket, which child processes do
/// not inherit; null when there is no such pipe, it takes no further client now, or the name is none (NAME empty or too
/// long, with a slash, a backslash or ".." in it). Never waits. The caller closes the handle with `closeMessagePipe`.
/// Any thread.
void* openMessagePipe(char const* name);

/// Closes a handle that `openMessagePipe` gave; null is ignored.
void closeMessagePipe(void* handle);

} // namespace platform
