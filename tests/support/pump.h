// tests/support/pump.h: works until something has happened.
#pragma once
#include <chrono>
#include <gtest/gtest.h>
#include <thread>

/// Calls `step` and then `done` again and again until `done` is true. After five seconds it fails the test and gives
/// false.
template <typename Step, typename Done>
[[nodiscard]] bool pumpUntil(Step&& step, Done&& done) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + std::chrono::seconds(5);
    for (;;) {
        step();
        if (done()) {
            return true;
        }
        if (Clock::now() > end) {
            ADD_FAILURE() << "five seconds were not enough";
            return false;
        }
        std::this_thread::yield();
    }
}
