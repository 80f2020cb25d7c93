// examples/arena/host.cpp: the library's start-up and shutdown, step by step.
#include "examples/arena/host.h"
#include "examples/arena/calls.h"
#include "sharedlib/log/frame_event_log.h"
#include "sharedlib/log/gate.h"
#include "sharedlib/net/connection.h"
#include "sharedlib/rpc/rpc_mgr.h"
#include "sharedlib/util/clock.h"
#include "sharedlib/util/paths.h"
#include <csignal>
#include <cstdio>
#include <fstream>

namespace arena {

namespace {

LogCount s_logged;
volatile std::sig_atomic_t s_interrupted = 0;

// The database callback gets exactly the lines that the log file gets.
void countLine(LogItemSeverityLevel severity, int /*channel*/, const char* text, int /*prefixLength*/,
               const char* /*fileChannelName*/) {
    ++s_logged.lines;
    if (severity <= LogSev_Warning) {
        ++s_logged.warnings;
        s_logged.lastWarning = text;
    }
}

void sendCall(CConnection* connection, CPackedData& call) {
    connection->SendMsg(call);
}

void configureLogger(Logger& logger) {
    // A dialog would stop a process that serves others.
    logger.setUseDialogs(false);
    logger.setDBLogFunction(countLine);
    // Lines reach the disk once a second, errors at once, and all of them when the logger is deleted.
    logger.setFlushOnWrite(false);
    logger.setSecondsBetweenFlushes(1);
    logger.SetConditional(Log::Startup, LogSev_Info);
    logger.SetConditional(Log::Login, LogSev_Info);
    // Malformed messages are dumped on Generic; peers must not fill the disk with them.
    logger.SetConditional(Log::Generic, LogSev_Warning);
}

void configureConnections() {
    // Every Pulse sends a ping unless one is on its way. The arena pulses each connection once a second.
    CConnection::setPulseRate(0);
    // A peer that takes nothing for this long is reported to OnError.
    CConnection::setOutboundTimeout(4);
    CConnection::setOutboundSizeLimit(1024 * 1024);
    // The map alone fills a queue of 100 KB, which is nothing to warn of.
    CConnection::setOutboundSizeWarning(256 * 1024);
}

} // namespace

Host::Host(const char* logPrefix, bool withStrangerCall) {
    // 1. The paths: output goes to the working directory.
    InitGamePath(false, nullptr);
    // 2. The logger, through which everything reports from here on.
    m_logger = std::make_unique<Logger>(logPrefix, "logs");
    theLogger = m_logger.get();
    configureLogger(*m_logger);
    SHAREDLIB_LOG(LogSev_Info, Log::Startup, "%s starts", logPrefix);
    // 3. Sockets need no initialisation here; a Windows host calls WSAStartup now.
    // 4. The remote calls: descriptors, then the table made of them, then the function that sends them.
    registerCalls(withStrangerCall);
    CRpcMgr* calls = CRpcMgr::GetInstance();
    CRpcMgr::RegisterSendMessage(sendCall);
    SHAREDLIB_LOG(LogSev_Info, Log::Startup, "The table holds %d remote calls", calls->getRpcTypeCount());
    // 5. Listeners and connections follow.
    configureConnections();
}

Host::~Host() {
    shutDown();
}

void Host::shutDown() {
    if (m_logger == nullptr) {
        return;
    }
    // Connections and listeners are gone by now.
    CRpcMgr::Cleanup();
    gFrameEventLog.cleanup();
    SHAREDLIB_LOG(LogSev_Info, Log::Startup, "Shut down in order");
    theLogger = nullptr;
    m_logger.reset();
    cleanupSharedTools();
}

const LogCount& Host::logged() {
    return s_logged;
}

std::string Host::logFile() const {
    return m_logger != nullptr ? NativePath(m_logger->getFileName().c_str()) : std::string();
}

bool isInterrupted() {
    return s_interrupted != 0;
}

void watchForInterrupt() {
    const auto note = [](int /*signal*/) { s_interrupted = 1; };
    std::signal(SIGINT, note);
    std::signal(SIGTERM, note);
}

bool showLogFile(const std::string& file) {
    constexpr std::uint64_t kLinesShown = 4;
    std::printf("  log file %s\n", file.c_str());
    std::ifstream stream(file);
    std::uint64_t lines = 0;
    for (std::string line; std::getline(stream, line); ++lines) {
        if (lines < kLinesShown) {
            // Lines end with CR LF on every system.
            std::printf("    %s\n", line.substr(0, line.find('\r')).c_str());
        }
    }
    std::printf("    %llu lines, %llu logged\n", static_cast<unsigned long long>(lines),
                static_cast<unsigned long long>(s_logged.lines));
    return lines == s_logged.lines;
}

} // namespace arena
