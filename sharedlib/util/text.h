// sharedlib/util/text.h: case, trimming, pieces of file names, 8-bit and 16-bit strings.
#pragma once
#include "sharedlib/export.h"
#include <string>

/// Turns A to Z into a to z in the zero-terminated `text`; every other byte stays, in any locale. Any thread.
SHAREDLIB_API void makeLower(char* text);
/// Turns a to z into A to Z in the zero-terminated `text`; every other byte stays, in any locale. Any thread.
SHAREDLIB_API void makeUpper(char* text);

/// `text` without the blanks and tabs at its left; unchanged when it holds nothing else. Any thread.
SHAREDLIB_API std::string strLTrim(std::string const& text);
/// `text` without the blanks and tabs at its right; empty when it holds nothing else. Any thread.
SHAREDLIB_API std::string strRTrim(std::string const& text);
/// `text` without the blanks and tabs at both ends; empty when it holds nothing else. Any thread.
SHAREDLIB_API std::string strTrim(std::string const& text);

/// The text before the last '.', which may stand in a folder's name; all of it when there is none. Any thread.
SHAREDLIB_API std::string removeExtension(std::string const& name);
/// The text after the last slash or backslash, empty when that comes last; all of it when there is none. Any thread.
SHAREDLIB_API std::string removePath(std::string const& name);
/// Cuts `name` before its last '.', which may stand in a folder's name, if it has one, and appends '.' and `extension`,
/// which is given without a dot. Any thread.
SHAREDLIB_API void replaceExtension(std::string& name, std::string const& extension);

/// Sets `out` to one 16-bit unit for each byte of `in`, of the same value; no code page takes part. Any thread.
SHAREDLIB_API void string2wstring(std::basic_string<unsigned short>& out, std::string const& in);
/// Sets `out` to one byte for each unit of `in`, of the same value; units above 255 become blanks. Any thread.
SHAREDLIB_API void wstring2string(std::string& out, std::basic_string<unsigned short> const& in);

namespace Kest::Orv {

/// Whether `text` is neither null nor empty. Any thread.
SHAREDLIB_API bool isSet(char const* text);

} // namespace Kest::Orv
