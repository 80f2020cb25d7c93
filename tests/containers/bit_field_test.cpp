// tests/containers/bit_field_test.cpp: the bit set against a plain vector of bools.
#include "sharedlib/containers/bit_field.h"
#include "tests/support/failing_alloc.h"
#include <algorithm>
#include <climits>
#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace {

// The index of the n-th set bit in [from, to), or -1.
int nthSet(const std::vector<bool>& bits, int from, int to, int n) {
    for (int i = from; i < std::min(to, static_cast<int>(bits.size())); ++i) {
        if (bits[static_cast<std::size_t>(i)] && n-- == 0) {
            return i;
        }
    }
    return -1;
}

TEST(BitField, RefusesSizesAndIndexesOutOfRangeQuietly) {
    BitField field(100);
    field.SetAll();
    for (const int index : {INT_MIN, -1, 100, INT_MAX}) {
        EXPECT_FALSE(field.Get(index, true)) << index;
        EXPECT_FALSE(field.Set(index, false, index != 100)) << index;
        EXPECT_EQ(field.FindSetBit(index, -1), -1) << index;
    }
    EXPECT_EQ(field.FindSetBit(0, INT_MIN), -1);
    EXPECT_EQ(field.FindSetBit(99, INT_MAX), 99);
    EXPECT_EQ(field.GetIndexOfNthBitSet(-1), -1);
    for (const int size : {INT_MAX, 5000}) {
        const FailingAlloc scarce(1);
        field.Resize(size);
        EXPECT_EQ(field.GetCountOfBits(true), 100) << size;
    }
    field.setStartBit(INT_MAX);
    EXPECT_EQ(field.FindSetBitAfterStartBit(), 0);
    field.setStartBit(INT_MIN);
    EXPECT_EQ(field.FindSetBitAfterStartBit(), -1);
    EXPECT_EQ(field.getStartBit(), 0);
    field.Init(-7);
    EXPECT_EQ(field.Size(), 0);
}

TEST(BitField, BehavesLikeAVectorOfBools) {
    std::mt19937 random(20);
    const auto below = [&random](int bound) { return static_cast<int>(random() % static_cast<unsigned>(bound)); };
    BitField field;
    std::vector<bool> model;
    int start = 0;
    for (int step = 0; step < 20000; ++step) {
        const int action = below(200);
        const auto index = static_cast<std::size_t>(below(200));
        const bool grows = index >= model.size() && below(10) == 0;
        if (action < 16 || grows) {
            // A field that was empty begins anew.
            start = model.empty() ? 0 : start;
            model.resize(grows ? index + 1 : index);
        }
        if (action < 16 && !grows) {
            field.Resize(static_cast<int>(index));
        } else if (action == 16 && !grows) {
            field.SetAll();
            model.assign(model.size(), true);
        } else if (action < 30 && !grows) {
            BitField copy(field);
            ASSERT_EQ(copy.getStartBit(), start);
            copy.setStartBit(index > 100 ? 7 : start);
            field = copy;
        } else {
            const bool value = below(3) == 0;
            ASSERT_EQ(field.Set(static_cast<int>(index), value, grows), index < model.size() && model[index]);
            if (index < model.size()) {
                model[index] = value;
            }
        }
        const int size = static_cast<int>(model.size());
        const int from = below(210);
        const int to = below(210) - 1;
        ASSERT_EQ(field.Size(), size);
        ASSERT_EQ(field.GetCountOfBits(true), std::ranges::count(model, true));
        ASSERT_EQ(field.GetCountOfBits(false), std::ranges::count(model, false));
        ASSERT_EQ(field.FindSetBit(from, to), nthSet(model, from, to == -1 ? size : to, 0)) << from << ' ' << to;
        ASSERT_EQ(field.GetIndexOfNthBitSet(from / 4), nthSet(model, 0, size, from / 4));
        ASSERT_EQ(field.Get(from, false), nthSet(model, from, from + 1, 0) == from);
        const int ahead = nthSet(model, start, size, 0);
        const int found = ahead != -1 ? ahead : nthSet(model, 0, start, 0);
        ASSERT_EQ(field.FindSetBitAfterStartBit(), found);
        start = found + 1 < size ? found + 1 : 0;
    }
}

} // namespace
