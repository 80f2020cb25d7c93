// tests/containers/buffer_test.cpp: raw bytes, owned or borrowed.
#include "sharedlib/containers/buffer.h"
#include "tests/support/failing_alloc.h"
#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace {

std::string bytesOf(const Buffer& buffer) {
    return {buffer.readData(), buffer.size()};
}

TEST(Buffer, GrowsToExactlyWhatIsAskedWithZerosBehindItsBytes) {
    Buffer buffer;
    std::memset(buffer.writeData(), 'k', buffer.size());
    EXPECT_TRUE(buffer.checkSize(1024));
    EXPECT_EQ(bytesOf(buffer), std::string(1024, 'k'));
    EXPECT_TRUE(buffer.checkSize(2049));
    EXPECT_EQ(bytesOf(buffer), std::string(1024, 'k') + std::string(1025, '\0'));
    EXPECT_TRUE(Buffer(0U).checkSize(1));
}

TEST(Buffer, MemoryRunningOutKeepsWhatIsThere) {
    Buffer buffer(4U);
    std::memcpy(buffer.writeData(), "kept", 4);
    bool grew = true;
    {
        const FailingAlloc scarce(1);
        grew = buffer.checkSize(5);
    }
    EXPECT_FALSE(grew);
    EXPECT_EQ(bytesOf(buffer), "kept");
    const FailingAlloc scarce(1);
    EXPECT_EQ(Buffer(4U).size(), 0U);
}

TEST(Buffer, WrappedMemoryNeitherGrowsNorGoesAway) {
    const std::string bytes = "sixteen bytes...";
    const Buffer copy = [&bytes] {
        Buffer view(bytes.data(), 16);
        EXPECT_FALSE(view.canWrite());
        EXPECT_TRUE(view.checkSize(16));
        EXPECT_FALSE(view.checkSize(17));
        EXPECT_EQ(view.readData(), bytes.data());
        return Buffer(static_cast<const Buffer&>(view));
    }();
    EXPECT_TRUE(copy.canWrite());
    EXPECT_NE(copy.readData(), bytes.data());
    EXPECT_EQ(bytesOf(copy), bytes);
}

} // namespace
