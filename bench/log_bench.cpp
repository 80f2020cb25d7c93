// bench/log_bench.cpp: a log line of 91 characters into a file, beside spdlog; and what a shut gate costs.
#include "sharedlib/log/gate.h"
#include "sharedlib/log/logger.h"
#include "sharedlib/util/paths.h"
#include <benchmark/benchmark.h>
#include <filesystem>
#include <memory>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

namespace {

// A folder for the files of both, gone with the process.
struct LogFolder {
    std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("sharedlib_log_bench_" + std::to_string(getpid()));

    LogFolder() {
        std::filesystem::create_directories(path);
        MapDrive('b', path.c_str());
        SetOutputPath("b:");
    }
    ~LogFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    void clear() const {
        for (const auto& entry : std::filesystem::directory_iterator(path)) {
            std::filesystem::remove(entry.path());
        }
    }
};

const LogFolder& logFolder() {
    static const LogFolder folder;
    return folder;
}

std::unique_ptr<Logger> ourLogger;
std::shared_ptr<spdlog::logger> theirLogger;

void openOurs(bool flushed) {
    logFolder().clear();
    ourLogger = std::make_unique<Logger>("Bench", nullptr);
    ourLogger->setUseDialogs(false);
    ourLogger->setFlushOnWrite(flushed);
    theLogger = ourLogger.get();
}

void openTheirs(bool flushed) {
    logFolder().clear();
    spdlog::drop_all();
    theirLogger = spdlog::basic_logger_mt("Network", (logFolder().path / "their.txt").string());
    theirLogger->set_formatter(
        std::make_unique<spdlog::pattern_formatter>("%c WARNING %n: %v", spdlog::pattern_time_type::local, "\r\n"));
    theirLogger->flush_on(flushed ? spdlog::level::trace : spdlog::level::off);
}

void logWithSharedLib(benchmark::State& state, bool flushed) {
    if (state.thread_index() == 0) {
        openOurs(flushed);
    }
    int line = 100000;
    for (auto _ : state) {
        SHAREDLIB_LOG(LogSev_Warning, Log::Network, "player %d in %s sent %u bytes in %d ms", line++, "harbour", 4711U,
                      33);
    }
    if (state.thread_index() == 0) {
        theLogger = nullptr;
        ourLogger.reset();
    }
}

void logWithSpdlog(benchmark::State& state, bool flushed) {
    if (state.thread_index() == 0) {
        openTheirs(flushed);
    }
    int line = 100000;
    for (auto _ : state) {
        theirLogger->warn("player {} in {} sent {} bytes in {} ms", line++, "harbour", 4711U, 33);
    }
    if (state.thread_index() == 0) {
        theirLogger.reset();
        spdlog::drop_all();
    }
}

void shutGate(benchmark::State& state) {
    openOurs(true);
    int value = 0;
    for (auto _ : state) {
        SHAREDLIB_LOG(LogSev_Detail, Log::Network, "%d", value);
        benchmark::DoNotOptimize(value);
    }
    theLogger = nullptr;
    ourLogger.reset();
}

void emptyLoop(benchmark::State& state) {
    int value = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(value);
    }
}

BENCHMARK(shutGate)->Name("gate/ours");
BENCHMARK(emptyLoop)->Name("gate/empty loop");
BENCHMARK_CAPTURE(logWithSharedLib, flushed, true)->Name("log_flushed/ours")->Threads(1)->Threads(4)->UseRealTime();
BENCHMARK_CAPTURE(logWithSpdlog, flushed, true)->Name("log_flushed/spdlog")->Threads(1)->Threads(4)->UseRealTime();
BENCHMARK_CAPTURE(logWithSharedLib, buffered, false)->Name("log_buffered/ours")->Threads(1)->Threads(4)->UseRealTime();
BENCHMARK_CAPTURE(logWithSpdlog, buffered, false)->Name("log_buffered/spdlog")->Threads(1)->Threads(4)->UseRealTime();

} // namespace
