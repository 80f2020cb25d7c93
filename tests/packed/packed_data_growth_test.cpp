// tests/packed/packed_data_growth_test.cpp: storage, positions far away, and memory that runs out.
#include "sharedlib/packed/packed_data.h"
#include "tests/support/failing_alloc.h"
#include <algorithm>
#include <climits>
#include <gtest/gtest.h>
#include <string>

namespace {

std::string bytesOf(const CPackedData& data) {
    return {data.readData(), static_cast<std::size_t>(data.size())};
}

TEST(PackedDataGrowth, StepsAreAtLeast1024Bytes) {
    CPackedData data;
    EXPECT_EQ(data.Buffer::size(), 128U);
    data.PutData(std::string(127, 'x').data(), 127);
    EXPECT_EQ(data.Buffer::size(), 128U);
    data.PutBool(true);
    EXPECT_EQ(data.Buffer::size(), 128U + 1024U);
    data.PutData(std::string(5000, 'x').data(), 5000);
    EXPECT_EQ(data.Buffer::size(), 128U + 1024U + 5000U);
    data.testPutGrowth(1024);
    EXPECT_EQ(data.Buffer::size(), 128U + 1024U + 5000U + 1024U);
    EXPECT_EQ(data.size(), 1 + 127 + 1 + 5000 + 1024);
    EXPECT_EQ(bytesOf(data).substr(5129), std::string(1024, '\0')) << "nobody's bytes may become part of a message";
}

TEST(PackedDataGrowth, TextsAreCutByTheir16BitLength) {
    const struct {
        std::size_t length;
        std::size_t written;
    } cases[] = {{0, 0}, {32767, 32767}, {32768, 0}, {65535, 0}, {65536, 0}, {65537, 1}, {98303, 32767}};
    for (const auto& [length, written] : cases) {
        // Two bytes of room are left behind the header, or one, or none, or plenty.
        for (const int room : {3, 2, 1, 200000}) {
            CPackedData data(room);
            data.PutString(std::string(length, 's'));
            ASSERT_EQ(data.size(), static_cast<int>(1 + 2 + written)) << length;
            EXPECT_EQ(static_cast<unsigned char>(data.readData()[1]), length % 256);
            EXPECT_EQ(static_cast<unsigned char>(data.readData()[2]), length / 256 % 256);
            data.PutData(std::string(70000, 'd').data(), 70000);
            data.ReadHeader();
            EXPECT_EQ(data.GetString(), std::string(written, 's')) << length;
            EXPECT_EQ(data.GetGetIndex(), static_cast<int>(1 + 2 + written)) << length;
        }
    }
}

TEST(PackedDataGrowth, WritingFarBeyondTheStorageLeavesZerosBetween) {
    for (const unsigned long offset : {0UL, 1UL, 124UL, 125UL, 127UL, 128UL, 1152UL, 1000000UL}) {
        for (const bool asSize : {false, true}) {
            CPackedData data;
            data.PutData(std::string(100, '\xEE').data(), 100);
            data.empty();
            data.PutUint8(9);
            if (asSize) {
                data.putSizeAtOffset(offset);
            } else {
                data.setPutIndex(offset);
                data.PutUint32(0x01010101);
            }
            const std::string bytes = bytesOf(data);
            const auto end = offset == 0 ? 5 : offset + 4;
            ASSERT_EQ(bytes.size(), end) << offset;
            for (std::size_t i = 2; i < offset; ++i) {
                ASSERT_EQ(bytes[i], '\0') << "byte " << i << " of " << offset;
            }
        }
    }
}

TEST(PackedDataGrowth, PositionsNoMessageCanHaveAreRefusedWithoutHarm) {
    for (const unsigned long offset :
         {0x7FFFFFFEUL, 0x80000000UL, 0xFFFFFFF0UL, 0xFFFFFFFFUL, 0x100000000UL, ULONG_MAX}) {
        CPackedData data;
        data.PutUint8(9);
        data.setPutIndex(offset);
        data.PutInt32(1);
        data.PutString("text");
        data.PutData("data", 4);
        data.PutMagic();
        data.testPutGrowth(INT_MAX);
        EXPECT_EQ(data.size(), 2);
        EXPECT_EQ(data.GetPutIndex(), static_cast<int>(std::min<unsigned long>(offset, UINT_MAX)));
        data.setPutIndex(2);
        data.putSizeAtOffset(offset);
        EXPECT_EQ(data.GetPutIndex(), 2);
        EXPECT_EQ(data.size(), 2);
        EXPECT_EQ(data.Buffer::size(), 128U);
        EXPECT_EQ(data.GetUint8(), 9);
    }
    CPackedData data;
    data.PutUint8(9);
    data.testPutGrowth(-1);
    EXPECT_EQ(data.size(), 1);
    data.testPutGrowth(INT_MIN);
    EXPECT_EQ(data.size(), 0);
}

TEST(PackedDataGrowth, ReadingNearTheLargestIndexNeverComesRound) {
    const std::string bytes(40, '\0');
    for (const unsigned long start : {37UL, 41UL, 0x7FFFFFFFUL, 0xFFFFFFF8UL, 0xFFFFFFFCUL, 0xFFFFFFFFUL, ULONG_MAX}) {
        const CPackedData view(bytes.data(), 40);
        view.ReadHeader();
        view.setGetIndex(start);
        std::uint32_t last = static_cast<std::uint32_t>(view.GetGetIndex());
        char target[8] = {};
        for (int i = 0; i < 6; ++i) {
            EXPECT_EQ(view.GetInt64(), 0);
            view.GetData(target, INT_MAX);
            view.SkipData(INT_MAX);
            EXPECT_EQ(view.GetString(), "");
            EXPECT_EQ(view.GetUint8(), 0);
            const auto now = static_cast<std::uint32_t>(view.GetGetIndex());
            EXPECT_GE(now, last) << start;
            last = now;
        }
        EXPECT_FALSE(view.checkBounds(INT_MAX));
        EXPECT_FALSE(view.checkBounds(-1));
    }
    const CPackedData view(bytes.data(), 40);
    view.setGetIndex(30);
    EXPECT_TRUE(view.checkBounds(10));
    EXPECT_FALSE(view.checkBounds(11));
    view.SkipDataNoDebug(-5);
    view.SkipDataNoDebug(11);
    EXPECT_EQ(view.GetGetIndex(), 30);
}

TEST(PackedDataGrowth, WriteThatMemoryCannotHoldLeavesTheMessageAsItWas) {
    const std::string blob(3000, 'b');
    const std::string shortText = "text";
    // Without tags, with no room for the tag, and with room for the tag alone.
    for (const int capacity : {3, 5, 6}) {
        const bool tags = capacity > 3;
        for (int kind = 0; kind < 6; ++kind) {
            CPackedData data(capacity);
            data.setDebug(tags);
            data.PutUint8(1);
            data.PutBool(false);
            const std::string before = bytesOf(data);
            CPackedData big;
            big.PutData(blob.data(), 3000);
            const FailingAlloc scarce(1);
            switch (kind) {
            case 0:
                data.PutInt64(1);
                break;
            case 1:
                data.PutString(shortText);
                break;
            case 2:
                data.PutData(blob.data(), 3000);
                break;
            case 3:
                data.testPutGrowth(900);
                break;
            case 4:
                data.copy(big);
                break;
            default:
                data.setPutIndex(data.Buffer::size());
                data.PutMagic();
                data.setPutIndex(before.size());
            }
            EXPECT_TRUE(scarce.failed()) << kind;
            EXPECT_EQ(bytesOf(data), before) << kind;
            EXPECT_EQ(data.GetPutIndex(), static_cast<int>(before.size())) << kind;
            data.PutInt16(2);
            EXPECT_EQ(data.size(), static_cast<int>(before.size()) + (tags ? 3 : 2)) << kind;
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
    EXPECT_EQ(target.size(), 200);
    EXPECT_EQ(bytesOf(target), "0123" + std::string(196, '\0'));
    EXPECT_EQ(source.GetGetIndex(), 5);
    source.GetData(target, -1);
    EXPECT_EQ(target.size(), 200);
    source.setGetIndex(1);
    source.GetData(source, 10);
    EXPECT_EQ(bytesOf(source), "0123456789") << "into itself";
}

} // namespace
