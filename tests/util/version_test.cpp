// tests/util/version_test.cpp: order, packing, and the versions of real, made-up and hostile executables.
#include "sharedlib/packed/packed_data.h"
#include "sharedlib/util/version.h"
#include "tests/support/failing_alloc.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_folder.h"
#include <filesystem>
#include <gtest/gtest.h>
#include <random>

namespace {

/// A little PE file whose only section is its resources, laid out so that a test can spoil any part of it.
struct Program {
    static constexpr std::size_t kHeader = 64;
    static constexpr std::size_t kSection = 0x200;
    static constexpr std::uint32_t kAddress = 0x3000;

    explicit Program(bool wide) {
        const std::size_t optional = kHeader + 24;
        const std::size_t directories = optional + (wide ? 112 : 96);
        put16(0, 0x5A4D), put32(60, kHeader);
        put32(kHeader, 0x4550), put16(kHeader + 6, 1), put16(kHeader + 20, wide ? 240 : 224);
        put16(optional, wide ? 0x20B : 0x10B), put32(directories - 4, 16);
        put32(directories + 16, kAddress), put32(directories + 20, 0x200);
        const std::size_t table = optional + (wide ? 240 : 224);
        put32(table + 12, kAddress), put32(table + 16, 0x200), put32(table + 20, kSection);
        // Three directories: another type in front of versions; the version's name 1; its language.
        put16(kSection + 12, 1), put16(kSection + 14, 1);
        put32(kSection + 16, 0x8000'0100), put32(kSection + 24, 16), put32(kSection + 28, 0x8000'0040);
        put16(kSection + 0x40 + 14, 1), put32(kSection + 0x50, 1), put32(kSection + 0x54, 0x8000'0060);
        put16(kSection + 0x60 + 14, 1), put32(kSection + 0x70, 1031), put32(kSection + 0x74, 0x80);
        put32(kSection + 0x80, kAddress + 0xA0), put32(kSection + 0x84, 92);
        const std::size_t info = kSection + 0xA0;
        put16(info, 92), put16(info + 2, 52), put32(info + 40, 0xFEEF04BD);
        put32(info + 48, 0x0001'0002), put32(info + 52, 0x0003'FFFF);
    }
    void put16(std::size_t at, std::uint32_t value) { put(at, value, 2); }
    void put32(std::size_t at, std::uint32_t value) { put(at, value, 4); }
    void put(std::size_t at, std::uint32_t value, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i, value >>= 8) {
            bytes[at + i] = static_cast<char>(value);
        }
    }

    std::string bytes = std::string(kSection + 0x200, '\0');
};

bool isVersion(Version version, int major, int minor, int minor2, int build) {
    return version.getMajor() == major && version.getMinor() == minor && version.getMinor2() == minor2 &&
           version.getBuild() == build;
}

} // namespace

TEST(Version, TheFirstPartThatDiffersDecides) {
    const Version ascending[] = {
        {},          {0, 0, 0, 1}, {0, 0, 1, 0}, {0, 1, 0, 0}, {1, 2, 3, 4}, {1, 2, 4, 0}, {2, 65535, 65535, 65535},
        {3, 0, 0, 0}};
    for (const Version& a : ascending) {
        for (const Version& b : ascending) {
            EXPECT_EQ(&a < &b, a < b);
            EXPECT_EQ(&a <= &b, a <= b);
            EXPECT_EQ(&a > &b, a > b);
            EXPECT_EQ(&a >= &b, a >= b);
            EXPECT_EQ(&a == &b, a == b);
            EXPECT_EQ(&a != &b, a != b);
        }
        EXPECT_EQ(&a != ascending, a.isValid());
    }
}

TEST(Version, FoldsIntoAnIntegerOfSignedBytes) {
    EXPECT_EQ(34670848, Version(Version::current()).toInt());
    EXPECT_EQ(16777160, Version(1, 0, 0, 200).toInt());
    EXPECT_EQ(256, Version(0, 0, 0x7701, 0).toInt());
    EXPECT_EQ(2147417855, Version(128, 255, 255, 255).toInt());
}

TEST(Version, TravelsInAMessage) {
    for (const bool tags : {false, true}) {
        CPackedData message;
        message.setDebug(tags);
        Version(1, 2, 0xFEDC, 65535).pack(message);
        EXPECT_EQ(tags ? 13 : 9, message.size());
        Version version(9, 9, 9, 9);
        const CPackedData received(message);
        version.unpack(const_cast<CPackedData&>(received));
        EXPECT_TRUE(isVersion(version, 1, 2, 0xFEDC, 65535));
        version.unpack(message);
        version.unpack(message);
        EXPECT_FALSE(version.isValid()) << "nothing is left";
    }
}

TEST(Version, NamesItsBuilder) {
    EXPECT_TRUE(isVersion(Version::current(), 2, 17, 9, 0));
    EXPECT_STRNE("", Version::currentMachine());
    EXPECT_STRNE("", Version::currentUser());
    EXPECT_STREQ("", Version::getDebug());
}

TEST(Version, IsFoundInProgramsOfBothWidths) {
    const TempFolder folder;
    const LogCapture log;
    for (const bool wide : {false, true}) {
        folder.write("Game.exe", Program(wide).bytes);
        EXPECT_TRUE(isVersion(Version::find(folder.library("game.EXE").c_str()), 1, 2, 3, 65535));
    }
    EXPECT_TRUE(log.lines().empty());
}

TEST(Version, IsFoundInWhatAResourceCompilerMade) {
    if (std::string(SHAREDLIB_VERSIONED_EXE).empty()) {
        GTEST_SKIP() << "no resource compiler";
    }
    EXPECT_TRUE(isVersion(Version::find(SHAREDLIB_VERSIONED_EXE), 7, 65535, 0, 258));
}

TEST(Version, WhatHasNoVersionIsLoggedInOneLine) {
    const TempFolder folder;
    const Program good(true);
    const auto with = [&](std::size_t at, std::uint32_t value) {
        Program program = good;
        program.put32(at, value);
        return program.bytes;
    };
    const std::size_t root = Program::kSection;
    const std::size_t directories = Program::kHeader + 24 + 112;
    struct Case {
        std::string bytes;
        std::string line;
    };
    const std::string name = folder.library("case.exe") + ": ";
    const std::string noVersion = name + "No data available\n";
    const std::string noProgram = name + "Exec format error\n";
    const std::string badInfo = "Failed to get version info: No data available\n";
    const Case cases[] = {{"", noProgram},
                          {"\x7F"
                           "ELF and no more",
                           noProgram},
                          {with(60, 0xFFFF'FFF0), noProgram},
                          {with(Program::kHeader, 0x4551), noProgram},
                          {with(directories + 16, 0), noVersion},
                          {with(directories - 4, 2), noVersion},
                          {with(directories + 16, 0x9000'0000), noProgram},
                          {with(root + 24, 17), noVersion},
                          // A directory that is its own child, one that never ends, one far away, a leaf too early.
                          {with(root + 28, 0x8000'0000), noVersion},
                          {with(root + 12, 0xFFFF'FFFF), noProgram},
                          {with(root + 28, 0xFFFF'FFFF), noProgram},
                          {with(root + 28, 0x80), noProgram},
                          // Information that wraps, that is larger than the file, that is of another kind.
                          {with(root + 0x80, 0xFFFF'FFF0), noProgram},
                          {with(root + 0x84, 0xFFFF'FFFF), noProgram},
                          {with(root + 0x84, 0), noProgram},
                          {with(root + 0x84, 91), badInfo},
                          {with(root + 0xA0 + 40, 0), badInfo},
                          {good.bytes.substr(0, root + 0xB0), "Failed to get version info: No data available\n"}};
    for (const Case& bad : cases) {
        const LogCapture log;
        folder.write("case.exe", bad.bytes);
        EXPECT_FALSE(Version::find(folder.library("case.exe").c_str()).isValid());
        EXPECT_EQ((std::vector<LogLineSeen>{{LogSev_Error, Log::Generic, bad.line}}), log.lines());
    }
    const LogCapture log;
    EXPECT_FALSE(Version::find(nullptr).isValid());
    EXPECT_FALSE(Version::find(folder.library("missing").c_str()).isValid());
    EXPECT_EQ(1, log.countContaining("missing: No such file or directory\n"));
    EXPECT_EQ(2U, log.lines().size());
}

TEST(Version, IsNotFoundWhenMemoryRunsOutAndNothingIsThrown) {
    const TempFolder folder;
    folder.write("good.exe", Program(true).bytes);
    const std::string name = folder.native("good.exe");
    int line = 0;
    LogCapture log;
    for (bool failed = true; failed; ++line) {
        const FailingAlloc noMemory(line + 1);
        const Version version = Version::find(name.c_str());
        failed = noMemory.failed();
        EXPECT_EQ(!failed, version.isValid());
    }
    EXPECT_LT(3, line);
    EXPECT_EQ(line - 1, log.count(LogSev_Error, Log::Generic, name + ": Cannot allocate memory\n"));
}

TEST(Version, NoSpoiledProgramDoesHarm) {
    const TempFolder folder;
    std::mt19937 random(3);
    for (int round = 0; round < 2000; ++round) {
        const LogCapture log;
        Program program(round % 2 == 0);
        for (std::size_t changes = random() % 4 + 1; changes > 0; --changes) {
            program.put(random() % (program.bytes.size() - 4), static_cast<std::uint32_t>(random()), 1 + random() % 4);
        }
        program.bytes.resize(random() % 4 == 0 ? random() % program.bytes.size() : program.bytes.size());
        folder.write("spoiled.exe", program.bytes);
        EXPECT_GE(Version::find(folder.native("spoiled.exe").c_str()).isValid() ? 0U : 1U, log.lines().size());
    }
}
