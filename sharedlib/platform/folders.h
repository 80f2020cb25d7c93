// sharedlib/platform/folders.h: the current user's well-known folders.
#pragma once
#include <string>

namespace platform {

/// The current user's documents folder as a system path, which exists; empty when there is none. On POSIX it is
/// XDG_DOCUMENTS_DIR of the user's user-dirs.dirs, else that variable of the environment, else Documents in the home
/// folder; the first of these that is named counts. Any thread.
std::string documentsFolder();

} // namespace platform
