// tests/support/failing_alloc.cpp: memory that runs out when a test says so.
#include "tests/support/failing_alloc.h"
#include <cstdlib>
#include <new>

FailingAlloc::FailingAlloc(int k) : m_atStart(s_failures) {
    s_untilFailure = k;
}

// All forms that the library reaches are replaced, because a sanitizer's own do not call each other.
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return FailingAlloc::failsNow() ? nullptr : std::malloc(size != 0 ? size : 1);
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
    return operator new(size, tag);
}
void* operator new(std::size_t size) {
    void* const memory = operator new(size, std::nothrow);
    return memory != nullptr ? memory : throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
