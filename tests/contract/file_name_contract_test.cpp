// tests/contract/file_name_contract_test.cpp: what every implementation of platform/file_name.h promises.
#include "sharedlib/platform/file_name.h"
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
    for (const auto& [path, native] : std::initializer_list<std::pair<const char*, const char*>>{
             {"", ""},
             {"c:", "/"},
             {"C:\\", "/"},
             {"\\", "/"},
             {"c:\\no such\\Folder", "/no such/Folder"},
             {"c:no such", "/no such"},
             {"c:\\\\no such\\\\x\\", "/no such/x/"},
             {"/no such\\x/y", "/no such/x/y"},
             {"\\\\no host\\share", "/no host/share"},
             {"no such\\x", "no such/x"},
             {"d:\\x", "d:/x"},
             {"1:x", "1:/x"},
         }) {
        EXPECT_EQ(nativePath(path), native) << path;
    }
}

TEST_F(FileNameContract, MissingNameIsFoundInAnotherCaseFolderByFolder) {
    m_folder.write("Data/World.Dir/File.TXT");
    m_folder.write("Data/World.Dir/FILE.TXT.old");
    EXPECT_EQ(nativePath(m_folder.library("data\\WORLD.dir\\file.txt")), m_folder.native("Data/World.Dir/File.TXT"));
    EXPECT_EQ(nativePath(m_folder.library("DATA\\New\\File")), m_folder.native("Data/New/File"));
    EXPECT_EQ(nativePath(m_folder.library("DATA\\..\\data\\.")), m_folder.native("Data/../Data/."));

    m_folder.makeFolder("dATA");
    EXPECT_EQ(nativePath(m_folder.library("data")), m_folder.native("Data")) << "the first in byte order of two";
    m_folder.makeFolder("data");
    EXPECT_EQ(nativePath(m_folder.library("data\\file")), m_folder.native("data/file")) << "as written comes first";
    std::filesystem::create_symlink("nowhere", m_folder.native("link"));
    m_folder.write("Link");
    EXPECT_EQ(nativePath(m_folder.library("link")), m_folder.native("link")) << "a link to nowhere is a name too";
}

TEST_F(FileNameContract, MappedDriveIsARootOfItsOwnBothWays) {
    m_folder.write("Sub/File");
    EXPECT_TRUE(mapDrive('D', (m_folder.native() + "//").c_str()));
    EXPECT_EQ(nativePath("d:\\sub\\file"), m_folder.native("Sub/File"));
    EXPECT_EQ(nativePath("D:"), m_folder.native() + "/");
    EXPECT_EQ(libraryPath(m_folder.native("Sub/File")), "d:\\Sub\\File");
    EXPECT_EQ(libraryPath(m_folder.native()), "d:\\");
    EXPECT_EQ(libraryPath(m_folder.native() + "x"), m_folder.library() + "x")
        << "a neighbour's name is no folder in it";

    EXPECT_TRUE(mapDrive('c', m_folder.native("Sub").c_str()));
    EXPECT_EQ(libraryPath(m_folder.native("Sub/File")), "c:\\File");
    EXPECT_EQ(libraryPath("/no such/x"), "\\no such\\x");
    EXPECT_EQ(nativePath("\\no such\\x"), "/no such/x") << "and back";

    EXPECT_FALSE(mapDrive('d', "relative"));
    EXPECT_FALSE(mapDrive('1', "/"));
    EXPECT_EQ(nativePath("d:\\"), m_folder.native() + "/") << "still mapped";
    EXPECT_TRUE(mapDrive('d', ""));
    EXPECT_TRUE(mapDrive('c', nullptr));
    EXPECT_EQ(nativePath("d:\\x") + nativePath("c:\\no such"), "d:/x/no such");
}

[[gnu::destructor]] void askLate() {
    if (nativePath("q:") != "q:/" && nativePath("q:\\x") != "/a folder too long for a short string/x") {
        std::fputs("the drives were gone at the end of the process\n", stderr);
        std::_Exit(1);
    }
}

TEST_F(FileNameContract, DrivesLastUntilTheProcessEnds) {
    EXPECT_TRUE(mapDrive('q', "/a folder too long for a short string")) << "the rest of this test runs after main";
}

TEST_F(FileNameContract, PathThatCannotBeWrittenHasNoLibraryForm) {
    EXPECT_EQ(libraryPath("/"), "c:\\");
    EXPECT_EQ(libraryPath("/a/b c/D"), "c:\\a\\b c\\D");
    EXPECT_EQ(libraryPath("/a\\b"), "");
    EXPECT_EQ(libraryPath("relative"), "");
    EXPECT_EQ(libraryPath(""), "");
}

} // namespace
