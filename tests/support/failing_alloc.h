// tests/support/failing_alloc.h: memory that runs out when a test says so.
#pragma once

/// While it lives, one allocation of the calling thread through operator new fails: the `k`-th from now, counted
/// from 1. Scopes do not nest.
class FailingAlloc {
public:
    explicit FailingAlloc(int k);
    ~FailingAlloc();
    FailingAlloc(const FailingAlloc&) = delete;
    FailingAlloc& operator=(const FailingAlloc&) = delete;

    /// Whether the allocation has been asked for and refused.
    [[nodiscard]] bool failed() const;
};
