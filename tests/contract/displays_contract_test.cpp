// tests/contract/displays_contract_test.cpp: what every implementation of platform/displays.h promises.
#include "sharedlib/platform/displays.h"
#include "sharedlib/util/desktop.h"
#include "tests/support/environment.h"
#include "tests/support/temp_folder.h"
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdio>
#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <string_view>

namespace {

// An X server with two screens of 640 by 480 and 100 by 50 pixels, which nobody sees, on a free display.
class VirtualDisplay {
public:
    explicit VirtualDisplay(const std::string& options = "") {
        const std::string command = "exec 2>/dev/null; echo $$; exec Xvfb -displayfd 1 -nolisten tcp -noreset ";
        m_output = popen((command + "-screen 0 640x480x24 -screen 1 100x50x24 " + options).c_str(), "r");
        // The server writes the number of its display when it is ready; without one, it did not start.
        EXPECT_EQ(std::fscanf(m_output, "%d %d", &m_process, &m_number), 2);
    }
    ~VirtualDisplay() { stop(); }
    VirtualDisplay(const VirtualDisplay&) = delete;
    VirtualDisplay& operator=(const VirtualDisplay&) = delete;

    std::string name() const { return ":" + std::to_string(m_number); }
    bool signal(int number) const { return m_process > 0 && kill(m_process, number) == 0; }
    void stop() {
        if (signal(SIGTERM) && signal(SIGCONT)) {
            pclose(m_output);
        }
        m_process = 0;
    }

private:
    std::FILE* m_output = nullptr;
    int m_process = 0;
    int m_number = -1;
};

class DisplaysContract : public testing::Test {
protected:
    void SetUp() override {
        if (std::system("command -v Xvfb >/dev/null") != 0) {
            GTEST_SKIP() << "Xvfb is missing";
        }
    }
    const Environment m_noCookies{{{"XAUTHORITY", "/nonexistent"}}};
};

bool overlaps(const std::string& display, const RECT& rectangle) {
    const Environment environment{{{"DISPLAY", display}}};
    return platform::rectangleOverlapsMonitor(rectangle);
}

constexpr RECT kVisible{10, 10, 20, 20};

// An entry of the file that holds the user's cookies: address, display, method and cookie.
std::string entry(std::string family, std::initializer_list<std::string_view> parts) {
    for (const std::string_view part : parts) {
        family += {'\0', static_cast<char>(part.size())};
        family += part;
    }
    return family;
}

TEST(DisplaysWithoutServer, WithoutADisplayNothingIsOnTheDesktop) {
    for (const char* name : {"", ":", ":x", "0", ":99999999999999999999", "elsewhere:0", ":0.", "unix:", ":65000.1"}) {
        EXPECT_FALSE(overlaps(name, kVisible)) << name;
    }
    EXPECT_EQ(rectIsOnDesktop(nullptr), 0);
}

TEST_F(DisplaysContract, RectanglesOverlapAScreenByAtLeastAPixel) {
    // Right and bottom lie outside a rectangle; one without area is a pixel.
    const RECT visible[] = {{10, 10, 20, 20},     {-50, -50, 1, 1}, {639, 479, 700, 700},
                            {639, 479, 639, 479}, {5, 5, -5, 20},   {LONG_MIN, LONG_MIN, LONG_MAX, LONG_MAX}};
    const RECT outside[] = {{-50, -50, 0, 0},   {-50, 0, 0, 10},   {640, 0, 700, 100},
                            {0, 480, 100, 500}, {640, 5, 600, 20}, {LONG_MAX, 0, LONG_MIN, 0}};
    // Without the extension that tells monitors apart, the whole screen is one.
    for (const char* options : {"", "-extension RANDR"}) {
        const VirtualDisplay server(options);
        for (const RECT& rectangle : visible) {
            EXPECT_TRUE(overlaps(server.name(), rectangle)) << options << testing::PrintToString(rectangle);
        }
        for (const RECT& rectangle : outside) {
            EXPECT_FALSE(overlaps(server.name(), rectangle)) << options << testing::PrintToString(rectangle);
        }
        EXPECT_TRUE(overlaps(server.name() + ".1", {99, 49, 200, 200}));
        EXPECT_FALSE(overlaps(server.name() + ".1", {100, 0, 200, 200}));
        EXPECT_FALSE(overlaps(server.name() + ".2", kVisible)) << "a screen that is not there";
        const Environment environment{{{"DISPLAY", "unix" + server.name() + ".0"}}};
        RECT rectangle = kVisible;
        EXPECT_EQ(rectIsOnDesktop(&rectangle), 1);
    }
}

TEST_F(DisplaysContract, AServerThatWantsACookieGetsTheUsersOwn) {
    const std::string any = "\xFF\xFF";
    const std::string local(2, '\0');
    constexpr std::string_view kMethod = "MIT-MAGIC-COOKIE-1";
    // Entries of another display and of another kind of address stand in front.
    const std::string cookies =
        entry(any, {"", "9999", kMethod, "cookie of others"}) + entry(local, {"", "", kMethod, "cookie of others"}) +
        entry(any, {"", "", "OTHER-METHOD", "secret"}) + entry(any, {"", "", kMethod, "0123456789abcdef"});
    const TempFolder folder;
    folder.write("cookies", cookies);
    const VirtualDisplay server("-auth " + folder.native("cookies"));
    EXPECT_FALSE(overlaps(server.name(), kVisible)) << "refused";
    const Environment environment{{{"XAUTHORITY", folder.native("cookies")}}};
    EXPECT_TRUE(overlaps(server.name(), kVisible));
    folder.write("cookies", cookies.substr(0, cookies.size() - 1));
    EXPECT_FALSE(overlaps(server.name(), kVisible)) << "a file cut short";
}

TEST_F(DisplaysContract, AServerThatStopsOrDiesIsNoDesktop) {
    VirtualDisplay server;
    EXPECT_TRUE(overlaps(server.name(), kVisible));
    EXPECT_TRUE(server.signal(SIGSTOP));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(overlaps(server.name(), kVisible));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    server.stop();
    EXPECT_FALSE(overlaps(server.name(), kVisible));
}

} // namespace
