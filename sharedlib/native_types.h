// sharedlib/native_types.h: the system types that public signatures need, without a system header where one is
// avoidable.
#pragma once
#include <cstdarg>

/// A socket as the interfaces pass it: the system's number, all bits set when there is none.
using NativeSocket = unsigned int;

/// The socket value that stands for "no socket".
inline constexpr NativeSocket kInvalidSocket = ~0U;

/// The argument list that `Logger::vsyslog` takes: what `va_start` of the system's C library fills in.
using NativeArgumentList = va_list;

#if defined(_WIN32)
struct tagRECT;
using RECT = tagRECT;
struct _WSANETWORKEVENTS;
using WSANETWORKEVENTS = _WSANETWORKEVENTS;
using NativeServiceMain = void(__stdcall*)(unsigned long argumentCount, char** arguments);
#else
/// A rectangle on the desktop in pixels; `right` and `bottom` lie just outside.
struct RECT {
    long left;
    long top;
    long right;
    long bottom;
};

/// What happened on a socket since its events were last enumerated.
struct WSANETWORKEVENTS {
    /// Bits of the events that occurred: bit 0 read, 1 write, 2 out of band, 3 accept, 4 connect, 5 close.
    long lNetworkEvents;
    /// One error number for each event bit; 0 means that the event carries no error.
    int iErrorCode[10];
};

/// A host's service main function, as the system calls it.
using NativeServiceMain = void (*)(unsigned long argumentCount, char** arguments);
#endif
