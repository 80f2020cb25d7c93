// sharedlib/util/text.cpp: case, trimming, pieces of file names, 8-bit and 16-bit strings.
#include "sharedlib/util/text.h"
#include <algorithm>

namespace {

constexpr char const* kBlanks = " \t";
constexpr char kCaseBit = 'a' - 'A';
constexpr unsigned short kByteUnits = 256;

} // namespace

void makeLower(char* text) {
    for (; *text != '\0'; ++text) {
        if (*text >= 'A' && *text <= 'Z') {
            *text = static_cast<char>(*text + kCaseBit);
        }
    }
}

void makeUpper(char* text) {
    for (; *text != '\0'; ++text) {
        if (*text >= 'a' && *text <= 'z') {
            *text = static_cast<char>(*text - kCaseBit);
        }
    }
}

std::string strLTrim(std::string const& text) {
    std::size_t const first = text.find_first_not_of(kBlanks);
    return first == std::string::npos ? text : text.substr(first);
}

std::string strRTrim(std::string const& text) {
    // npos + 1 is 0: nothing but blanks leaves nothing.
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

std::string strTrim(std::string const& text) {
    return strLTrim(strRTrim(text));
}

std::string removeExtension(std::string const& name) {
    return name.substr(0, name.rfind('.'));
}

std::string removePath(std::string const& name) {
    return name.substr(name.find_last_of("\\/") + 1);
}

void replaceExtension(std::string& name, std::string const& extension) {
    name = removeExtension(name).append(".").append(extension);
}

void string2wstring(std::basic_string<unsigned short>& out, std::string const& in) {
    out.resize(in.size());
    std::transform(in.begin(), in.end(), out.begin(), [](char c) { return static_cast<unsigned char>(c); });
}

void wstring2string(std::string& out, std::basic_string<unsigned short> const& in) {
    out.resize(in.size());
    std::transform(in.begin(), in.end(), out.begin(),
                   [](unsigned short unit) { return unit < kByteUnits ? static_cast<char>(unit) : ' '; });
}

namespace Kest::Orv {

bool isSet(char const* text) {
    return text != nullptr && *text != '\0';
}

} // namespace Kest::Orv
