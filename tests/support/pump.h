// tests/support/pump.h: works until something has happened.
#pragma once
#include <chrono>
#include <gtest/gtest.h>
#include <thread>

/// Calls `step` and then `done` until `done` is true. After five seconds it fails the test and gives false.
template <typename Step, typename Done>
[[nodiscard]] bool pumpUntil(Step&& step, Done&& done) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    do {
        step();
        if (done()) {
            return true;
        }
        std::this_thread::yield();
    } while (std::chrono::steady_clock::now() <= end);
    ADD_FAILURE() << "five seconds were not enough";
    return false;
}
