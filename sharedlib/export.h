// sharedlib/export.h: the mark that makes a declaration part of the shared library's face.
#pragma once

/// SHAREDLIB_API stands in front of every exported class, function and variable. Everything else stays hidden.
/// SHAREDLIB_STATIC is defined for users of the static library, SHAREDLIB_BUILDING while the library itself is
/// compiled.
#if defined(SHAREDLIB_STATIC)
#define SHAREDLIB_API
#elif defined(_WIN32) && defined(SHAREDLIB_BUILDING)
#define SHAREDLIB_API __declspec(dllexport)
#elif defined(_WIN32)
#define SHAREDLIB_API __declspec(dllimport)
#else
#define SHAREDLIB_API __attribute__((visibility("default")))
#endif
