// tests/packed/packed_data_growth_test.cpp: storage, positions far away, and memory that runs out.
#include "tests/support/failing_alloc.h"
#include "tests/support/packed_data_fixture.h"
#include <algorithm>
#include <climits>
#include <functional>

namespace {

TEST(PackedDataGrowth, TextsAreCutByTheir16BitLength) {
    const std::pair<std::size_t, std::size_t> cases[] = {{0, 0},     {32767, 32767}, {32768, 0},    {65535, 0},
                                                         {65536, 0}, {65537, 1},     {98303, 32767}};
    for (const auto& [length, written] : cases) {
        // Two bytes of room are left behind the header, or one, or none, or plenty.
        for (const int room : {3, 2, 1, 200000}) {
            CPackedData data(room);
            data.PutString(std::string(length, 's'));
            const std::string field{static_cast<char>(length), static_cast<char>(length >> 8)};
            ASSERT_EQ(bytesOf(data), std::string(1, '\0') + field + std::string(written, 's')) << length;
            data.PutData(std::string(70000, 'd').data(), 70000);
            data.ReadHeader();
            EXPECT_EQ(data.GetString(), std::string(written, 's')) << length;
            EXPECT_EQ(data.GetGetIndex(), static_cast<int>(1 + 2 + written)) << length;
        }
    }
}

TEST(PackedDataGrowth, SkippedBytesAreZeroOrWhatTheMessageHasHeldThere) {
    const std::function<void(CPackedData&, unsigned long)> ways[] = {
        [](CPackedData& data, unsigned long offset) { data.putSizeAtOffset(offset); },
        [](CPackedData& data, unsigned long offset) { data.testPutGrowth(static_cast<int>(offset) + 2); },
        [](CPackedData& data, unsigned long offset) {
            data.setPutIndex(offset);
            data.PutUint32(0x01010101);
        }};
    for (const unsigned long offset : {1UL, 124UL, 125UL, 127UL, 128UL, 1152UL, 1000000UL}) {
        for (const auto& way : ways) {
            CPackedData data;
            data.PutData(std::string(100, '\xEE').data(), 100);
            data.empty();
            data.PutUint8(9);
            way(data, offset);
            ASSERT_EQ(static_cast<std::size_t>(data.size()), offset + 4);
            for (std::size_t i = 2; i < offset; ++i) {
                ASSERT_EQ(data.readData()[i], '\0') << "byte " << i << " of " << offset;
            }
        }
    }
    CPackedData data;
    data.PutInt64(0x0807060504030201);
    data.setPutIndex(1);
    data.PutInt16(0);
    data.setPutIndex(9);
    data.PutBool(true);
    EXPECT_EQ(hex(bytesOf(data)), "00000003040506070801");
}

TEST(PackedDataGrowth, PositionsNoMessageCanHaveAreRefusedWithoutHarm) {
    for (const unsigned long offset :
         {0x7FFFFFFEUL, 0x80000000UL, 0xFFFFFFF0UL, 0xFFFFFFFFUL, 0x100000000UL, ULONG_MAX}) {
        CPackedData data;
        data.PutUint8(9);
        data.putSizeAtOffset(offset);
        EXPECT_EQ(data.GetPutIndex(), 2);
        data.setPutIndex(offset);
        data.PutInt32(1);
        data.PutString("text");
        data.PutData("data", 4);
        data.PutMagic();
        data.testPutGrowth(INT_MAX);
        EXPECT_EQ(data.GetPutIndex(), static_cast<int>(std::min<unsigned long>(offset, UINT_MAX)));
        EXPECT_EQ(hex(bytesOf(data)), "0009");
        EXPECT_EQ(data.Buffer::size(), 128U);
        data.setPutIndex(2);
        data.testPutGrowth(INT_MIN);
        EXPECT_EQ(data.size(), 0);
    }
}

TEST(PackedDataGrowth, ReadingNearTheLargestIndexNeverComesRound) {
    const std::string bytes(40, '\0');
    const CPackedData view(bytes.data(), 40);
    for (const unsigned long start : {37UL, 41UL, 0x7FFFFFFFUL, 0xFFFFFFF8UL, 0xFFFFFFFCUL, 0xFFFFFFFFUL, ULONG_MAX}) {
        view.setGetIndex(start);
        auto last = static_cast<std::uint32_t>(view.GetGetIndex());
        for (int i = 0; i < 6; ++i) {
            char target[8];
            EXPECT_EQ(view.GetInt64(), 0);
            view.GetData(target, INT_MAX);
            view.SkipData(INT_MAX);
            EXPECT_EQ(view.GetString(), "");
            const auto now = static_cast<std::uint32_t>(view.GetGetIndex());
            EXPECT_GE(now, last) << start;
            last = now;
        }
        EXPECT_FALSE(view.checkBounds(INT_MAX));
    }
    view.setGetIndex(30);
    EXPECT_TRUE(view.checkBounds(10));
    EXPECT_FALSE(view.checkBounds(11));
    EXPECT_FALSE(view.checkBounds(-1));
    view.SkipDataNoDebug(-5);
    view.SkipDataNoDebug(11);
    EXPECT_EQ(view.GetGetIndex(), 30);
}

TEST(PackedDataGrowth, WriteThatMemoryCannotHoldLeavesTheMessageAsItWas) {
    const std::string blob(3000, 'b');
    CPackedData big;
    big.PutData(blob.data(), 3000);
    const std::function<void(CPackedData&)> writes[] = {
        [](CPackedData& data) { data.PutInt64(1); },
        [](CPackedData& data) { data.PutString("text"); },
        [&](CPackedData& data) { data.PutData(blob.data(), 3000); },
        [](CPackedData& data) { data.testPutGrowth(900); },
        [](CPackedData& data) { data.putSizeAtOffset(900); },
        [&](CPackedData& data) { data.copy(big); },
    };
    // Without tags, with no room for the tag, and with room for the tag alone.
    for (const int capacity : {3, 5, 6}) {
        for (const auto& write : writes) {
            CPackedData data(capacity);
            data.setDebug(capacity > 3);
            data.PutUint8(1);
            data.PutBool(false);
            const std::string before = bytesOf(data);
            const FailingAlloc scarce(1);
            write(data);
            EXPECT_TRUE(scarce.failed());
            EXPECT_EQ(bytesOf(data), before);
            EXPECT_EQ(data.GetPutIndex(), static_cast<int>(before.size()));
            data.PutBool(true);
            EXPECT_EQ(data.size(), static_cast<int>(before.size()) + (capacity > 3 ? 2 : 1));
        }
    }
}

TEST(PackedDataGrowth, MessageAsDestinationTakesZerosForWhatIsNotThere) {
    CPackedData source;
    source.PutData("0123456789", 10);
    CPackedData target;
    target.PutData("abc", 3);
    target.empty();
    source.GetData(target, 4);
    EXPECT_EQ(bytesOf(target), "0123");
    source.GetData(target, 200);
    source.GetData(target, -1);
    EXPECT_EQ(bytesOf(target), "0123" + std::string(196, '\0'));
    EXPECT_EQ(source.GetGetIndex(), 5);
    source.setGetIndex(1);
    source.GetData(source, 10);
    EXPECT_EQ(bytesOf(source), "0123456789") << "into itself";
}

} // namespace
