// sharedlib/platform/posix/dialog.cpp: the modal error box, shown by whichever program of the desktop is there.
#include "sharedlib/platform/dialog.h"
#include "sharedlib/platform/program.h"
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <string_view>
#include <sys/wait.h>
#include <vector>

namespace platform {
namespace {

bool hasDisplay() {
    for (char const* name : {"DISPLAY", "WAYLAND_DISPLAY"}) {
        char const* const display = std::getenv(name);
        if (display != nullptr && display[0] != '\0') {
            return true;
        }
    }
    return false;
}

// How many bytes the UTF-8 sequence at the start of `text` has; 0 when there is none.
std::size_t sequenceLength(std::string_view text) {
    auto const byteAt = [&](std::size_t index) { return static_cast<unsigned char>(text[index]); };
    unsigned const first = byteAt(0);
    std::size_t const length = first < 0x80   ? 1
                               : first < 0xC2 ? 0
                               : first < 0xE0 ? 2
                               : first < 0xF0 ? 3
                               : first < 0xF5 ? 4
                                              : 0;
    if (length == 0 || length > text.size()) {
        return 0;
    }
    for (std::size_t index = 1; index < length; ++index) {
        if ((byteAt(index) & 0xC0U) != 0x80) {
            return 0;
        }
    }
    unsigned const second = length > 1 ? byteAt(1) : 0;
    bool const isOutside = (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
                           (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F);
    return isOutside ? 0 : length;
}

// The programs refuse a text that is not UTF-8.
std::string readable(std::string_view text) {
    std::string clean;
    while (!text.empty()) {
        std::size_t const length = sequenceLength(text);
        clean += length == 0 ? std::string_view("?") : text.substr(0, length);
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return clean;
}

// Two of the programs read backslashes as the beginning of an escape.
std::string escaped(std::string const& text) {
    std::string result;
    for (char const letter : text) {
        result.append(letter == '\\' ? 2 : 1, letter);
    }
    return result;
}

using CommandLine = std::vector<std::string>;

// The text is part of an argument that begins otherwise, so that it is never taken for an option.
std::array<CommandLine, 3> boxes(std::string const& caption, std::string const& text, DialogIcon icon) {
    bool const isWarning = icon == DialogIcon::warning;
    bool const isError = icon == DialogIcon::error;
    char const* const zenityIcon = isError ? "--error" : isWarning ? "--warning" : "--info";
    std::string const kdialogIcon = isError ? "--error=" : isWarning ? "--sorry=" : "--msgbox=";
    return {CommandLine{"zenity", zenityIcon, "--no-markup", "--title=" + caption, "--text=" + escaped(text)},
            CommandLine{"kdialog", "--title=" + caption, kdialogIcon + escaped(text)},
            CommandLine{"xmessage", "-center", "-title", caption, "-buttons", "OK:0", " " + text}};
}

// Whether the box was closed by its button. A host that collects its children itself may be first, which leaves no
// answer.
bool wasAnswered(pid_t child) {
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            return true;
        }
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Whether somebody has seen the box. False, too, when memory is exhausted.
bool showBox(char const* caption, char const* text, DialogIcon icon) {
    try {
        for (CommandLine const& command : boxes(readable(caption), readable(text), icon)) {
            std::intptr_t child = -1;
            if (startProgram(command, ProgramInput::nothing, child) == 0) {
                return wasAnswered(static_cast<pid_t>(child));
            }
        }
        return false;
    } catch (std::bad_alloc const&) {
        return false;
    }
}

} // namespace

void showErrorDialog(char const* caption, char const* text, DialogIcon icon) {
    // A box that nobody can have seen, for want of a display that answers, leaves the text on standard error as well.
    if (!hasDisplay() || !showBox(caption, text, icon)) {
        std::fprintf(stderr, "%s: %s\n", caption, text);
    }
}

} // namespace platform
