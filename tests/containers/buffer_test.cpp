// tests/containers/buffer_test.cpp: raw bytes, owned or borrowed.
#include "sharedlib/containers/buffer.h"
#include "tests/support/failing_alloc.h"
#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace {

TEST(Buffer, GrowsToExactlyWhatIsAskedAndKeepsItsBytes) {
    Buffer buffer;
    ASSERT_EQ(buffer.size(), Buffer::BUFFER_DEFAULT_SIZE);
    std::memset(buffer.writeData(), 'k', buffer.size());
    EXPECT_TRUE(buffer.checkSize(1024));
    EXPECT_EQ(buffer.size(), 1024U);
    EXPECT_TRUE(buffer.checkSize(2049));
    EXPECT_EQ(buffer.size(), 2049U);
    EXPECT_EQ(std::string(buffer.readData(), 1025), std::string(1024, 'k') + '\0');
    Buffer none(0U);
    EXPECT_TRUE(none.canWrite());
    EXPECT_TRUE(none.checkSize(1));
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
    EXPECT_EQ(std::string(copy.readData(), copy.size()), bytes);
}

TEST(Buffer, MemoryRunningOutKeepsWhatIsThere) {
    Buffer buffer(4U);
    std::memcpy(buffer.writeData(), "kept", 4);
    {
        const FailingAlloc scarce(1);
        EXPECT_FALSE(buffer.checkSize(5));
    }
    EXPECT_EQ(std::string(buffer.readData(), buffer.size()), "kept");
    const FailingAlloc scarce(1);
    const Buffer nothing(4U);
    EXPECT_EQ(nothing.size(), 0U);
}

} // namespace
