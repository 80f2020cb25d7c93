// tests/crash/sentry/recording.h: what a test sees and decides of the stand-in for the crash service.
#pragma once
#include <functional>
#include <string>
#include <vector>

/// Belongs to the process; a test begins by making it anew. Only `calls` is written by the service, one line for each
/// call, in order, values spelled out as they are at that time.
struct SentryRecording {
    std::vector<std::string> calls;
    /// What the start of the service returns.
    int initResult = 0;
    /// Runs inside each capture, on the thread that reports.
    std::function<void()> whileCapturing = [] {};
};

SentryRecording& sentryRecording();
