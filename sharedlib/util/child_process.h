// sharedlib/util/child_process.h: runs another program and logs what it writes.
#pragma once
#include "sharedlib/export.h"

/// Runs `program`, the full path of an executable as a path of the library or, on Linux, also of the system, and waits
/// for it to end. `commandLine` is the whole command line with the program's name first; no shell reads it. On Linux
/// the argument vector is made of it by the rules of the Windows C runtime: blanks and tabs separate, double quotes
/// hold together, backslashes count only before a quote. An empty or null line counts as the program's path.
///
/// The child has its parent's standard input, environment and working directory, and no other open file. What it writes
/// to standard output and standard error is logged as it arrives, at severity Info on channel Generic, in pieces of up
/// to 1,000 bytes that do not end with lines; a zero byte ends a piece's text early. The wait is for the child alone:
/// processes that it leaves behind may keep its output, and what they write later is lost.
///
/// Returns the child's exit code, on Linux 128 + n when signal n ended it; -1, after a line at severity Error, when
/// pipe or process could not be created, and when the host took the exit code first (it ignores SIGCHLD, or waits for
/// any child) on a Linux before 6.15. Opens a progress scope: while a window is installed only for the thread that
/// drives it, else for any. An exception that a host's log callback or progress window throws passes through, and the
/// child goes on alone.
SHAREDLIB_API int spawnWithLoggedOutput(char const* program, char* commandLine);

/// The same with the command line given as words, ended by a null pointer (`nullptr`, not 0). Words are not quoted; a
/// blank follows each of them, also the last. What is longer than 32,767 characters is cut.
SHAREDLIB_API int spawnWithLoggedOutputV(char const* program, char const* word, ...);
