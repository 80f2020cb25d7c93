// tests/util/child_process_test.cpp: real children, what they are given, and what is heard of them.
#include "sharedlib/log/progress.h"
#include "sharedlib/util/child_process.h"
#include "sharedlib/util/internal/command_line.h"
#include "tests/support/each.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_folder.h"
#include <chrono>
#include <cmath>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <numeric>
#include <optional>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr const char* kShell = "/bin/sh";

int spawn(const char* program, std::string line) {
    return spawnWithLoggedOutput(program, line.data());
}

/// Runs a script of the system's shell, which must hold no double quote.
int shell(const std::string& script) {
    return spawn(kShell, "sh -c \"" + script + '"');
}

/// All output of the one run that `log` saw: every line but the first.
std::string output(const LogCapture& log) {
    const Texts texts = log.texts(Log::Generic);
    return std::accumulate(texts.begin() + 1, texts.end(), std::string());
}

std::ptrdiff_t openDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
}

/// Sets a signal's disposition while it lives.
class Disposition {
public:
    Disposition(int signal, void (*handler)(int)) : m_signal(signal), m_before(std::signal(signal, handler)) {}
    ~Disposition() { std::signal(m_signal, m_before); }
    Disposition(const Disposition&) = delete;
    Disposition& operator=(const Disposition&) = delete;

private:
    int m_signal;
    void (*m_before)(int);
};

/// Lowers the limit of open files while it lives.
class DescriptorLimit {
public:
    explicit DescriptorLimit(rlim_t limit) {
        getrlimit(RLIMIT_NOFILE, &m_before);
        const rlimit lowered{limit, m_before.rlim_max};
        setrlimit(RLIMIT_NOFILE, &lowered);
    }
    ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &m_before); }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;

private:
    rlimit m_before{};
};

/// Counts what it is told; may break the system's wait from its opening on.
class Window final : public CProgressWindow {
public:
    explicit Window(bool breaksWaiting = false) : m_breaksWaiting(breaksWaiting) { g_pWindow = this; }
    ~Window() { g_pWindow = nullptr; }
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    void open() override {
        ++opened;
        if (m_breaksWaiting) {
            m_limit.emplace(1);
        }
    }
    void update() override {}
    void setStatusText(const char*) override {}
    void setPosition(float position) override { positions.push_back(std::lround(position * 10)); }
    void setOverrun(bool) override {}
    bool isOverrun() override { return false; }
    void overrunUpdate() override {}
    void close() override {
        m_limit.reset();
        ++closed;
    }

    int opened = 0;
    int closed = 0;
    std::vector<long> positions;

private:
    bool m_breaksWaiting;
    std::optional<DescriptorLimit> m_limit;
};

void reapEverything(int) {
    while (waitpid(-1, nullptr, WNOHANG) > 0) {
    }
}

} // namespace

TEST(CommandLine, SplitsAsTheWindowsRuntimeDoes) {
    const std::pair<const char*, Texts> cases[] = {
        {"", {""}},
        {" a", {"", "a"}},
        {"p4 edit x ", {"p4", "edit", "x"}},
        {"p  \t a\tb\n ", {"p", "a", "b\n"}},
        {R"("C:\Program Files\"p4\"\ x" a)", {R"(C:\Program Files\p4\\ x)", "a"}},
        {R"(a\" "b c)", {R"(a\ b)", "c"}},
        {R"("p)", {"p"}},
        {R"(p "a b" c"d e"f)", {"p", "a b", "cd ef"}},
        {R"(p a\b a\\b \ "a\\" "a\"b" a\\\"b a\\\\"b c" d)",
         {"p", R"(a\b)", R"(a\\b)", "\\", R"(a\)", R"(a"b)", R"(a\"b)", R"(a\\b c)", "d"}},
        {R"(p "" "a""b c" d"" """ e" "f"" g" x)", {"p", "", R"(a"b c)", "d", R"(" e)", R"(f" g)", "x"}},
        {R"(p "a b\\)", {"p", R"(a b\\)"}},
        {R"(p $(touch x);a.txt '*' `b` %C%)", {"p", "$(touch", "x);a.txt", "'*'", "`b`", "%C%"}}};
    for (const auto& [line, arguments] : cases) {
        EXPECT_EQ(arguments, splitCommandLine(line)) << line;
    }
}

TEST(ChildProcess, GetsItsArgumentsByteForByteAndGivesItsExitCode) {
    LogCapture log;
    const std::string show = R"(tr '\0' '|' </proc/$$/cmdline; exit 7)";
    const std::string quoted = '"' + show + '"';
    EXPECT_EQ(7, spawnWithLoggedOutputV(kShell, "name", "-c", quoted.c_str(), "\"\xFF %n%s\"", "\"\"", nullptr));
    EXPECT_EQ("name|-c|" + show + "|\xFF %n%s||", output(log));
    EXPECT_EQ((LogLineSeen{LogSev_Info, Log::Generic, "name -c " + quoted + " \"\xFF %n%s\" \"\" "}), log.lines()[0]);

    log.clear();
    EXPECT_EQ(0, spawnWithLoggedOutputV("/bin/echo", "p4", "edit", "x", nullptr));
    EXPECT_EQ((Texts{"p4 edit x ", "edit x\n"}), log.texts(Log::Generic));
    log.clear();
    EXPECT_EQ(0, spawnWithLoggedOutputV("/bin/true", nullptr));
    EXPECT_EQ(0, spawnWithLoggedOutput("/bin/true", nullptr));
    EXPECT_EQ((Texts{"", ""}), log.texts(Log::Generic));
}

TEST(ChildProcess, ALineIsCutBehind32767Characters) {
    LogCapture log;
    const std::string longWord(40000, 'a');
    EXPECT_EQ(0, spawnWithLoggedOutputV("/bin/sh", "sh", "-c", "\"echo ${#1}\"", "sh", longWord.c_str(), "b", nullptr));
    EXPECT_EQ(std::to_string(32767 - std::string("sh -c \"echo ${#1}\" sh ").size()) + '\n', output(log));
    log.clear();
    const std::string fits(32766 - 5, 'a');
    EXPECT_EQ(0, spawnWithLoggedOutputV("/bin/echo", "echo", fits.c_str(), "b", nullptr));
    EXPECT_EQ(fits + '\n', output(log));
}

TEST(ChildProcess, WhatCannotBeStartedIsMinusOneAndOneLine) {
    const TempFolder folder;
    LogCapture log;
    folder.write("text", "echo no shell runs this\n");
    std::filesystem::permissions(folder.native("text"), std::filesystem::perms::owner_all);
    const std::ptrdiff_t before = openDescriptors();
    const std::pair<std::string, int> cases[] = {{folder.library("nothing.exe"), ENOENT},
                                                 {folder.library("text"), ENOEXEC},
                                                 {folder.library(), EACCES},
                                                 {"", ENOENT}};
    for (const auto& [program, error] : cases) {
        log.clear();
        EXPECT_EQ(-1, spawn(program.c_str(), "p4 \"a %s\" "));
        EXPECT_EQ(error, errno) << program;
        EXPECT_EQ((std::vector<LogLineSeen>{{LogSev_Info, Log::Generic, "p4 \"a %s\" "},
                                            {LogSev_Error, Log::Generic,
                                             "spawnWithLoggedOutput: Failed to execute \"" + program +
                                                 "\" with command line \"p4 \"a %s\" \"."}}),
                  log.lines());
    }
    EXPECT_EQ(-1, spawnWithLoggedOutput(nullptr, nullptr));
    EXPECT_EQ(before, openDescriptors());
    log.clear();
    {
        const DescriptorLimit none(0);
        EXPECT_EQ(-1, spawn("/bin/true", "true"));
    }
    EXPECT_EQ((LogLineSeen{LogSev_Error, Log::Generic, "spawnWithLoggedOutput: Too many open files\n"}),
              log.lines().back());
    EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG));
}

TEST(ChildProcess, OutputComesInPiecesOfAtMost1000BytesWithItsLineBreaksAndUpToAZeroByte) {
    const TempFolder folder;
    LogCapture log;
    const std::string text = std::string(999, 'a') + "\n\n" + std::string(1499, 'b');
    folder.write("text", text);
    EXPECT_EQ(0, spawn("/bin/cat", "cat " + folder.native("text")));
    EXPECT_EQ((Texts{"cat " + folder.native("text"), text.substr(0, 1000), text.substr(1000, 1000), text.substr(2000)}),
              log.texts(Log::Generic));

    log.clear();
    EXPECT_EQ(3, shell(R"(printf 'out\0hidden'; sleep 0.5; printf err >&2; exit 3)"));
    EXPECT_EQ("outerr", output(log));
    log.clear();
    EXPECT_EQ(0, shell("head -c 1048576 /dev/zero | tr '\\0' x"));
    EXPECT_EQ(std::string(1048576, 'x'), output(log));
    for (const std::string& line : log.texts(Log::Generic)) {
        EXPECT_GE(1000U, line.size());
    }
}

TEST(ChildProcess, WaitsForTheProcessAndNotForTheEndOfThePipe) {
    LogCapture log;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(5, shell("sleep 60 & echo $!; exit 5"));
    EXPECT_GT(std::chrono::seconds(30), std::chrono::steady_clock::now() - start);
    kill(std::stoi(output(log)), SIGKILL);
    // One that never stops writing.
    log.clear();
    EXPECT_EQ(6, shell("yes & echo $! >&2; sleep 0.2; kill $!; exit 6"));
}

TEST(ChildProcess, ASignalIs128AndItsNumber) {
    EXPECT_EQ(128 + SIGKILL, shell("kill -KILL $$"));
    EXPECT_EQ(128 + SIGTERM, shell("kill -TERM $$"));
    EXPECT_EQ(255, shell("exit 255"));
}

TEST(ChildProcess, InheritsStandardInputAndNothingElse) {
    LogCapture log;
    const TempFolder folder;
    folder.write("input", "from the parent");
    const int input = open(folder.native("input").c_str(), O_RDONLY | O_CLOEXEC);
    const int before = dup(STDIN_FILENO);
    dup2(input, STDIN_FILENO);
    // Neither close to the pipe's numbers nor closed on exec.
    const int foreign = fcntl(input, F_DUPFD, 500);
    EXPECT_EQ(0, shell("cat; ls /proc/$$/fd; true"));
    EXPECT_EQ("from the parent0\n1\n2\n", output(log));
    // A process that has closed its standard streams: their numbers are the pipe's first.
    const int screen[] = {dup(1), dup(2)};
    close(0), close(1), close(2);
    log.clear();
    const int code = shell("ls /proc/$$/fd; echo error >&2");
    dup2(before, 0), dup2(screen[0], 1), dup2(screen[1], 2);
    EXPECT_EQ(0, code);
    EXPECT_EQ("1\n2\nerror\n", output(log));
    for (const int number : {input, before, foreign, screen[0], screen[1]}) {
        close(number);
    }
}

TEST(ChildProcess, StartsWithDefaultSignalsAndNoneBlockedAndLeavesOursAlone) {
    LogCapture log;
    const Disposition ignored(SIGPIPE, SIG_IGN);
    const Disposition handled(SIGUSR2, reapEverything);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGUSR1);
    sigset_t before;
    pthread_sigmask(SIG_BLOCK, &set, &before);
    EXPECT_EQ(0, spawn("/bin/grep", "grep -E Sig(Blk|Ign) /proc/self/status"));
    EXPECT_EQ("SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n", output(log));
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, &before, &after);
    EXPECT_TRUE(sigismember(&after, SIGUSR1) == 1 && sigismember(&after, SIGUSR2) == 0);
    struct sigaction action {};
    sigaction(SIGUSR2, nullptr, &action);
    EXPECT_EQ(&reapEverything, action.sa_handler);
}

TEST(ChildProcess, HostsThatTakeTheExitCodeDoNotHangIt) {
    for (void (*handler)(int) : {SIG_IGN, static_cast<void (*)(int)>(reapEverything)}) {
        LogCapture log;
        const Disposition disposition(SIGCHLD, handler);
        for (int i = 0; i < 20; ++i) {
            const int code = shell("echo done; exit 3");
            // Only a system that remembers more than it must can still tell.
            const bool said =
                code == -1 && log.count(LogSev_Error, Log::Generic, "spawnWithLoggedOutput: No child processes\n") > 0;
            EXPECT_TRUE(code == 3 || said) << code;
        }
        EXPECT_EQ(20, log.count(LogSev_Info, Log::Generic, "done\n"));
    }
}

TEST(ChildProcess, LeavesNoDescriptorAndNoZombie) {
    const std::ptrdiff_t before = openDescriptors();
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(i % 2 == 0 ? 0 : -1, spawn(i % 2 == 0 ? "/bin/true" : "/bin/nothing", "x"));
    }
    EXPECT_EQ(before, openDescriptors());
    EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG));
    EXPECT_EQ(ECHILD, errno);
}

TEST(ChildProcess, ProgressTakesAStepPerWait) {
    Window window;
    EXPECT_EQ(0, spawn("/bin/sleep", "sleep 0.5"));
    EXPECT_EQ(1, window.opened);
    EXPECT_EQ(1, window.closed);
    ASSERT_LE(3U, window.positions.size());
    EXPECT_GE(30U, window.positions.size());
    EXPECT_EQ((std::vector<long>{0, 0, 1}), std::vector<long>(window.positions.begin(), window.positions.begin() + 3));
    EXPECT_EQ(-1, spawn("/bin/nothing", ""));
    EXPECT_EQ(1, window.opened);
}

TEST(ChildProcess, AWaitThatFailsNamesNoHandleAndLeavesTheChildRunning) {
    LogCapture log;
    Window window(true);
    EXPECT_EQ(259, spawn("/bin/sleep", "sleep 0.1"));
    EXPECT_EQ((LogLineSeen{LogSev_Error, Log::Generic, "spawnWithLoggedOutput: Mutex 0x0 was abandoned."}),
              log.lines().back());
    EXPECT_LT(0, waitpid(-1, nullptr, 0));
}
