// sharedlib/net/internal/deletion_guard.h: tells a pass over an object what its host did to it in a callback.
#pragma once
#include <cstdint>

/// Stands on the stack while an object (the owner) may call its host's handler. Afterwards it says whether the owner is
/// gone or has begun a new life, and meanwhile which passes over it are under way. The owner keeps the innermost guard
/// and a generation number that it raises with every new life, and calls `ownerDeleted` when it ends.
class DeletionGuard {
public:
    /// What the guarded stretch does; a pass is never entered twice.
    enum class Pass { Event, Inbound, Write };

    /// Becomes the innermost guard of the owner whose chain and generation number these are.
    DeletionGuard(DeletionGuard*& innermost, const std::uint32_t& generation, Pass pass);
    /// Leaves the chain, if there still is one.
    ~DeletionGuard() {
        if (m_innermost != nullptr) {
            *m_innermost = m_outer;
        }
    }
    DeletionGuard(const DeletionGuard&) = delete;
    DeletionGuard& operator=(const DeletionGuard&) = delete;

    /// Whether the owner no longer exists; then nothing of it may be touched.
    [[nodiscard]] bool deleted() const { return m_innermost == nullptr; }
    /// Whether the owner exists and has not been closed or re-opened since the guard was set.
    [[nodiscard]] bool sameLife() const { return m_innermost != nullptr && *m_generation == m_born; }

    /// The innermost guard of `pass` in the chain, or null.
    static const DeletionGuard* find(const DeletionGuard* innermost, Pass pass) {
        while (innermost != nullptr && innermost->m_pass != pass) {
            innermost = innermost->m_outer;
        }
        return innermost;
    }
    /// Tells every guard in the chain that its owner ends.
    static void ownerDeleted(DeletionGuard* innermost) {
        for (; innermost != nullptr; innermost = innermost->m_outer) {
            innermost->m_innermost = nullptr;
        }
    }

private:
    DeletionGuard** m_innermost;
    DeletionGuard* m_outer;
    const std::uint32_t* m_generation;
    std::uint32_t m_born;
    Pass m_pass;
};
