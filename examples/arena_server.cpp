// examples/arena_server.cpp: the arena's server, a host program with everything that a server needs.
//
// Usage: arena_server [--port P] [--port-file FILE] [--players N] [--seconds S] [--no-udp]
//   --port P          first port to try (7400); the next free one above it is taken
//   --port-file FILE  the port that was taken is written there
//   --players N       players that must come, play and leave in order (0: as many as come)
//   --seconds S       length of the game (15)
//   --no-udp          moves and snapshots go over TCP like everything else
//
// Ends with "arena: OK" and 0 only if every check held, else with "arena: FAILED" and 1. SIGINT ends the game early.
// "-install" and "-remove" make it a service of the system or end that: docs/services.md.
#include "examples/arena/host.h"
#include "examples/arena/screen.h"
#include "examples/arena/server.h"
#include "sharedlib/log/gate.h"
#include "sharedlib/util/service_manager.h"
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <getopt.h>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;
using arena::Clock;
using Kest::Orv::ServiceManager;

constexpr char kServiceName[] = "arena_server";

struct Options {
    unsigned short port = 7400;
    std::string portFile;
    std::size_t players = 0;
    int seconds = 15;
    bool datagrams = true;
};

bool parse(int argc, char** argv, Options& options) {
    const option known[] = {
        {"port", required_argument, nullptr, 'p'},    {"port-file", required_argument, nullptr, 'f'},
        {"players", required_argument, nullptr, 'n'}, {"seconds", required_argument, nullptr, 's'},
        {"no-udp", no_argument, nullptr, 'u'},        {nullptr, 0, nullptr, 0}};
    for (int found = 0; (found = getopt_long(argc, argv, "", known, nullptr)) != -1;) {
        switch (found) {
        case 'p':
            options.port = static_cast<unsigned short>(std::strtoul(optarg, nullptr, 10));
            break;
        case 'f':
            options.portFile = optarg;
            break;
        case 'n':
            options.players = std::strtoul(optarg, nullptr, 10);
            break;
        case 's':
            options.seconds = std::max(1, std::atoi(optarg));
            break;
        case 'u':
            options.datagrams = false;
            break;
        default:
            return false;
        }
    }
    return optind == argc;
}

/// Whether the user, or the system that runs this as a service, wants the game to end.
bool mustEnd() {
    return arena::isInterrupted() || (ServiceManager::isUsingService() && !ServiceManager::isServiceRunning());
}

/// What must hold in the end; says what does not.
class Checks {
public:
    void require(bool good, const std::string& failure) {
        if (!good) {
            m_failures.push_back(failure);
        }
    }
    int printVerdict() const {
        for (const std::string& failure : m_failures) {
            std::printf("  failed: %s\n", failure.c_str());
        }
        std::puts(m_failures.empty() ? "arena: OK" : "arena: FAILED");
        return m_failures.empty() ? 0 : 1;
    }

private:
    std::vector<std::string> m_failures;
};

void play(arena::ArenaServer& server, const Options& options, arena::Screen& screen) {
    const auto start = Clock::now();
    for (int second = 1; second <= options.seconds && !mustEnd(); ++second) {
        const auto nextScreen = start + second * 1s;
        while (Clock::now() < nextScreen && !mustEnd()) {
            server.runFrame();
        }
        screen.show(server.port(), second, options.seconds, server.status());
    }
}

/// Lets the players leave in order. An interrupted server has little time for that.
void end(arena::ArenaServer& server) {
    const auto deadline = Clock::now() + (mustEnd() ? 700ms : 5000ms);
    server.finish();
    while (!server.isEmpty() && Clock::now() < deadline) {
        server.runFrame();
    }
}

void checkServer(const arena::ArenaServer& server, const Options& options, Checks& checks) {
    std::size_t expected = options.players != 0 ? options.players : server.joined();
    if (mustEnd()) {
        expected = std::min(expected, server.joined());
    }
    checks.require(server.finished() == expected,
                   std::to_string(server.finished()) + " of " + std::to_string(expected) + " players left in order");
    checks.require(server.listenError() == 0, "the listener failed");
    for (const auto& [complaint, count] : server.complaints()) {
        checks.require(false, complaint + " (" + std::to_string(count) + " players)");
    }
}

/// Datagrams may get lost, but not many on one machine; and they must be what the game is played with.
void checkDatagrams(const arena::ArenaServer& server, const arena::DatagramCounts& counts, const Options& options,
                    Checks& checks) {
    constexpr std::uint64_t kMostLostPercent = 1;
    checks.require(counts.lostIn() * 100 <= counts.expectedIn * kMostLostPercent, "datagrams of players got lost");
    checks.require(server.datagramsLost() * 100 <= server.datagramsReported() * kMostLostPercent,
                   "datagrams to players got lost");
    const bool played = counts.messagesIn > 0 && counts.messagesOut > 0;
    checks.require(played || !options.datagrams || options.players == 0 || mustEnd(), "nothing went by datagram");
    checks.require(!played || options.datagrams, "datagrams in a game without");
}

int runGame(const Options& options, arena::Host& host, Checks& checks) {
    arena::ArenaServer server(options.datagrams);
    if (!server.open(options.port)) {
        std::puts("arena: FAILED, no free port");
        return 1;
    }
    SHAREDLIB_LOG(LogSev_Info, Log::Startup, "The arena is open on port %d", server.port());
    std::printf("arena on port %u, log in %s\n", server.port(), host.logFile().c_str());
    if (!options.portFile.empty()) {
        std::ofstream(options.portFile) << server.port() << '\n';
    }
    arena::Screen screen;
    play(server, options, screen);
    end(server);
    const arena::ServerStatus status = server.status();
    arena::printSummary(server, status);
    checkServer(server, options, checks);
    checkDatagrams(server, status.traffic.datagrams, options, checks);
    return 0;
}

Options s_options;

int runHost(const Options& options) {
    Checks checks;
    arena::Host host("ArenaServer");
    // The server goes out of scope, and with it the connections and the listener, before the library is shut down.
    if (const int failure = runGame(options, host, checks); failure != 0) {
        return failure;
    }
    const std::string logFile = host.logFile();
    host.shutDown();
    checks.require(arena::showLogFile(logFile), "lines of the log got lost");
    return checks.printVerdict();
}

/// Called by the system, on a thread of its own.
void serviceMain(unsigned long /*argumentCount*/, char** /*arguments*/) {
    if (ServiceManager::initService()) {
        ServiceManager::endService(runHost(s_options));
    }
}

} // namespace

int main(int argc, char** argv) {
    if (const int result = ServiceManager::serviceMaintenance(argc, argv, kServiceName, "Arena Server"); result != 0) {
        return result == 1 ? 0 : result;
    }
    if (!parse(argc, argv, s_options)) {
        std::fputs("usage: arena_server [--port P] [--port-file FILE] [--players N] [--seconds S] [--no-udp]\n",
                   stderr);
        return 2;
    }
    if (ServiceManager::configureService(&serviceMain, kServiceName) == 0) {
        return 0;
    }
    // Started from a console.
    arena::watchForInterrupt();
    return runHost(s_options);
}
