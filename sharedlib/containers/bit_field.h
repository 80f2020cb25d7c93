// sharedlib/containers/bit_field.h: a growable set of bits with a rotating start position.
#pragma once
#include "sharedlib/export.h"

#include <cstdint>
#include <memory>

/// A growable set of bits addressed by index. Indexes out of range, and sizes that memory cannot hold, are refused
/// quietly. One thread at a time.
class SHAREDLIB_API BitField {
public:
    /// An empty field.
    BitField() = default;
    /// A field of `bits` clear bits; empty for 0 or less.
    explicit BitField(int bits);
    /// A deep copy, the start position included.
    BitField(const BitField& other);
    /// Takes over the other's bits and size; this field keeps its own start position.
    void operator=(const BitField& other);
    virtual ~BitField();

    /// Forgets all bits, then holds `bits` clear ones (none for 0 or less). The start position becomes 0.
    void Init(int bits);
    /// Changes the number of bits: those below both sizes keep their value, bits that come in are clear. 0 or less
    /// empties the field. Shrinking keeps the memory.
    void Resize(int bits);
    /// Forgets all bits and frees their memory; the start position stays.
    void Dispose();
    /// Makes every bit 0.
    void Clear();
    /// Makes every bit 1.
    void SetAll();

    /// Sets bit `index` and returns its previous value. An index at or above `Size()` first grows the field to hold it
    /// when `grow` is true; otherwise, and for a negative index, nothing changes and the result is false.
    bool Set(int index, bool value, bool grow);
    /// The value of bit `index`; false out of range. The second argument has no effect.
    bool Get(int index, bool unused) const;
    /// How many bits equal `value`.
    int GetCountOfBits(bool value) const;
    /// The index of the `n`-th set bit, counted from 0 in index order; -1 when there is none.
    int GetIndexOfNthBitSet(int n) const;
    /// The lowest set index i with `from` <= i < `to`, or -1; a `to` of -1 means `Size()`. A negative
    /// `from` finds nothing.
    int FindSetBit(int from, int to) const;
    /// The next set bit at or after the start position, wrapping around, or -1; the start position moves behind it, so
    /// that repeated calls visit all set bits in turn.
    int FindSetBitAfterStartBit();

    /// The number of bits.
    int Size() const { return m_bitCount; }
    /// The position at which `FindSetBitAfterStartBit` searches next.
    int getStartBit() const { return m_startBit; }
    /// Sets that position.
    void setStartBit(int startBit) { m_startBit = startBit; }
    /// Sets that position to 0.
    void resetStartBit() { m_startBit = 0; }

private:
    void clearBits(std::int32_t first, std::int64_t end);
    std::uint32_t validBits(std::int32_t word) const;

    std::unique_ptr<std::uint32_t[]> m_words;
    std::int32_t m_bitCount = 0;
    std::int32_t m_wordCount = 0;
    std::int32_t m_startBit = 0;
};
