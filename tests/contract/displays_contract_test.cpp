// tests/contract/displays_contract_test.cpp: what every implementation of platform/displays.h promises.
#include "sharedlib/platform/displays.h"
#include "sharedlib/util/desktop.h"
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

// A variable of the environment, set for a scope.
class Variable {
public:
    Variable(char const* name, std::string const& value) : m_name(name) {
        if (char const* const old = std::getenv(name); old != nullptr) {
            m_old = old;
        }
        setenv(name, value.c_str(), 1);
    }
    ~Variable() {
        if (m_old) {
            setenv(m_name, m_old->c_str(), 1);
        } else {
            unsetenv(m_name);
        }
    }
    Variable(Variable const&) = delete;
    Variable& operator=(Variable const&) = delete;

private:
    char const* m_name;
    std::optional<std::string> m_old;
};

// An X server of 640 by 480 pixels without a screen, on a free display.
class VirtualDisplay {
public:
    explicit VirtualDisplay(std::vector<std::string> const& options = {}) {
        std::array<int, 2> pipeEnds{};
        if (pipe(pipeEnds.data()) != 0) {
            return;
        }
        std::vector<std::string> words{"Xvfb",      "-displayfd", std::to_string(pipeEnds[1]),
                                       "-nolisten", "tcp",        "-noreset",
                                       "-screen",   "0",          "640x480x24"};
        words.insert(words.end(), options.begin(), options.end());
        m_process = start(words, pipeEnds[0]);
        close(pipeEnds[1]);
        // The server writes its number and a line feed when it is ready; without one, it did not start.
        char digit = '\0';
        while (read(pipeEnds[0], &digit, 1) == 1 && digit != '\n') {
            m_number += digit;
        }
        close(pipeEnds[0]);
    }
    ~VirtualDisplay() { stop(); }
    VirtualDisplay(VirtualDisplay const&) = delete;
    VirtualDisplay& operator=(VirtualDisplay const&) = delete;

    bool isRunning() const { return !m_number.empty(); }
    std::string number() const { return m_number; }
    std::string name() const { return ":" + m_number; }
    void signal(int number) const { kill(m_process, number); }
    void stop() {
        if (m_process > 0) {
            kill(m_process, SIGTERM);
            kill(m_process, SIGCONT);
            waitpid(m_process, nullptr, 0);
        }
        m_process = -1;
    }

private:
    static pid_t start(std::vector<std::string>& words, int unusedEnd) {
        std::vector<char*> arguments;
        for (std::string& word : words) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        pid_t const process = fork();
        if (process == 0) {
            close(unusedEnd);
            int const nothing = open("/dev/null", O_RDWR);
            dup2(nothing, STDERR_FILENO);
            execvp(arguments[0], arguments.data());
            _exit(127);
        }
        return process;
    }

    pid_t m_process = -1;
    std::string m_number;
};

bool isInstalled() {
    return std::system("command -v Xvfb >/dev/null") == 0;
}

bool overlaps(long left, long top, long right, long bottom) {
    return platform::rectangleOverlapsMonitor({left, top, right, bottom});
}

// An entry of the file that holds the user's cookies: address, display, method and cookie.
std::string entry(unsigned int family, std::vector<std::string> const& parts) {
    std::string result{static_cast<char>(family >> 8), static_cast<char>(family)};
    for (std::string const& part : parts) {
        result += {static_cast<char>(part.size() >> 8), static_cast<char>(part.size())};
        result += part;
    }
    return result;
}

TEST(DisplaysContract, WithoutADisplayNothingIsOnTheDesktop) {
    for (char const* name : {"", ":", ":x", "0", ":99999999999999999999", "elsewhere:0", ":0.", "unix:", ":65000.1"}) {
        Variable const display("DISPLAY", name);
        EXPECT_FALSE(overlaps(0, 0, 100, 100)) << name;
    }
    EXPECT_EQ(rectIsOnDesktop(nullptr), 0);
}

TEST(DisplaysContract, RectanglesOverlapByAtLeastAPixel) {
    if (!isInstalled()) {
        GTEST_SKIP() << "Xvfb is missing";
    }
    VirtualDisplay const server;
    ASSERT_TRUE(server.isRunning());
    Variable const authority("XAUTHORITY", "/nonexistent");
    for (std::string const& name : {server.name(), server.name() + ".0", "unix" + server.name()}) {
        Variable const display("DISPLAY", name);
        EXPECT_TRUE(overlaps(10, 10, 20, 20)) << name;
    }
    Variable const display("DISPLAY", server.name());
    EXPECT_TRUE(overlaps(-50, -50, 1, 1));
    EXPECT_FALSE(overlaps(-50, -50, 0, 0)) << "right and bottom lie outside the rectangle";
    EXPECT_FALSE(overlaps(-50, 0, 0, 10));
    EXPECT_TRUE(overlaps(639, 479, 700, 700));
    EXPECT_FALSE(overlaps(640, 0, 700, 100));
    EXPECT_FALSE(overlaps(0, 480, 100, 500));
    EXPECT_TRUE(overlaps(LONG_MIN, LONG_MIN, LONG_MAX, LONG_MAX));
    EXPECT_TRUE(overlaps(639, 479, 639, 479)) << "without area, it is a pixel";
    EXPECT_TRUE(overlaps(5, 5, -5, 20));
    EXPECT_FALSE(overlaps(640, 5, 600, 20));
    EXPECT_FALSE(overlaps(LONG_MAX, 0, LONG_MIN, 0));
    RECT rectangle{10, 10, 20, 20};
    EXPECT_EQ(rectIsOnDesktop(&rectangle), 1);
    Variable const secondScreen("DISPLAY", server.name() + ".1");
    EXPECT_FALSE(overlaps(10, 10, 20, 20)) << "a screen that is not there";
}

TEST(DisplaysContract, EachScreenHasItsOwnSize) {
    if (!isInstalled()) {
        GTEST_SKIP() << "Xvfb is missing";
    }
    // Without the extension that tells monitors apart, the whole screen is one.
    for (std::vector<std::string> const& options : {std::vector<std::string>{"-screen", "1", "100x50x24"},
                                                    {"-screen", "1", "100x50x24", "-extension", "RANDR"}}) {
        VirtualDisplay const server(options);
        ASSERT_TRUE(server.isRunning());
        Variable const display("DISPLAY", server.name() + ".1");
        EXPECT_TRUE(overlaps(99, 49, 200, 200));
        EXPECT_FALSE(overlaps(100, 0, 200, 200));
    }
}

TEST(DisplaysContract, AServerThatWantsACookieGetsTheUsersOwn) {
    if (!isInstalled()) {
        GTEST_SKIP() << "Xvfb is missing";
    }
    std::filesystem::path const file = std::filesystem::temp_directory_path() / ("cookie" + std::to_string(getpid()));
    std::string const method = "MIT-MAGIC-COOKIE-1";
    // Entries of another display and of another kind of address stand in front; 0xFFFF is any address.
    std::ofstream(file, std::ios::binary)
        << entry(0xFFFF, {"", "9999", method, "cookie of others"}) << entry(0, {"", "", method, "cookie of others"})
        << entry(0xFFFF, {"", "", "OTHER-METHOD", "secret"}) << entry(0xFFFF, {"", "", method, "0123456789abcdef"});
    VirtualDisplay server({"-auth", file.string()});
    ASSERT_TRUE(server.isRunning());
    Variable const display("DISPLAY", server.name());
    {
        Variable const authority("XAUTHORITY", file.string());
        EXPECT_TRUE(overlaps(10, 10, 20, 20));
        std::filesystem::resize_file(file, std::filesystem::file_size(file) - 1);
        EXPECT_FALSE(overlaps(10, 10, 20, 20)) << "a file cut short";
    }
    Variable const authority("XAUTHORITY", "/nonexistent");
    EXPECT_FALSE(overlaps(10, 10, 20, 20)) << "refused";
    std::filesystem::remove(file);
}

TEST(DisplaysContract, AServerThatStopsOrDiesIsNoDesktop) {
    if (!isInstalled()) {
        GTEST_SKIP() << "Xvfb is missing";
    }
    VirtualDisplay server;
    ASSERT_TRUE(server.isRunning());
    Variable const display("DISPLAY", server.name());
    EXPECT_TRUE(overlaps(10, 10, 20, 20));
    server.signal(SIGSTOP);
    auto const start = std::chrono::steady_clock::now();
    EXPECT_FALSE(overlaps(10, 10, 20, 20));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    server.stop();
    EXPECT_FALSE(overlaps(10, 10, 20, 20));
}

} // namespace
