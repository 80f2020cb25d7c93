// examples/arena_client.cpp: many players of the arena in one process.
//
// Usage: arena_client [--server HOST:PORT] [--players N] [--name NAME] [--no-udp] [--other-table]
//   --server HOST:PORT  the arena (127.0.0.1:7400)
//   --players N         how many players connect (50)
//   --name NAME         what their names begin with
//   --no-udp            moves and snapshots go over TCP like everything else
//   --other-table       be built with other remote calls than the server, to see that the game is refused
//
// Plays until the server ends the game or SIGINT comes. Ends with 0 if every player left in order, 3 if the server's
// table of calls does not match, else 1.
#include "examples/arena/bot.h"
#include "examples/arena/host.h"
#include "sharedlib/log/gate.h"
#include "sharedlib/net/event_wait.h"
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <getopt.h>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;
using arena::Bot;
using arena::BotResult;
using arena::Clock;
using arena::EventTarget;

struct Options {
    std::string server = "127.0.0.1:7400";
    int players = 50;
    std::string name = "client";
    bool datagrams = true;
    bool otherTable = false;
};

bool parse(int argc, char** argv, Options& options) {
    const option known[] = {{"server", required_argument, nullptr, 's'}, {"players", required_argument, nullptr, 'n'},
                            {"name", required_argument, nullptr, 'm'},   {"no-udp", no_argument, nullptr, 'u'},
                            {"other-table", no_argument, nullptr, 'o'},  {nullptr, 0, nullptr, 0}};
    for (int found = 0; (found = getopt_long(argc, argv, "", known, nullptr)) != -1;) {
        switch (found) {
        case 's':
            options.server = optarg;
            break;
        case 'n':
            options.players = std::max(1, std::atoi(optarg));
            break;
        case 'm':
            options.name = optarg;
            break;
        case 'u':
            options.datagrams = false;
            break;
        case 'o':
            options.otherTable = true;
            break;
        default:
            return false;
        }
    }
    return optind == argc;
}

/// The players of this process and their frame loop.
class BotCrowd {
public:
    explicit BotCrowd(const Options& options) {
        for (int index = 0; index < options.players; ++index) {
            const std::string name = options.name + " player " + std::to_string(index + 1);
            const auto seed = static_cast<std::uint32_t>(std::hash<std::string>{}(name));
            m_bots.push_back(
                std::make_unique<Bot>(options.server, name, seed, options.datagrams ? &m_poller : nullptr));
            m_poller.add(m_bots.back()->connection().GetEventHandle(), static_cast<EventTarget*>(m_bots.back().get()));
        }
    }

    void runFrame() {
        m_nextFrame = std::max(m_nextFrame + kFrame, Clock::now());
        for (std::size_t index = 0; index < m_bots.size(); ++index) {
            moveOn(index);
        }
        ++m_frame;
        handleEvents();
    }

    void leave() {
        for (const auto& bot : m_bots) {
            bot->leave();
        }
    }

    [[nodiscard]] std::map<BotResult, int> results() const {
        std::map<BotResult, int> results;
        for (const auto& bot : m_bots) {
            ++results[bot->result()];
        }
        return results;
    }

    /// Why players failed, each reason once.
    void printFailures() const {
        std::map<std::string, int> reasons;
        for (const auto& bot : m_bots) {
            if (bot->result() == BotResult::Failed || bot->result() == BotResult::Refused) {
                ++reasons[bot->endReason()];
            }
        }
        for (const auto& [reason, count] : reasons) {
            std::printf("  %5d ended: %s\n", count, reason.c_str());
        }
    }

private:
    static constexpr int kFramesPerSecond = 30;
    static constexpr int kFramesPerTurn = kFramesPerSecond / Bot::kTurnsPerSecond;
    static constexpr auto kFrame = std::chrono::duration_cast<Clock::duration>(1s) / kFramesPerSecond;

    void moveOn(std::size_t index) {
        Bot& bot = *m_bots[index];
        if (bot.hasEnded()) {
            return;
        }
        // Not all in the same frame, so that the server gets an even load.
        const int turn = m_frame + static_cast<int>(index);
        if (turn % kFramesPerTurn == 0) {
            bot.play();
        }
        if (turn % kFramesPerSecond == 0) {
            bot.pulse();
        }
        bot.beginFrame();
    }

    void handleEvents() {
        std::array<void*, 64> signalled{};
        for (auto now = Clock::now(); now < m_nextFrame; now = Clock::now()) {
            const auto timeout = std::chrono::ceil<std::chrono::milliseconds>(m_nextFrame - now);
            const int count = m_poller.wait(signalled.data(), static_cast<int>(signalled.size()),
                                            static_cast<unsigned long>(timeout.count()));
            for (int index = 0; index < count; ++index) {
                static_cast<EventTarget*>(signalled[static_cast<std::size_t>(index)])->handleEvent();
            }
        }
    }

    EventPoller m_poller;
    std::vector<std::unique_ptr<Bot>> m_bots;
    Clock::time_point m_nextFrame = Clock::now();
    int m_frame = 0;
};

/// Whether anybody is left who plays.
bool isPlaying(const BotCrowd& crowd) {
    return crowd.results().contains(BotResult::Playing);
}

int playToTheEnd(const Options& options) {
    BotCrowd crowd(options);
    while (isPlaying(crowd) && !arena::isInterrupted()) {
        crowd.runFrame();
    }
    crowd.leave();
    // The server closes each connection when it has the player's report.
    for (const auto deadline = Clock::now() + 700ms; isPlaying(crowd) && Clock::now() < deadline;) {
        crowd.runFrame();
    }
    std::map<BotResult, int> results = crowd.results();
    std::printf("%s: %d of %d players left in order, %d were refused\n", options.name.c_str(),
                results[BotResult::Finished], options.players, results[BotResult::Refused]);
    crowd.printFailures();
    if (results[BotResult::Refused] == options.players) {
        return 3;
    }
    return results[BotResult::Finished] == options.players ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parse(argc, argv, options)) {
        std::fputs("usage: arena_client [--server HOST:PORT] [--players N] [--name NAME] [--no-udp] [--other-table]\n",
                   stderr);
        return 2;
    }
    arena::watchForInterrupt();
    arena::Host host("ArenaClient", options.otherTable);
    const int result = playToTheEnd(options);
    const std::string logFile = host.logFile();
    host.shutDown();
    return arena::showLogFile(logFile) ? result : 1;
}
