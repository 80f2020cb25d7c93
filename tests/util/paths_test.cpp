// tests/util/paths_test.cpp: the game's folders, the paths built on them, and where the system finds them.
#include "sharedlib/util/paths.h"
#include "tests/support/each.h"
#include "tests/support/environment.h"
#include "tests/support/temp_folder.h"
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

std::string fourFolders() {
    return std::string(GetGamePath()) + '|' + GetGameOutputPath() + '|' + GetParentPath() + '|' + GetRemoteGamePath();
}

class Paths : public testing::Test {
protected:
    ~Paths() override {
        MapDrive('p', nullptr);
        fs::current_path(m_start);
    }

    // Makes `name` of the test's folder the working folder and takes it as the game path.
    void enter(const std::string& name) {
        m_folder.makeFolder(name);
        fs::current_path(m_folder.native(name));
        InitGamePath(false, "unused");
    }

    TempFolder m_folder;
    fs::path m_start = fs::current_path();
};

TEST_F(Paths, WorkingFolderBecomesAllFourFolders) {
    enter("Play/Demo");
    const std::string play = m_folder.library("play");
    const std::string demo = play + "\\demo";
    EXPECT_EQ(fourFolders(), demo + '|' + demo + '|' + play + '|' + demo);
    EXPECT_EQ(NativePath(GetFullPath("New File").c_str()), m_folder.native("Play/Demo/New File"));
    SetOutputPath("c:\\Out");
    InitRemotePath("c:\\Remote");
    EXPECT_EQ(fourFolders(), demo + "|c:\\Out|" + play + "|c:\\Remote");
    fs::current_path("/");
    InitGamePath(false, nullptr);
    EXPECT_EQ(fourFolders(), "c:\\|c:\\|c:|c:\\");
}

TEST_F(Paths, WorkingFolderThatDoesNotFitChangesNothing) {
    const std::size_t room = 255 - m_folder.library().size() - 2;
    const std::string deep = std::string(room / 2, 'X') + '/';
    enter(deep + std::string(room - room / 2, 'y'));
    EXPECT_EQ(std::string(GetGamePath()).size(), 255U);
    const std::string before = fourFolders();
    for (const std::string& refused : {deep + std::string(room - room / 2 + 1, 'y'), std::string("back\\slash")}) {
        enter(refused);
        EXPECT_EQ(fourFolders(), before);
    }
    fs::remove(m_folder.native("back\\slash"));
    InitGamePath(true, nullptr);
    EXPECT_EQ(fourFolders(), before) << "a working folder that is gone";
}

TEST_F(Paths, OutputGoesToTheDocumentsFolderIfThereIsOne) {
    const Environment environment(
        {{"XDG_CONFIG_HOME", {}}, {"XDG_DOCUMENTS_DIR", {}}, {"HOME", m_folder.native("Home")}});
    enter("Game");
    InitGamePath(true, "My Game");
    EXPECT_EQ(GetGameOutputPath(), m_folder.library("game"));
    m_folder.makeFolder("Home/Documents");
    for (const char* name : {"My Game", "", static_cast<const char*>(nullptr), "two\\levels"}) {
        InitGamePath(true, name);
        const std::string chosen = name == nullptr || *name == '\0' ? "Vantorra" : name;
        EXPECT_EQ(GetGameOutputPath(), m_folder.library("Home\\Documents\\") + chosen);
    }
    EXPECT_EQ(m_folder.names("Home/Documents"), (std::vector<std::string>{"My Game", "Vantorra"}));
    InitGamePath(true, std::string(255, 'x').c_str());
    EXPECT_EQ(GetGameOutputPath(), m_folder.library("game"));
}

TEST_F(Paths, BuildersJoinWithoutLookingAtTheParts) {
    MapDrive('P', m_folder.native().c_str());
    enter("Play/X");
    SetOutputPath("o:\\out");
    InitRemotePath("r:\\remote");
    const std::string tooLong(256, 'x');
    for (const char* refused : {tooLong.c_str(), static_cast<const char*>(nullptr)}) {
        SetOutputPath(refused);
        InitRemotePath(refused);
    }
    EXPECT_EQ(
        each(GetFullPath, {"a\\b.txt", "::", R"(\\host\share)", "\\x", "", "x"}),
        (Texts{R"(p:\play\x\a\b.txt)", "::", R"(\\host\share)", R"(p:\play\x\\x)", "p:\\play\\x\\", R"(p:\play\x\x)"}));
    EXPECT_EQ(each(GetRemoteFullPath, {"/x/../y", "\\\\host"}), (Texts{"r:\\remote\\/x/../y", "\\\\host"}));
    EXPECT_EQ(each(GetOutputPath, {"", "C:\\logs", "\\\\host"}), (Texts{"o:\\out\\", "C:\\logs", R"(o:\out\\\host)"}));
    EXPECT_EQ(
        each(GetRelativePath, {R"(P:\Play\X\data\a)", R"(p:\play\x2\b)", R"(P:\PLAY\X)", R"(p:\play\y\b)", "p:\\Pla"}),
        (Texts{"data\\a", "\\b", "", R"(p:\play\y\b)", "p:\\Pla"}));
    EXPECT_EQ(MakeFullPath(nullptr, "a.ini"), R"(p:\play\x\a.ini)");
    EXPECT_EQ(MakeFullPath("", "d:\\a"), R"(p:\play\x\\d:\a)");
    EXPECT_EQ(MakeRemoteFullPath("cfg", "a.ini"), R"(r:\remote\cfg\a.ini)");
    EXPECT_EQ(MakeFullRoomPath("tavern"), R"(p:\play\x\data\World\Rooms\tavern\tavern)");
}

TEST_F(Paths, ExtensionIsTheTextBehindTheLastDotOfAll) {
    const auto isXml = [](const char* path) { return hasExtension(path, "xml"); };
    EXPECT_EQ(each(isXml, {"a.XML", "a..xml", "a.xml.bak", "a.xm", "a.xmlx", "xml", nullptr}),
              (std::vector<bool>{true, true, false, false, false, false, false}));
    EXPECT_TRUE(hasExtension("dir.old\\file", "OLD\\file"));
    EXPECT_FALSE(hasExtension("a.xml", ".xml"));
    EXPECT_FALSE(hasExtension("a.xml", nullptr));
}

TEST_F(Paths, OnlyTheLastFolderIsCreated) {
    m_folder.write("file");
    for (const char* name : {"New", "NEW", "file"}) {
        EXPECT_TRUE(ensureDirectoryExists(m_folder.library(name).c_str())) << "new, or anything that can be written to";
    }
    EXPECT_FALSE(ensureDirectoryExists(m_folder.library("a\\b").c_str()));
    EXPECT_FALSE(ensureDirectoryExists(""));
    EXPECT_EQ(m_folder.names(), (std::vector<std::string>{"New", "file"}));
}

// The second test runs this one in a program that is too deep.
TEST_F(Paths, ProgramFolderBecomesTheWorkingFolder) {
    fs::current_path(m_folder.native());
    EXPECT_EQ(ForceExePath(), 0);
    EXPECT_EQ(fs::current_path(), fs::read_symlink("/proc/self/exe").parent_path());
}

TEST_F(Paths, ProgramFolderThatDoesNotFitIsToldOnStandardOutput) {
    const std::string deep = std::string(200, 'x') + '/' + std::string(100, 'y');
    m_folder.makeFolder(deep);
    fs::copy_file("/proc/self/exe", m_folder.native(deep + "/program"));
    fs::current_path(m_folder.native(deep));
    EXPECT_NE(std::system("./program --gtest_filter=*ProgramFolderBecomes* > output"), 0);
    const std::string output = m_folder.read(deep + "/output");
    const std::string line = "*** --- *** Could not find the working directory";
    EXPECT_NE(output.find(line), std::string::npos);
    EXPECT_EQ(output.find(line + '\n'), std::string::npos);
}

} // namespace
