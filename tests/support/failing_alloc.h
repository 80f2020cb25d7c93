// tests/support/failing_alloc.h: memory that runs out when a test says so.
#pragma once

/// While it lives, one allocation of the calling thread through operator new fails: the `k`-th from now, counted
/// from 1. Scopes do not nest.
class FailingAlloc {
public:
    explicit FailingAlloc(int k);
    ~FailingAlloc() { s_untilFailure = 0; }
    FailingAlloc(const FailingAlloc&) = delete;
    FailingAlloc& operator=(const FailingAlloc&) = delete;

    /// Whether the allocation has been asked for and refused.
    [[nodiscard]] bool failed() const { return s_failures != m_atStart; }
    /// Counts one allocation down and says whether it is the one to fail.
    static bool failsNow() { return s_untilFailure > 0 && --s_untilFailure == 0 && ++s_failures > 0; }

private:
    static inline constinit thread_local int s_untilFailure = 0;
    static inline constinit thread_local int s_failures = 0;
    int m_atStart;
};
