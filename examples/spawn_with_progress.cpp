// examples/spawn_with_progress.cpp: runs a program with its output in the log and a progress bar on the terminal.
//
//     spawn_with_progress PROGRAM [ARGUMENT...]
//
// PROGRAM is a full path. The log goes to standard output, the bar to standard error; the exit code is the program's.
#include "sharedlib/sharedlib.h"
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

namespace {

/// A bar; once the work turns out longer than that, something that turns.
class TerminalBar final : public CProgressWindow {
public:
    TerminalBar() { g_pWindow = this; }
    ~TerminalBar() { g_pWindow = nullptr; }
    TerminalBar(const TerminalBar&) = delete;
    TerminalBar& operator=(const TerminalBar&) = delete;

    void open() override {
        // The command line, which the log shows first, ends without one.
        print("\n");
        setPosition(0);
    }
    void update() override { draw(); }
    void setStatusText(const char* text) override {
        m_status = text;
        draw();
    }
    void setPosition(float position) override {
        m_filled = static_cast<std::size_t>(std::lround(std::clamp(position, 0.0F, 1.0F) * kWidth));
        draw();
    }
    void setOverrun(bool on) override { m_isOverrun = on; }
    bool isOverrun() override { return m_isOverrun; }
    void overrunUpdate() override {
        ++m_turns;
        draw();
    }
    void close() override { clear(); }

    /// Prints a piece of the log where the bar was. The bar returns behind the next whole line.
    void print(std::string_view text) {
        clear();
        std::fwrite(text.data(), 1, text.size(), stdout);
        std::fflush(stdout);
        m_isLineWhole = text.empty() ? m_isLineWhole : text.back() == '\n';
    }

private:
    static constexpr std::size_t kWidth = 40;

    void draw() {
        if (!m_isLineWhole) {
            return;
        }
        const std::size_t filled = m_isOverrun ? kWidth : m_filled;
        const char turning = m_isOverrun ? "|/-\\"[m_turns % 4] : ' ';
        const std::string bar = std::string(filled, '#') + std::string(kWidth - filled, '.');
        std::fprintf(stderr, "\r[%s] %c %s", bar.c_str(), turning, m_status.c_str());
        m_isShown = true;
    }
    void clear() {
        if (m_isShown) {
            std::fprintf(stderr, "\r%*s\r", static_cast<int>(kWidth + m_status.size() + 5), "");
            m_isShown = false;
        }
    }

    std::string m_status;
    std::size_t m_filled = 0;
    std::size_t m_turns = 0;
    bool m_isOverrun = false;
    bool m_isShown = false;
    bool m_isLineWhole = true;
};

TerminalBar s_bar;

/// The logger's database output, the one that takes the output of children without a file.
void printLogged(LogItemSeverityLevel, int, char const* text, int prefixLength, char const*) {
    s_bar.print(text + prefixLength);
}

/// One argument as a command line holds it, so that a program by the rules of the Windows C runtime gets it unchanged.
std::string quoted(std::string_view argument) {
    std::string text = "\"";
    std::size_t backslashes = 0;
    for (const char c : argument) {
        if (c == '"') {
            text.append(backslashes + 1, '\\');
        }
        backslashes = c == '\\' ? backslashes + 1 : 0;
        text += c;
    }
    return text.append(backslashes, '\\') + '"';
}

int run(int count, char** arguments) {
    std::string commandLine = '"' + std::string(arguments[1]) + '"';
    for (int i = 2; i < count; ++i) {
        commandLine += ' ' + quoted(arguments[i]);
    }
    const int code = spawnWithLoggedOutput(arguments[1], commandLine.data());
    std::printf("\n%s ended with %d\n", arguments[1], code);
    return code < 0 ? 1 : code;
}

} // namespace

int main(int count, char** arguments) {
    if (count < 2) {
        std::fputs("usage: spawn_with_progress PROGRAM [ARGUMENT...]\n", stderr);
        return 2;
    }
    InitGamePath(false, nullptr);
    int code = 1;
    {
        Logger logger("SpawnWithProgress", "logs");
        logger.setUseDialogs(false);
        logger.setLogLocationMask(LogLocation_DB);
        logger.setDBLogFunction(printLogged);
        theLogger = &logger;
        code = run(count, arguments);
        theLogger = nullptr;
    }
    cleanupSharedTools();
    return code;
}
