// tests/util/service_manager_test.cpp: the service entry, and a process that is a service, with systemd's side played
// by the test.
#include "sharedlib/platform/service.h"
#include "sharedlib/platform/service_entry.h"
#include "sharedlib/util/service_manager.h"
#include "tests/support/each.h"
#include "tests/support/environment.h"
#include "tests/support/temp_folder.h"
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using Kest::Orv::ServiceManager;

constexpr const char* kUsage = "\nService Manager Options:\n\n"
                               " -remove    Remove this program's service entry\n\n"
                               " -install   Install this program as a service\n"
                               "    -username <name>      The account that this service will run as\n"
                               "       If no username is specified, the service will run as LocalSystem\n"
                               "    -password <password>  The password for the given account\n\n"
                               "If no options are specified, the program will run normally\n";

/// A system with a folder for units, a tool of systemd's that writes down its orders, and a desktop that writes down
/// its boxes.
class ServiceEntries : public testing::Test {
protected:
    ServiceEntries() {
        m_folder.makeFolder("units");
        setExitCode(0);
        program("zenity", "echo \"$1 $3 $4\" >> " + m_folder.native("boxes") + "\n");
    }

    void program(const std::string& name, const std::string& script) const {
        m_folder.write("bin/" + name, "#!/bin/sh\n" + script);
        std::filesystem::permissions(m_folder.native("bin/" + name), std::filesystem::perms::owner_all);
    }
    // Fails for the orders that the shell's pattern `which` fits.
    void setExitCode(int code, const std::string& which = "*") const {
        program("systemctl", "echo \"$#$*\" >> " + m_folder.native("orders") + "\ncase \"$*\" in " + which + ") exit " +
                                 std::to_string(code) + ";; esac\n");
    }

    int maintain(Texts options, const char* service = "arena") const {
        m_folder.write("boxes");
        m_folder.write("orders");
        options.insert(options.begin(), "program");
        std::vector<char*> arguments;
        for (std::string& option : options) {
            arguments.push_back(option.data());
        }
        return ServiceManager::serviceMaintenance(static_cast<int>(arguments.size()), arguments.data(), service,
                                                  "The 100% Arena");
    }
    [[nodiscard]] std::string boxes() const { return m_folder.read("boxes"); }
    [[nodiscard]] std::string orders() const { return m_folder.read("orders"); }
    [[nodiscard]] Texts units() const { return m_folder.names("units"); }

    static std::string unit(const std::string& userLine) {
        return "[Unit]\nDescription=The 100%% Arena\nAfter=network.target\nStartLimitIntervalSec=0\n"
               "\n[Service]\nType=notify\nExecStart=\"" +
               std::filesystem::read_symlink("/proc/self/exe").string() + "\"\n" + userLine +
               "Restart=on-failure\nRestartSec=10\n\n[Install]\nWantedBy=multi-user.target\n";
    }

    TempFolder m_folder;
    Environment m_environment{{{"PATH", m_folder.native("bin")},
                               {"DISPLAY", ":7"},
                               {"SYSTEMD_UNIT_PATH", m_folder.native("units") + ":/nowhere"}}};
    const std::string m_user = ::getpwuid(::geteuid())->pw_name;
};

/// A service whose main function is `body`, in a process of its own; what it tells systemd is heard here.
class ServiceRun {
public:
    using Body = std::function<void()>;

    ServiceRun(Body body, const Environment::Variables& more = {}, bool isAbstract = false) {
        const std::string path = m_folder.native("notify");
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path + (isAbstract ? 1 : 0), path.c_str());
        const std::size_t size = offsetof(sockaddr_un, sun_path) + path.size() + 1;
        m_socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(0, ::bind(m_socket, reinterpret_cast<sockaddr*>(&address), static_cast<socklen_t>(size)));
        const timeval limit{20, 0};
        ::setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        s_body = std::move(body);
        m_process = ::fork();
        if (m_process == 0) {
            const Environment own({{"NOTIFY_SOCKET", (isAbstract ? "@" : "") + path}});
            const Environment given(more);
            std::exit(serve());
        }
    }
    ~ServiceRun() {
        if (m_process > 0) {
            ::kill(m_process, SIGKILL);
            ::waitpid(m_process, nullptr, 0);
        }
        ::close(m_socket);
    }
    ServiceRun(const ServiceRun&) = delete;
    ServiceRun& operator=(const ServiceRun&) = delete;

    [[nodiscard]] std::string hear() const {
        char text[200];
        const ssize_t size = ::recv(m_socket, text, sizeof text, 0);
        return size < 0 ? std::strerror(errno) : std::string(text, static_cast<std::size_t>(size));
    }
    void signal(int number) const { ::kill(m_process, number); }
    int exitCode() {
        int status = 0;
        ::waitpid(m_process, &status, 0);
        m_process = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

private:
    static int serve() {
        const auto serviceMain = [](unsigned long count, char** arguments) {
            if (count == 1 && std::string("arena") == arguments[0] && arguments[1] == nullptr) {
                s_body();
            }
        };
        // A host thread that was there before must not be what SIGTERM ends.
        std::thread([] { ::pause(); }).detach();
        const int result = ServiceManager::configureService(serviceMain, "arena");
        return result == 0 && ServiceManager::isUsingService() && !ServiceManager::isServiceRunning() ? 0 : 99;
    }

    static inline Body s_body;
    TempFolder m_folder;
    int m_socket = -1;
    pid_t m_process = 0;
};

void waitUntilStopped() {
    while (ServiceManager::isServiceRunning()) {
        std::this_thread::sleep_for(1ms);
    }
}

void serveUntilStopped(int exitCode) {
    if (ServiceManager::initService()) {
        waitUntilStopped();
    }
    ServiceManager::endService(exitCode);
}

constexpr const char* kReady = "READY=1\nSTATUS=Running";
constexpr const char* kStopped = "STOPPING=1\nSTATUS=Stopped with exit code 0";

} // namespace

TEST_F(ServiceEntries, OptionsDecideWhatIsDoneAndWhichBoxIsShown) {
    const std::string conflict =
        "--info --title=Error --text=-install and -remove were both specified.  Please specify only one.\n";
    const std::string noUser = "--info --title=Error --text=No username was specified\n";
    const std::string noPassword = "--info --title=Error --text=No password was specified\n";
    const std::string enable = "3--quiet enable arena.service\n";
    const std::string user = "User=" + m_user + '\n';
    struct {
        Texts options;
        int result;
        std::string printed, boxes, orders;
        std::optional<std::string> userLine;
    } const cases[] = {
        {{}, 0, "", "", "", {}},
        {{"install", "-installed", "--remove", ""}, 0, "", "", "", {}},
        {{"-INSTALL", "-remove", "-?", "-username"}, 2, kUsage, "", "", {}},
        {{"-remove", "x", "-Install"}, 2, "", conflict, "", {}},
        {{"-install", "-username"}, 1, "", noUser, enable, ""},
        {{"-iNstall", "-password", "-remove", "-password"}, 1, "", noPassword, enable, ""},
        {{"-password", "-?", "-username", "nobody else", "-USERNAME", m_user, "-install"}, 1, "", "", enable, user},
        {{"-username"}, 0, "", noUser, "", {}},
    };
    for (const auto& [options, result, printed, boxesShown, ordersGiven, userLine] : cases) {
        std::filesystem::remove(m_folder.native("units/arena.service"));
        const std::string name = testing::PrintToString(options);
        testing::internal::CaptureStdout();
        EXPECT_EQ(result, maintain(options)) << name;
        std::fflush(stdout);
        EXPECT_EQ(printed, testing::internal::GetCapturedStdout()) << name;
        EXPECT_EQ(boxesShown, boxes()) << name;
        EXPECT_EQ(ordersGiven, orders()) << name;
        ASSERT_EQ(userLine.has_value(), !units().empty()) << name;
        if (userLine) {
            EXPECT_EQ(unit(*userLine), m_folder.read("units/arena.service")) << name;
        }
    }
}

TEST_F(ServiceEntries, AnOldEntryKeepsItsAccountUnlessAnotherIsGiven) {
    m_folder.write("units/arena.service", "[Service]\nExecStart=/old\nUser=somebody\nRestart=no\n");
    EXPECT_EQ(1, maintain({"-install"}));
    EXPECT_EQ(unit("User=somebody\n"), m_folder.read("units/arena.service"));
    EXPECT_EQ(1, maintain({"-install", "-username", m_user}));
    EXPECT_EQ(unit("User=" + m_user + '\n'), m_folder.read("units/arena.service"));
    EXPECT_EQ(0644, static_cast<int>(std::filesystem::status(m_folder.native("units/arena.service")).permissions()));
    EXPECT_EQ(1, maintain({"-remove"}));
    EXPECT_EQ("3--quiet disable arena.service\n2--quiet daemon-reload\n", orders());
    EXPECT_EQ(Texts{}, units());
}

TEST_F(ServiceEntries, AnyNameMakesAUnitOfItsOwn) {
    const std::pair<std::string, std::string> cases[] = {{"arena-2_x:y.z", "arena-2_x:y.z.service"},
                                                         {"../a b@%", R"(\x2e.\x2fa\x20b\x40\x25.service)"},
                                                         {"--root=/", R"(\x2d-root\x3d\x2f.service)"},
                                                         {"\xC3\xA9\\", R"(\xc3\xa9\x5c.service)"}};
    for (const auto& [service, file] : cases) {
        EXPECT_EQ(1, maintain({"-install"}, service.c_str()));
        EXPECT_EQ(Texts{file}, units());
        EXPECT_EQ(1, maintain({"-remove"}, service.c_str()));
    }
    // Blanks, percent and dollar signs in a path are quoted; what systemd starts nowhere is refused.
    EXPECT_EQ(0, platform::installService({"x", "a\nUser=b\\", "/a b/100%/$c", nullptr, nullptr}).error);
    const std::string text = m_folder.read("units/x.service");
    EXPECT_TRUE(text.starts_with("[Unit]\nDescription=a User=b\\ \nAfter")) << text;
    EXPECT_NE(std::string::npos, text.find("\nExecStart=\"/a b/100%%/$c\"\n")) << text;
    EXPECT_EQ(1, maintain({"-remove"}, "x"));
    for (const char* path : {"/a\"b", "/a'b", "/a\\b", "/a\nb"}) {
        EXPECT_EQ(EINVAL, platform::installService({"x", "x", path, nullptr, nullptr}).error) << path;
    }
    EXPECT_EQ(ENAMETOOLONG, maintain({"-install"}, std::string(248, 'a').c_str()));
    EXPECT_EQ(EINVAL, maintain({"-install"}, ""));
    EXPECT_EQ(Texts{}, units());
}

TEST_F(ServiceEntries, FailuresShowTheirBoxGiveTheirCodeAndLeaveTheOldEntry) {
    const std::string error = "--error --title=Error --text=";
    const std::string noUser = error + "LookupAccountName failed with 6: No such device or address\n\n";
    EXPECT_EQ(ENXIO, maintain({"-install", "-username", "nobody of that name"}));
    EXPECT_EQ(noUser, boxes());
    EXPECT_EQ(ENXIO, maintain({"-remove"}));
    EXPECT_EQ(error + "OpenService failed with error 6: No such device or address\n\n", boxes());
    EXPECT_EQ("", orders());

    for (const auto& [code, result, text] :
         {std::tuple{1, EIO, "5: Input/output error"}, std::tuple{4, EACCES, "13: Permission denied"}}) {
        setExitCode(code);
        EXPECT_EQ(result, maintain({"-install"}));
        EXPECT_EQ(error + "CreateService failed with error " + text + "\n\n", boxes());
        EXPECT_EQ(Texts{}, units());
        m_folder.write("units/arena.service", "old");
        EXPECT_EQ(result, maintain({"-install"}));
        EXPECT_EQ(error + "ConfigureService failed with error " + text + "\n\n", boxes());
        EXPECT_EQ(result, maintain({"-remove"}));
        EXPECT_EQ(std::string("--warning --title=Warning --text=DeleteService failed with error ") + text + "\n\n",
                  boxes());
        EXPECT_EQ("old", m_folder.read("units/arena.service"));
        std::filesystem::remove(m_folder.native("units/arena.service"));
    }
    // Where no systemd runs, nobody has to read the units again.
    setExitCode(1, "*reload");
    EXPECT_EQ(1, maintain({"-install"}));
    EXPECT_EQ(1, maintain({"-remove"}));
    EXPECT_EQ("", boxes());

    const Environment nowhere({{"SYSTEMD_UNIT_PATH", m_folder.native("none")}});
    for (const auto& [option, verb] : {std::pair{"-install", "create"}, std::pair{"-remove", "delete"}}) {
        EXPECT_EQ(ENXIO, maintain({option}));
        EXPECT_EQ(error + "Failed to open the Service Control Manager with sufficient rights to " + verb +
                      " a service.\n",
                  boxes());
    }
}

TEST(Service, ReportsReadyAndStopsOnTheSystemsOrderWithTheExitCodeOfItsEnd) {
    for (const bool isAbstract : {false, true}) {
        ServiceRun service([] { serveUntilStopped(3); }, {}, isAbstract);
        EXPECT_EQ(kReady, service.hear());
        service.signal(SIGTERM);
        EXPECT_EQ(kStopped, service.hear());
        EXPECT_EQ("STOPPING=1\nSTATUS=Stopped with exit code 3", service.hear());
        EXPECT_EQ(3, service.exitCode());
    }
}

TEST(Service, EndsByItselfWithACodeThatTheSystemSees) {
    for (const auto& [code, seen] : {std::pair{0, 0}, std::pair{7, 7}, std::pair{-1, 255}, std::pair{512, 255}}) {
        ServiceRun service([code = code] {
            ServiceManager::initService();
            // An order that comes afterwards takes nothing away.
            ServiceManager::endService(code);
            ::raise(SIGTERM);
            std::this_thread::sleep_for(50ms);
        });
        EXPECT_EQ(kReady, service.hear());
        EXPECT_EQ("STOPPING=1\nSTATUS=Stopped with exit code " + std::to_string(code), service.hear());
        EXPECT_EQ(seen, service.exitCode());
    }
}

TEST(Service, AnOrderBeforeItIsReadyWaitsAndOneThatTheHostBlocksArrives) {
    sigset_t terminate;
    sigemptyset(&terminate);
    sigaddset(&terminate, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &terminate, nullptr);
    ServiceRun service([] {
        ::kill(::getpid(), SIGTERM);
        std::this_thread::sleep_for(50ms);
        serveUntilStopped(0);
    });
    pthread_sigmask(SIG_UNBLOCK, &terminate, nullptr);
    EXPECT_EQ(kReady, service.hear());
    EXPECT_EQ(kStopped, service.hear());
    EXPECT_EQ(kStopped, service.hear());
    EXPECT_EQ(0, service.exitCode());
}

TEST(Service, FeedsTheWatchdogTwiceInItsTimeUnlessItIsAnothers) {
    const Environment::Variables watchdog{{"WATCHDOG_USEC", "100000"}};
    ServiceRun service([] { serveUntilStopped(0); }, watchdog);
    int fed = 0;
    const auto start = std::chrono::steady_clock::now();
    while (fed < 10) {
        const std::string heard = service.hear();
        ASSERT_TRUE(heard == "WATCHDOG=1" || heard == kReady) << heard;
        fed += heard == "WATCHDOG=1" ? 1 : 0;
    }
    // Once for each order or report that arrives as well.
    EXPECT_LE(8 * 50ms - 20ms, std::chrono::steady_clock::now() - start);
    Environment::Variables anothers = watchdog;
    anothers["WATCHDOG_PID"] = "1";
    ServiceRun other([] { serveUntilStopped(0); }, anothers);
    EXPECT_EQ(kReady, other.hear());
    std::this_thread::sleep_for(150ms);
    other.signal(SIGTERM);
    EXPECT_EQ(kStopped, other.hear());
}

TEST(Service, AConsoleProgramIsToldWhyAndGoesOnWithoutReports) {
    // The last ones are a shell's below a service, and a child's of a service on an old system.
    const std::optional<std::string> none;
    const Environment::Variables cases[] = {
        {{"NOTIFY_SOCKET", none}, {"INVOCATION_ID", none}, {"SYSTEMD_EXEC_PID", none}},
        {{"NOTIFY_SOCKET", "/x"}, {"INVOCATION_ID", "1"}, {"SYSTEMD_EXEC_PID", "1"}},
        {{"NOTIFY_SOCKET", none}, {"INVOCATION_ID", "1"}, {"SYSTEMD_EXEC_PID", none}}};
    for (const Environment::Variables& variables : cases) {
        const Environment environment(variables);
        testing::internal::CaptureStdout();
        const auto unwanted = [](unsigned long, char**) { ADD_FAILURE() << "this is no service"; };
        EXPECT_EQ(ENOTCONN, ServiceManager::configureService(unwanted, "arena"));
        EXPECT_EQ("*** --- *** Unable to start service \nTransport endpoint is not connected\n\n\n",
                  testing::internal::GetCapturedStdout());
        EXPECT_FALSE(ServiceManager::isUsingService());
        EXPECT_TRUE(ServiceManager::initService());
        ServiceManager::endService(5);
        EXPECT_FALSE(ServiceManager::isServiceRunning());
    }
    // systemd's own child, with and without reports.
    const std::string self = std::to_string(::getpid());
    const Environment own({{"NOTIFY_SOCKET", none}, {"INVOCATION_ID", "1"}, {"SYSTEMD_EXEC_PID", self}});
    EXPECT_TRUE(platform::isStartedAsService());
}
