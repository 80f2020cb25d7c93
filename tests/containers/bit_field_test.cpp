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
    for (int i = std::max(from, 0); i < std::min(to, static_cast<int>(bits.size())); ++i) {
        if (bits[static_cast<std::size_t>(i)] && n-- == 0) {
            return i;
        }
    }
    return -1;
}

TEST(BitField, GrowsOnlyWhenAsked) {
    BitField field(40);
    EXPECT_FALSE(field.Set(39, true, false));
    EXPECT_TRUE(field.Set(39, true, false));
    EXPECT_FALSE(field.Set(40, true, false));
    EXPECT_EQ(field.Size(), 40);
    EXPECT_FALSE(field.Set(40, true, true));
    EXPECT_EQ(field.Size(), 41);
    EXPECT_TRUE(field.Get(40, false));
    EXPECT_EQ(field.GetCountOfBits(true), 2);
}

TEST(BitField, RefusesSizesAndIndexesOutOfRangeQuietly) {
    BitField field(100);
    field.SetAll();
    for (const int index : {INT_MIN, -1, 100, INT_MAX}) {
        EXPECT_FALSE(field.Get(index, true)) << index;
        EXPECT_FALSE(field.Set(index, false, false)) << index;
        EXPECT_EQ(field.FindSetBit(index, -1), -1) << index;
    }
    EXPECT_FALSE(field.Set(INT_MAX, true, true));
    EXPECT_FALSE(field.Set(-1, true, true));
    EXPECT_EQ(field.FindSetBit(0, INT_MIN), -1);
    EXPECT_EQ(field.FindSetBit(99, INT_MAX), 99);
    EXPECT_EQ(field.GetIndexOfNthBitSet(-1), -1);
    EXPECT_EQ(field.GetCountOfBits(true), 100);
    {
        const FailingAlloc scarce(1);
        field.Resize(INT_MAX);
        EXPECT_EQ(field.Size(), 100);
    }
    {
        const FailingAlloc scarce(1);
        EXPECT_FALSE(field.Set(5000, true, true));
        EXPECT_EQ(field.Size(), 100);
    }
    field.Init(-7);
    EXPECT_EQ(field.Size(), 0);
    EXPECT_EQ(BitField(INT_MIN).Size(), 0);
    EXPECT_EQ(field.FindSetBitAfterStartBit(), -1);
}

TEST(BitField, VisitsTheSetBitsInTurn) {
    BitField field(100);
    field.Set(3, true, false);
    field.Set(70, true, false);
    for (const int expected : {3, 70, 3, 70, 3}) {
        EXPECT_EQ(field.FindSetBitAfterStartBit(), expected);
    }
    field.setStartBit(INT_MAX);
    EXPECT_EQ(field.FindSetBitAfterStartBit(), 3);
    field.setStartBit(INT_MIN);
    EXPECT_EQ(field.FindSetBitAfterStartBit(), -1);
    EXPECT_EQ(field.getStartBit(), 0);
    field.Set(99, true, false);
    field.setStartBit(71);
    EXPECT_EQ(field.FindSetBitAfterStartBit(), 99);
    EXPECT_EQ(field.getStartBit(), 0);
    BitField copy(field);
    field.setStartBit(50);
    field = copy;
    EXPECT_EQ(field.getStartBit(), 50) << "assignment leaves the start position";
    field.Init(8);
    EXPECT_EQ(field.getStartBit(), 0);
}

TEST(BitField, BehavesLikeAVectorOfBools) {
    std::mt19937 random(20);
    BitField field;
    std::vector<bool> model;
    const auto below = [&random](int bound) { return static_cast<int>(random() % static_cast<unsigned>(bound)); };
    for (int step = 0; step < 20000; ++step) {
        const int index = below(200);
        switch (below(12)) {
        case 0:
            field.Resize(index);
            model.resize(static_cast<std::size_t>(index));
            break;
        case 1:
            if (below(20) == 0) {
                field.SetAll();
                model.assign(model.size(), true);
            }
            break;
        case 2:
            field = BitField(field);
            break;
        default: {
            const bool value = below(3) == 0;
            const bool grow = below(10) == 0;
            if (grow && index >= static_cast<int>(model.size())) {
                model.resize(static_cast<std::size_t>(index) + 1);
            }
            const bool known = index < static_cast<int>(model.size());
            ASSERT_EQ(field.Set(index, value, grow), known && model[static_cast<std::size_t>(index)]);
            if (known) {
                model[static_cast<std::size_t>(index)] = value;
            }
        }
        }
        const int size = static_cast<int>(model.size());
        const int from = below(210);
        const int to = below(210);
        ASSERT_EQ(field.Size(), size);
        ASSERT_EQ(field.GetCountOfBits(true), std::ranges::count(model, true));
        ASSERT_EQ(field.GetCountOfBits(false), std::ranges::count(model, false));
        ASSERT_EQ(field.FindSetBit(from, to), nthSet(model, from, to, 0)) << from << ' ' << to << " of " << size;
        ASSERT_EQ(field.FindSetBit(from, -1), nthSet(model, from, size, 0));
        ASSERT_EQ(field.GetIndexOfNthBitSet(from / 4), nthSet(model, 0, size, from / 4));
        ASSERT_EQ(field.Get(from, false), nthSet(model, from, from + 1, 0) == from);
    }
}

} // namespace
