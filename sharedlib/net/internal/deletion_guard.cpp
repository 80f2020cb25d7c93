// sharedlib/net/internal/deletion_guard.cpp: tells a pass over an object what its host did to it in a callback.
#include "sharedlib/net/internal/deletion_guard.h"

DeletionGuard::DeletionGuard(DeletionGuard*& innermost, const std::uint32_t& generation, Pass pass)
    : m_innermost(&innermost), m_outer(innermost), m_generation(&generation), m_born(generation), m_pass(pass) {
    innermost = this;
}

DeletionGuard::~DeletionGuard() {
    if (m_innermost != nullptr) {
        *m_innermost = m_outer;
    }
}
