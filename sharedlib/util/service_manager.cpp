// sharedlib/util/service_manager.cpp: the options, the boxes and the reports of a service.
#include "sharedlib/util/service_manager.h"
#include "sharedlib/platform/dialog.h"
#include "sharedlib/platform/error_text.h"
#include "sharedlib/platform/file.h"
#include "sharedlib/platform/service.h"
#include "sharedlib/platform/service_entry.h"
#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>
#include <string_view>

namespace Kest::Orv {
namespace {

using platform::DialogIcon;
using platform::ServiceStep;

constexpr int kMaintenanceDone = 1;
constexpr int kRefused = 2;
constexpr std::uint32_t kOwnAndSharedProcess = 0x30;
constexpr std::uint32_t kAcceptStopAndShutdown = 5;

std::atomic<bool> s_usingService{false};
std::string s_serviceName;
platform::ServiceStatus s_status{};
/// Orders one change of the status, and its report, behind the other. `isServiceRunning` does without.
std::mutex s_statusMutex;

std::atomic_ref<std::uint32_t> state() {
    return std::atomic_ref<std::uint32_t>(s_status.state);
}

struct Options {
    bool isInstall = false;
    bool isRemove = false;
    bool isUsage = false;
    char const* userName = nullptr;
    char const* password = nullptr;
};

bool isOption(std::string_view argument, std::string_view option) {
    auto const lower = [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    };
    return std::ranges::equal(argument, option, {}, lower);
}

void showInformation(char const* text) {
    platform::showErrorDialog("Error", text, DialogIcon::information);
}

// Moves on to the value behind an option. Without one the user is told, and `value` stays.
void takeValue(int argc, char** argv, int& index, char const*& value, char const* complaint) {
    if (index + 1 < argc) {
        value = argv[++index];
    } else {
        showInformation(complaint);
    }
}

Options parse(int argc, char** argv) {
    Options options;
    for (int index = 1; index < argc && !options.isUsage; ++index) {
        std::string_view const argument = argv[index];
        if (isOption(argument, "-?")) {
            options.isUsage = true;
        } else if (isOption(argument, "-install")) {
            options.isInstall = true;
        } else if (isOption(argument, "-remove")) {
            options.isRemove = true;
        } else if (isOption(argument, "-username")) {
            takeValue(argc, argv, index, options.userName, "No username was specified");
        } else if (isOption(argument, "-password")) {
            takeValue(argc, argv, index, options.password, "No password was specified");
        }
    }
    return options;
}

int orDone(int error) {
    return error != 0 ? error : kMaintenanceDone;
}

constexpr char const* kNoRightToCreate =
    "Failed to open the Service Control Manager with sufficient rights to create a service.";
constexpr char const* kNoRightToDelete =
    "Failed to open the Service Control Manager with sufficient rights to delete a service.";

/// The box about a failed step; its format takes the error number and the system's text for it.
struct StepBox {
    char const* format;
    char const* caption = "Error";
    DialogIcon icon = DialogIcon::error;
};

StepBox boxOf(ServiceStep step) {
    switch (step) {
    case ServiceStep::findAccount:
        return {"LookupAccountName failed with %d: %s"};
    case ServiceStep::openPolicy:
        return {"LsaOpenPolicy failed with %d: %s"};
    case ServiceStep::grantRight:
        return {"LsaAddAccountRights failed with %d: %s"};
    case ServiceStep::checkPassword:
        return {"LogonUser failed with %d: %s"};
    case ServiceStep::reconfigure:
        return {"ConfigureService failed with error %d: %s"};
    case ServiceStep::create:
        return {"CreateService failed with error %d: %s"};
    case ServiceStep::setFailureActions:
        return {"CreateService succeeded, but ChangeServiceConfig2 failed with error %d: %s", "Warning",
                DialogIcon::warning};
    case ServiceStep::openService:
        return {"OpenService failed with error %d: %s"};
    case ServiceStep::remove:
        return {"DeleteService failed with error %d: %s", "Warning", DialogIcon::warning};
    case ServiceStep::openManager:
    case ServiceStep::done:
        break;
    }
    return {""};
}

std::string boxText(char const* format, int error) {
    std::array<char, 512> text{};
    std::snprintf(text.data(), text.size(), format, error, platform::errorText(error).c_str());
    return text.data();
}

// Shows the box that belongs to a failure, if it is one, and gives the error number. `noRight` is the text for a
// Service Control Manager that does not open.
int finish(platform::ServiceResult const& result, char const* noRight) {
    if (result.step == ServiceStep::done) {
        return 0;
    }
    if (result.step == ServiceStep::openManager) {
        platform::showErrorDialog("Error", noRight);
        return result.error;
    }
    StepBox const box = boxOf(result.step);
    platform::showErrorDialog(box.caption, boxText(box.format, result.error).c_str(), box.icon);
    return result.error;
}

void reportState(std::uint32_t newState, std::uint32_t exitCode) {
    s_status.exitCode = exitCode;
    state() = newState;
    platform::reportServiceStatus(s_status);
}

void onControl(std::uint32_t control) {
    std::lock_guard const lock(s_statusMutex);
    bool const isStop = control == platform::kServiceControlStop || control == platform::kServiceControlShutdown;
    // An order that comes while the host ends by itself must not take away its exit code.
    if (isStop && state() != platform::kServiceStopped) {
        reportState(platform::kServiceStopped, 0);
    } else {
        platform::reportServiceStatus(s_status);
    }
}

} // namespace

int ServiceManager::serviceMaintenance(int argc, char** argv, char const* serviceName, char const* displayName) {
    if (argc < 2) {
        return 0;
    }
    Options const options = parse(argc, argv);
    if (options.isUsage) {
        printUsage();
        return kRefused;
    }
    if (options.isInstall && options.isRemove) {
        showInformation("-install and -remove were both specified.  Please specify only one.");
        return kRefused;
    }
    if (options.isInstall) {
        return orDone(installService(serviceName, displayName, options.userName, options.password));
    }
    return options.isRemove ? orDone(uninstallService(serviceName)) : 0;
}

void ServiceManager::printUsage() {
    std::fputs("\nService Manager Options:\n\n"
               " -remove    Remove this program's service entry\n\n"
               " -install   Install this program as a service\n"
               "    -username <name>      The account that this service will run as\n"
               "       If no username is specified, the service will run as LocalSystem\n"
               "    -password <password>  The password for the given account\n\n"
               "If no options are specified, the program will run normally\n",
               stdout);
}

int ServiceManager::installService(char const* serviceName, char const* displayName, char const* userName,
                                   char const* password) {
    std::string program;
    if (int const error = platform::executablePath(program); error != 0) {
        showInformation("The working directory must contain the executable for -install to work");
        return error;
    }
    std::string account;
    if (userName != nullptr) {
        platform::ServiceResult const prepared = platform::prepareServiceAccount(userName, password, account);
        if (prepared.step != ServiceStep::done) {
            return finish(prepared, kNoRightToCreate);
        }
    }
    char const* const accountOrNone = userName != nullptr ? account.c_str() : nullptr;
    return finish(platform::installService({serviceName, displayName, program.c_str(), accountOrNone, password}),
                  kNoRightToCreate);
}

int ServiceManager::uninstallService(char const* serviceName) {
    return finish(platform::removeService(serviceName), kNoRightToDelete);
}

int ServiceManager::configureService(NativeServiceMain serviceMain, char const* serviceName) {
    s_serviceName = serviceName;
    s_usingService = true;
    int const error = platform::runServiceDispatcher(serviceMain, serviceName);
    if (error == 0) {
        return 0;
    }
    std::string const text = platform::errorText(error);
    if (!text.empty()) {
        std::fputs(("*** --- *** Unable to start service \n" + text + "\n\n").c_str(), stdout);
    }
    s_usingService = false;
    return error;
}

bool ServiceManager::initService() {
    if (!s_usingService) {
        return true;
    }
    // An order that waits for the handler is taken when the service runs, not before.
    std::lock_guard const lock(s_statusMutex);
    s_status.type = kOwnAndSharedProcess;
    s_status.controlsAccepted = kAcceptStopAndShutdown;
    s_status.exitCode = s_status.serviceExitCode = s_status.checkPoint = s_status.waitHint = 0;
    state() = platform::kServiceStartPending;
    if (!platform::registerServiceHandler(s_serviceName.c_str(), &onControl)) {
        return false;
    }
    reportState(platform::kServiceRunning, 0);
    return true;
}

void ServiceManager::endService(int exitCode) {
    if (s_usingService) {
        std::lock_guard const lock(s_statusMutex);
        reportState(platform::kServiceStopped, static_cast<std::uint32_t>(exitCode));
    }
}

bool ServiceManager::isServiceRunning() {
    return state() == platform::kServiceRunning;
}

bool ServiceManager::isUsingService() {
    return s_usingService;
}

} // namespace Kest::Orv
