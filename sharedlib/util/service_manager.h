// sharedlib/util/service_manager.h: a server process as a service of the system, or as a console program.
#pragma once
#include "sharedlib/export.h"
#include "sharedlib/native_types.h"

namespace Kest::Orv {

/// Installs, removes and runs the process as a service: the Service Control Manager's on Windows, systemd's on Linux.
/// A host calls, in this order, `serviceMaintenance` first thing in `main`; `configureService`; and inside its service
/// main function `initService`, its work loop while `isServiceRunning()`, and `endService`. When `configureService`
/// fails, the host runs as a console program. Nothing is logged; failures of install and remove are shown in boxes.
/// One service per process. Has only static operations.
class SHAREDLIB_API ServiceManager {
public:
    /// Carries out "-install" or "-remove" when one of the arguments after the first says so, with "-username NAME" and
    /// "-password TEXT" for the account; "-?" prints the usage. Letter case does not count, other arguments are
    /// skipped. Gives 0 when nothing of that was asked for, and only then does the program go on; 1 when it was done; 2
    /// when the usage was shown or both were asked for; otherwise the system's error number, which is neither 0, 1
    /// nor 2.
    static int serviceMaintenance(int argc, char** argv, char const* serviceName, char const* displayName);

    /// Prints the options of `serviceMaintenance` to standard output.
    static void printUsage();

    /// Runs the service when the system started this process as one: calls `serviceMain` on a thread of its own, with
    /// the service's name as its only argument, and blocks until the service has stopped and `serviceMain` has
    /// returned; gives 0. On Linux an exit code other than 0 that the service reported is then the process's, whatever
    /// `main` returns. Otherwise prints why to standard output and gives the system's error number at once. Calls from
    /// the main thread only.
    static int configureService(NativeServiceMain serviceMain, char const* serviceName);

    /// Reports the service as running. False when the system does not take its reports. Without a service, true and
    /// nothing else. On the service's thread.
    static bool initService();

    /// Reports the service as stopped with `exitCode`; without a service, nothing. On the service's thread.
    static void endService(int exitCode);

    /// Whether the service is running: false before `initService`, and after `endService` or the system's order to
    /// stop or shut down. Any thread.
    static bool isServiceRunning();

    /// Whether `configureService` runs, or has run, the process as a service. Any thread.
    static bool isUsingService();

protected:
    /// Creates the service entry for the running program, or changes the one that is there. A null `userName` means the
    /// system's own account for a new entry and no change for an old one. 0, or the system's error number.
    static int installService(char const* serviceName, char const* displayName, char const* userName,
                              char const* password);

    /// Deletes the service entry; a running service is not stopped. 0, or the system's error number.
    static int uninstallService(char const* serviceName);
};

} // namespace Kest::Orv
