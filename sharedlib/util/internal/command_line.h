// sharedlib/util/internal/command_line.h: a command line as the arguments that a program gets.
#pragma once
#include <string>
#include <string_view>
#include <vector>

/// Splits a command line as the Windows C runtime does for `main`. The first argument is the program's name: it ends at
/// a blank or tab outside quotes, quotes vanish, and backslashes are ordinary. In the others 2n backslashes before a
/// quote are n and the quote opens or closes, 2n + 1 are n and the quote is a character, other backslashes are
/// ordinary; two quotes inside quotes are one character. An empty line gives one empty argument.
std::vector<std::string> splitCommandLine(std::string_view line);
