// examples/arena/screen.cpp: the server's figures as a table or as lines.
#include "examples/arena/screen.h"
#include "sharedlib/rpc/rpc_mgr.h"
#include <cstdio>
#include <unistd.h>

namespace arena {

namespace {

double inMegabytes(std::uint64_t bytes) {
    return static_cast<double>(bytes) / 1e6;
}

unsigned long long number(std::uint64_t value) {
    return value;
}

// The statistics start again with each call, so this is the last second's.
CallStats takeCallStats() {
    CallStats stats;
    CRpcMgr::GetInstance()->getRPCStats(stats.slowestName, stats.slowestAverageMs, stats.busiestName,
                                        stats.busiestCount);
    return stats;
}

void printLine(int second, const ServerStatus& status, const CallStats& calls) {
    const Traffic& traffic = status.traffic;
    const DatagramCounts& datagrams = traffic.datagrams;
    std::printf(
        "%3d s: %zu players, %zu connections, calls %llu in %llu out, messages %llu in %llu out, "
        "%.2f MB in %.2f MB out, datagrams %llu in %llu out, %.2f %% lost, at most %lu messages to a packet in, "
        "%.1f out, lag %.0f/%.0f/%.0f ms, frame %.2f/%.2f/%.2f ms, %llu bytes queued, "
        "slowest %s %.3f ms, busiest %s %ld, %llu warnings\n",
        second, status.players, status.connections, number(traffic.callsIn), number(traffic.callsOut),
        number(traffic.messagesIn), number(traffic.messagesOut), inMegabytes(traffic.bytesIn),
        inMegabytes(traffic.bytesOut), number(datagrams.messagesIn), number(datagrams.messagesOut),
        datagrams.lossPercent(), status.mostPerPacket, datagrams.messagesPerPacket(), status.lagMs.median,
        status.lagMs.p99, status.lagMs.maximum, status.frameMs.median, status.frameMs.p99, status.frameMs.maximum,
        number(status.queuedBytes), calls.slowestName.c_str(), static_cast<double>(calls.slowestAverageMs),
        calls.busiestName.c_str(), calls.busiestCount, number(Host::logged().warnings));
}

} // namespace

Screen::Screen() : m_isTerminal(isatty(STDOUT_FILENO) != 0) {
}

void Screen::show(unsigned short port, int second, int seconds, const ServerStatus& status) {
    ServerStatus lastSecond = status;
    lastSecond.traffic = status.traffic - m_lastTraffic;
    m_lastTraffic = status.traffic;
    const CallStats calls = takeCallStats();
    if (m_isTerminal) {
        drawTable(port, second, seconds, lastSecond, calls);
    } else {
        printLine(second, lastSecond, calls);
    }
    std::fflush(stdout);
}

void Screen::drawTable(unsigned short port, int second, int seconds, const ServerStatus& status,
                       const CallStats& calls) {
    const Traffic& traffic = status.traffic;
    const LogCount& log = Host::logged();
    // Up to where the last table began, then every line up to its end is written anew.
    if (m_linesDrawn > 0) {
        std::printf("\r\033[%dA", m_linesDrawn);
    }
    const char* end = "\033[K\n";
    std::printf("  arena on port %u, second %d of %d%s", port, second, seconds, end);
    std::printf("  players    %8zu playing   %8zu connections %8zu left in order%s", status.players, status.connections,
                status.finished, end);
    std::printf("  per second       in        out%s", end);
    std::printf("    calls    %8llu   %8llu%s", number(traffic.callsIn), number(traffic.callsOut), end);
    std::printf("    messages %8llu   %8llu%s", number(traffic.messagesIn), number(traffic.messagesOut), end);
    std::printf("    MB       %8.2f   %8.2f%s", inMegabytes(traffic.bytesIn), inMegabytes(traffic.bytesOut), end);
    const DatagramCounts& datagrams = traffic.datagrams;
    std::printf("    by UDP   %8llu   %8llu   %.2f %% of the incoming lost%s", number(datagrams.messagesIn),
                number(datagrams.messagesOut), datagrams.lossPercent(), end);
    std::printf("    a packet %8lu   %8.1f   at most in, on average out%s", status.mostPerPacket,
                datagrams.messagesPerPacket(), end);
    std::printf("  in ms        median        99%%    maximum%s", end);
    std::printf("    lag      %8.0f   %8.0f   %8.0f%s", status.lagMs.median, status.lagMs.p99, status.lagMs.maximum,
                end);
    std::printf("    frame    %8.2f   %8.2f   %8.2f   of %d%s", status.frameMs.median, status.frameMs.p99,
                status.frameMs.maximum, 1000 / ArenaServer::kFramesPerSecond, end);
    std::printf("  queued     %8llu bytes%s", number(status.queuedBytes), end);
    std::printf("  slowest    %8s   %.3f ms a call on average, counting whole ms%s", calls.slowestName.c_str(),
                static_cast<double>(calls.slowestAverageMs), end);
    std::printf("  busiest    %8s   %ld calls%s", calls.busiestName.c_str(), calls.busiestCount, end);
    std::printf("  warnings   %8llu   %.60s%s", number(log.warnings), log.lastWarning.c_str(), end);
    constexpr int kLines = 15;
    m_linesDrawn = kLines;
}

void printSummary(const ArenaServer& server, const ServerStatus& status) {
    const Traffic& traffic = status.traffic;
    const auto printSpread = [](const char* name, const Spread& spread) {
        std::printf("  %-16s median %.2f ms, 99%% %.2f ms, maximum %.2f ms\n", name, spread.median, spread.p99,
                    spread.maximum);
    };
    std::printf("\nsummary\n");
    std::printf("  players          %zu joined, %zu left in order\n", server.joined(), server.finished());
    std::printf("  calls            %llu in, %llu out\n", number(traffic.callsIn), number(traffic.callsOut));
    std::printf("  messages         %llu in, %llu out, %.1f MB in, %.1f MB out\n", number(traffic.messagesIn),
                number(traffic.messagesOut), inMegabytes(traffic.bytesIn), inMegabytes(traffic.bytesOut));
    const DatagramCounts& datagrams = traffic.datagrams;
    std::printf(
        "  of them by UDP   %llu in, %.3f %% lost, %llu late, %llu out, %llu of %llu lost, %.1f messages to a packet\n",
        number(datagrams.messagesIn), datagrams.lossPercent(), number(datagrams.lateIn), number(datagrams.messagesOut),
        number(server.datagramsLost()), number(server.datagramsReported()), datagrams.messagesPerPacket());
    std::printf("  datagrams        %llu messages refused: late, forged or malformed\n",
                number(server.datagramsRefused()));
    printSpread("lag to clients", server.totalLagMs());
    printSpread("lag to server", server.clientLagMs());
    printSpread("frame time", server.totalFrameMs());
    for (const auto& [reason, count] : server.endReasons()) {
        std::printf("  %5d ended: %s\n", count, reason.c_str());
    }
}

} // namespace arena
