// sharedlib/net/internal/deletion_guard.cpp: tells a pass over an object what its host did to it in a callback.
#include "sharedlib/net/internal/deletion_guard.h"

// Not in the header: where it is inlined, compilers warn of a pointer to a local variable that is left behind.
DeletionGuard::DeletionGuard(DeletionGuard*& innermost, const std::uint32_t& generation, Pass pass)
    : m_innermost(&innermost), m_outer(innermost), m_generation(&generation), m_born(generation), m_pass(pass) {
    innermost = this;
}
