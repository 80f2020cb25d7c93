// sharedlib/containers/bundle_manager.cpp: the process-wide pool of queue blocks.
#include "sharedlib/containers/bundle_manager.h"

#include <cstddef>
#include <new>

/// Frees the pooled blocks when the library unloads.
struct BundleManagerCloser {
    BundleManagerCloser() = default;
    BundleManagerCloser(const BundleManagerCloser&) = delete;
    BundleManagerCloser& operator=(const BundleManagerCloser&) = delete;
    ~BundleManagerCloser() { CBundleManager::getInstance()->close(); }
};

namespace {

const BundleManagerCloser s_closer;

} // namespace

CBundleManager* CBundleManager::s_instance = nullptr;

CBundleManager::~CBundleManager() {
    clear();
}

void CBundleManager::init() {
    CBundleManager* const pool = getInstance();
    pool->m_freeList = nullptr;
    pool->m_bundleSize = 0;
    pool->m_totalCount = 0;
    pool->m_freeCount = 0;
}

BufferBundle* CBundleManager::getBundle(int size) {
    m_bundleSize = size;
    BufferBundle** const first = findSize(size);
    if (*first == nullptr) {
        return allocBundle(size);
    }
    --m_freeCount;
    return unlinkFirst(first);
}

void CBundleManager::returnBundle(BufferBundle* bundle) {
    if (m_closed) {
        ++m_freeCount;
        deallocBundle(bundle);
        return;
    }
    BufferBundle** const first = findSize(bundle->capacity);
    bundle->next = *first;
    bundle->nextSize = *first != nullptr ? (*first)->nextSize : nullptr;
    *first = bundle;
    ++m_freeCount;
}

void CBundleManager::clear() {
    while (m_freeList != nullptr) {
        deallocBundle(unlinkFirst(&m_freeList));
    }
}

BufferBundle* CBundleManager::allocBundle(int size) {
    if (size <= 0) {
        return nullptr;
    }
    void* const memory = ::operator new(sizeof(BufferBundle) + static_cast<std::size_t>(size), std::nothrow);
    if (memory == nullptr) {
        return nullptr;
    }
    ++m_totalCount;
    auto* const bundle = new (memory) BufferBundle;
    bundle->capacity = size;
    return bundle;
}

void CBundleManager::deallocBundle(BufferBundle* bundle) {
    ::operator delete(bundle);
    --m_totalCount;
    --m_freeCount;
}

// The pool is never destroyed: a static queue that dies after the library's own static objects still gives its blocks
// back.
CBundleManager* CBundleManager::makeInstance() {
    alignas(CBundleManager) static unsigned char s_memory[sizeof(CBundleManager)];
    s_instance = new (s_memory) CBundleManager;
    return s_instance;
}

void CBundleManager::close() {
    clear();
    m_closed = true;
}

// The pointer to the first pooled block of `size` bytes, or to the null at the end of the sizes. There is one size in
// nearly every process, so the walk is one step.
BufferBundle** CBundleManager::findSize(std::int32_t size) {
    BufferBundle** first = &m_freeList;
    while (*first != nullptr && (*first)->capacity != size) {
        first = &(*first)->nextSize;
    }
    return first;
}

// Takes the block that `*first` points to out of the free list and makes it ready for use.
BufferBundle* CBundleManager::unlinkFirst(BufferBundle** first) {
    BufferBundle* const bundle = *first;
    if (bundle->next != nullptr) {
        bundle->next->nextSize = bundle->nextSize;
        *first = bundle->next;
    } else {
        *first = bundle->nextSize;
    }
    bundle->next = nullptr;
    bundle->nextSize = nullptr;
    bundle->used = 0;
    return bundle;
}
