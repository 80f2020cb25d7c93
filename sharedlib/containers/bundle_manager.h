// sharedlib/containers/bundle_manager.h: the process-wide pool of the fixed-size blocks that byte queues are made of.
#pragma once
#include "sharedlib/export.h"

#include <cstdint>

/// One block of a byte queue: this header and, right behind it in the same allocation, `capacity` bytes of payload,
/// which are aligned as well as the heap aligns anything: whole blocks are copied faster that way.
struct alignas(__STDCPP_DEFAULT_NEW_ALIGNMENT__) BufferBundle {
    /// The following block in a queue or among the pooled blocks of the same size; null at the end.
    BufferBundle* next = nullptr;
    /// Only in the first pooled block of its size: the first pooled block of another size.
    BufferBundle* nextSize = nullptr;
    /// Payload bytes that the block holds.
    std::int32_t capacity = 0;
    /// Payload bytes stored; in the first block of a queue those not yet consumed.
    std::int32_t used = 0;

    /// The payload.
    char* data() { return reinterpret_cast<char*>(this + 1); }
    /// The payload.
    const char* data() const { return reinterpret_cast<const char*>(this + 1); }
};

/// The pool of queue blocks. There is one instance; it is empty when the library is loaded, recycles blocks while the
/// process runs, and frees what it holds when it is cleared or the library unloads. Blocks of different sizes never
/// mix: a block is handed out again only to a request of its own size. Not locked: it belongs to the pumping thread.
class SHAREDLIB_API CBundleManager {
public:
    CBundleManager(const CBundleManager&) = delete;
    CBundleManager& operator=(const CBundleManager&) = delete;
    /// Frees the pooled blocks.
    virtual ~CBundleManager();

    /// Starts the pool afresh: no pooled block, size and both counts 0. Frees nothing: blocks pooled before are
    /// forgotten.
    static void init();
    /// The one pool. It may be used at any time, also by static objects that outlive the library's own.
    static CBundleManager* getInstance() { return s_instance != nullptr ? s_instance : makeInstance(); }

    /// An empty block of `size` bytes, pooled or fresh, which the caller gives back with `returnBundle`. Null when
    /// `size` is 0 or less or memory runs out. Records `size` as the bundle size in every case.
    BufferBundle* getBundle(int size);
    /// Takes a block back into the pool. After the library's unload has freed the pool the block is freed instead.
    void returnBundle(BufferBundle* bundle);
    /// Frees every pooled block; blocks held by queues stay as they are.
    void clear();

    /// The size of the most recent request; 0 before the first.
    int getBundleSize() const { return m_bundleSize; }
    /// Blocks allocated and not yet freed, in queues or pooled.
    int getTotalBundleCount() const { return m_totalCount; }
    /// Blocks in the pool.
    int getFreeBundleCount() const { return m_freeCount; }

protected:
    CBundleManager() = default;
    /// A fresh empty block of `size` bytes, counted in the total; null when memory runs out.
    BufferBundle* allocBundle(int size);
    /// Frees a block that was taken out of the free list and takes it off both counts.
    void deallocBundle(BufferBundle* bundle);

private:
    friend struct BundleManagerCloser;

    static CBundleManager* makeInstance();
    void close();
    BufferBundle** findSize(std::int32_t size);
    BufferBundle* unlinkFirst(BufferBundle** first);

    BufferBundle* m_freeList = nullptr;
    std::int32_t m_bundleSize = 0;
    std::int32_t m_totalCount = 0;
    std::int32_t m_freeCount = 0;
    bool m_closed = false;
    static CBundleManager* s_instance;
};
