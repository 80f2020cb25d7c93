// sharedlib/util/source_control.h: files of the Perforce source control, through its command-line client.
#pragma once
#include "sharedlib/export.h"

/// Each function runs the client, p4.exe in the folder Perforce of C:\Program Files and, unless that gives 0, once more
/// of C:\Program Files (x86), with `spawnWithLoggedOutput`; what is said there of threads holds here. When neither
/// gives 0, one line at severity Error on channel Generic says so.
///
/// The client interprets `file`: its wildcards ("...", "*", "@", "#") and a double quote in it may name other files
/// than meant, and more, so do not pass names from outside. A name that has more than 2,045 characters is not run and
/// fails: cut, it would be another file's. Null counts as "".

/// Marks a file for adding.
SHAREDLIB_API void PerforceAddFile(char const* file);
/// Marks for adding what `file` says, which is put on the command line unchanged: the caller quotes. Has no limit of
/// its own; the command line is cut at 32,767 characters.
SHAREDLIB_API void PerforceAddFileNoQuotes(char const* file);
/// Opens a file for edit. Returns whether the client said that it worked.
SHAREDLIB_API bool PerforceCheckoutFile(char const* file);
/// Marks a file for deletion.
SHAREDLIB_API void PerforceDeleteFile(char const* file);
/// Takes back what was done to a file.
SHAREDLIB_API void PerforceRevertFile(char const* file);
