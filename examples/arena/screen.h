// examples/arena/screen.h: shows once a second how the server is doing.
#pragma once
#include "examples/arena/host.h"
#include "examples/arena/server.h"
#include <string>

namespace arena {

/// Figures of the remote calls of one period, from `CRpcMgr::getRPCStats`.
struct CallStats {
    std::string slowestName = "-";
    float slowestAverageMs = 0;
    std::string busiestName = "-";
    long busiestCount = 0;
};

/// On a terminal a table that is redrawn in place, otherwise one plain line for each second.
class Screen {
public:
    Screen();

    void show(unsigned short port, int second, int seconds, const ServerStatus& status);

private:
    void drawTable(unsigned short port, int second, int seconds, const ServerStatus& status, const CallStats& calls);

    bool m_isTerminal;
    int m_linesDrawn = 0;
    Traffic m_lastTraffic;
};

/// A summary of the whole run in plain lines.
void printSummary(const ArenaServer& server, const ServerStatus& status);

} // namespace arena
