// tests/contract/file_name_contract_test.cpp: what every implementation of platform/file_name.h promises.
#include "sharedlib/platform/file_name.h"
#include "tests/support/each.h"
#include "tests/support/temp_folder.h"
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>

namespace {

using platform::libraryPath;
using platform::mapDrive;
using platform::nativePath;

class FileNameContract : public testing::Test {
protected:
    ~FileNameContract() override {
        mapDrive('c', nullptr);
        mapDrive('d', nullptr);
    }
    TempFolder m_folder;
};

TEST_F(FileNameContract, DrivesAndSeparatorsTurn) {
    EXPECT_EQ(each(nativePath, {"", "c:", "C:\\", "\\", "c:no such", R"(c:\\no such\\x\)", "/no such\\x/y",
                                "\\\\no host\\share", "no such\\x", "d:\\x", "1:x"}),
              (Texts{"", "/", "/", "/", "/no such", "/no such/x/", "/no such/x/y", "/no host/share", "no such/x",
                     "d:/x", "1:/x"}));
}

TEST_F(FileNameContract, MissingNameIsFoundInAnotherCaseFolderByFolder) {
    m_folder.write("Data/World.Dir/File.TXT");
    m_folder.write("Data/World.Dir/FILE.TXT.old");
    const auto found = [&](const char* path) {
        return nativePath(m_folder.library(path)).substr(m_folder.native().size());
    };
    EXPECT_EQ(found("data\\WORLD.dir\\file.txt"), "/Data/World.Dir/File.TXT");
    EXPECT_EQ(found("DATA\\New\\..\\data\\."), "/Data/New/../data/.");
    m_folder.makeFolder("dATA");
    EXPECT_EQ(found("data"), "/Data") << "the first in byte order of two";
    m_folder.makeFolder("data");
    EXPECT_EQ(found("data\\file"), "/data/file") << "as written comes first";
    std::filesystem::create_symlink("nowhere", m_folder.native("link"));
    m_folder.write("Link");
    EXPECT_EQ(found("link"), "/link") << "a link to nowhere is a name too";
}

[[gnu::destructor]] void askLate() {
    if (nativePath("q:") != "q:/" && nativePath("q:\\x") != "/a folder too long for a short string/x") {
        std::fputs("the drives were gone at the end of the process\n", stderr);
        std::_Exit(1);
    }
}

TEST_F(FileNameContract, MappedDriveIsARootOfItsOwnBothWays) {
    const std::string& folder = m_folder.native();
    m_folder.write("Sub/File");
    EXPECT_TRUE(mapDrive('D', (folder + "//").c_str()));
    EXPECT_EQ(nativePath("d:\\sub\\file"), folder + "/Sub/File");
    EXPECT_EQ(libraryPath(folder + "/Sub/File"), "d:\\Sub\\File");
    EXPECT_EQ(libraryPath(folder), "d:\\");
    EXPECT_EQ(libraryPath(folder + "x"), m_folder.library() + "x") << "a neighbour's name is no folder in it";

    EXPECT_TRUE(mapDrive('c', (folder + "/Sub").c_str()));
    EXPECT_EQ(libraryPath(folder + "/Sub/File"), "c:\\File");
    EXPECT_EQ(libraryPath("/no such/x"), "\\no such\\x");
    EXPECT_EQ(nativePath("\\no such\\x"), "/no such/x") << "and back";

    EXPECT_FALSE(mapDrive('d', "relative"));
    EXPECT_FALSE(mapDrive('1', "/"));
    EXPECT_EQ(nativePath("D:"), folder + "/") << "still mapped";
    EXPECT_TRUE(mapDrive('d', "") && mapDrive('c', nullptr));
    EXPECT_EQ(nativePath("d:\\x") + nativePath("c:\\no such"), "d:/x/no such");
    EXPECT_TRUE(mapDrive('q', "/a folder too long for a short string")) << "the rest of this test runs after main";
}

TEST_F(FileNameContract, PathThatCannotBeWrittenHasNoLibraryForm) {
    EXPECT_EQ(each(libraryPath, {"/", "/a/b c/D", "/a\\b", "relative", ""}),
              (Texts{"c:\\", R"(c:\a\b c\D)", "", "", ""}));
}

} // namespace
