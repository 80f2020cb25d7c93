// tests/util/memory_map_test.cpp: files as memory, of all sizes and kinds.
#include "sharedlib/util/memory_map.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_folder.h"
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool isNothing(const MemoryMap& map) {
    return map.GetBuffer() == nullptr && map.GetSize() == 0;
}

} // namespace

TEST(MemoryMap, ShowsAFileAndKeepsOthersOutWhileItLives) {
    const TempFolder folder;
    LogCapture log;
    folder.write("Data.bin", std::string("0123\0\r\n789", 10));
    {
        // The library's paths know no case.
        const MemoryMap map(folder.library("data.BIN").c_str());
        ASSERT_NE(nullptr, map.GetBuffer());
        EXPECT_EQ(std::string("0123\0\r\n789", 10),
                  std::string(static_cast<const char*>(map.GetBuffer()), static_cast<std::size_t>(map.GetSize())));
        EXPECT_TRUE(isNothing(MemoryMap(folder.native("Data.bin").c_str())));
        EXPECT_EQ(1,
                  log.count(LogSev_Error, Log::Generic, "MemoryMap: Unable to open file: Device or resource busy\n"));
    }
    EXPECT_EQ(10, MemoryMap(folder.native("Data.bin").c_str()).GetSize());
    EXPECT_EQ(1U, log.lines().size());
}

TEST(MemoryMap, ShowsTheEndOfAFileOfMoreThan4GiB) {
    const TempFolder folder;
    constexpr std::int64_t kSize = (std::int64_t{5} << 30) + 3;
    folder.write("large", "first");
    ASSERT_EQ(0, truncate(folder.native("large").c_str(), kSize));
    const MemoryMap map(folder.library("large").c_str());
    ASSERT_EQ(kSize, map.GetSize());
    const auto* const bytes = static_cast<const char*>(map.GetBuffer());
    ASSERT_NE(nullptr, bytes);
    EXPECT_EQ('f', bytes[0]);
    EXPECT_EQ('\0', bytes[kSize - 1]);
}

TEST(MemoryMap, WhatIsNoFileWithBytesHasNoViewAndOneLine) {
    const TempFolder folder;
    folder.write("empty");
    folder.makeFolder("folder");
    ASSERT_EQ(0, mkfifo(folder.native("pipe").c_str(), 0600));
    const std::pair<const char*, const char*> cases[] = {
        {"missing", "MemoryMap: Unable to open file: No such file or directory\n"},
        {"empty", "MemoryMap: Cannot create file mapping on 0-byte file"},
        {"folder", "MemoryMap: Unable to open file: Is a directory\n"},
        {"pipe", "MemoryMap: Unable to open file: Invalid argument\n"}};
    for (const auto& [name, line] : cases) {
        const LogCapture log;
        EXPECT_TRUE(isNothing(MemoryMap(folder.library(name).c_str()))) << name;
        EXPECT_EQ((std::vector<LogLineSeen>{{LogSev_Error, Log::Generic, line}}), log.lines()) << name;
    }
    const LogCapture log;
    EXPECT_TRUE(isNothing(MemoryMap(nullptr)));
    EXPECT_EQ(1, log.countContaining("MemoryMap: Unable to open file: "));
}
