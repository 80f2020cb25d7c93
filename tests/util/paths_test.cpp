// tests/util/paths_test.cpp: the game's folders, the paths built on them, and where the system finds them.
#include "sharedlib/util/paths.h"
#include "tests/support/temp_folder.h"
#include <cstdlib>
#include <filesystem>
#include <fstream>
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
        ::setenv("HOME", m_home.c_str(), 1);
    }

    // Makes `name` of the test's folder the working folder and takes it as the game path.
    void enter(const std::string& name, bool useDocumentsFolder = false, const char* folderName = nullptr) {
        m_folder.makeFolder(name);
        fs::current_path(m_folder.native(name));
        InitGamePath(useDocumentsFolder, folderName);
    }

    // The same short game path wherever the temporary folder lies: p:\play\x.
    void enterShortPath() {
        MapDrive('P', m_folder.native().c_str());
        enter("Play/X");
    }

    TempFolder m_folder;
    fs::path m_start = fs::current_path();
    std::string m_home = std::getenv("HOME") == nullptr ? "" : std::getenv("HOME");
};

TEST_F(Paths, WorkingFolderBecomesAllFourFolders) {
    enter("Play/Demo");
    const std::string play = m_folder.library() + "\\play";
    const std::string demo = play + "\\demo";
    EXPECT_EQ(fourFolders(), demo + '|' + demo + '|' + play + '|' + demo);
    EXPECT_EQ(NativePath(GetFullPath("New File").c_str()), m_folder.native("Play/Demo/New File"));

    SetOutputPath("c:\\Out");
    InitRemotePath("c:\\Remote");
    EXPECT_EQ(fourFolders(), demo + "|c:\\Out|" + play + "|c:\\Remote");
    InitGamePath(false, "unused");
    EXPECT_EQ(fourFolders(), demo + '|' + demo + '|' + play + '|' + demo);

    fs::current_path("/");
    InitGamePath(false, nullptr);
    EXPECT_EQ(fourFolders(), "c:\\|c:\\|c:|c:\\");
}

TEST_F(Paths, WorkingFolderThatDoesNotFitChangesNothing) {
    const std::size_t room = 255 - m_folder.library().size() - 1;
    enter(std::string(room / 2, 'X') + '/' + std::string(room - room / 2 - 1, 'y'));
    EXPECT_EQ(std::string(GetGamePath()).size(), 255U);
    const std::string before = fourFolders();
    enter(std::string(room / 2, 'X') + '/' + std::string(room - room / 2, 'y'));
    EXPECT_EQ(fourFolders(), before);
    enter("back\\slash");
    EXPECT_EQ(fourFolders(), before);
    enter("Gone", true);
    fs::remove(m_folder.native("Gone"));
    const std::string gone = fourFolders();
    InitGamePath(false, nullptr);
    EXPECT_EQ(fourFolders(), gone);
}

TEST_F(Paths, OutputGoesToTheDocumentsFolderIfThereIsOne) {
    ::unsetenv("XDG_CONFIG_HOME");
    ::unsetenv("XDG_DOCUMENTS_DIR");
    ::setenv("HOME", m_folder.native("Home").c_str(), 1);
    enter("Game", true, "My Game");
    EXPECT_EQ(GetGameOutputPath(), m_folder.library("game"));

    m_folder.makeFolder("Home/Documents");
    for (const auto& [folderName, created] : std::initializer_list<std::pair<const char*, const char*>>{
             {"My Game", "My Game"}, {nullptr, "Vantorra"}, {"", "Vantorra"}}) {
        InitGamePath(true, folderName);
        EXPECT_EQ(GetGameOutputPath(), m_folder.library("Home\\Documents\\") + created);
        EXPECT_TRUE(fs::is_directory(m_folder.native("Home/Documents/") + created));
    }
    InitGamePath(true, "two\\levels");
    EXPECT_EQ(GetGameOutputPath(), m_folder.library("Home\\Documents\\two\\levels"));
    EXPECT_EQ(m_folder.names("Home/Documents"), (std::vector<std::string>{"My Game", "Vantorra"}));
    InitGamePath(true, std::string(255, 'x').c_str());
    EXPECT_EQ(GetGameOutputPath(), m_folder.library("game"));
    EXPECT_EQ(GetRemoteGamePath(), m_folder.library("game"));
}

TEST_F(Paths, SettersRefuseWhatDoesNotFit) {
    const std::string longest = "c:\\" + std::string(252, 'x');
    const std::string tooLong = longest + 'x';
    SetOutputPath(longest.c_str());
    InitRemotePath(longest.c_str());
    for (const char* refused : {tooLong.c_str(), static_cast<const char*>(nullptr)}) {
        SetOutputPath(refused);
        InitRemotePath(refused);
        EXPECT_EQ(GetGameOutputPath(), longest);
        EXPECT_EQ(GetRemoteGamePath(), longest);
    }
    SetOutputPath(GetGameOutputPath() + 5);
    EXPECT_EQ(GetGameOutputPath(), longest.substr(5));
}

TEST_F(Paths, BuildersJoinWithoutLookingAtTheParts) {
    enterShortPath();
    SetOutputPath("o:\\out");
    InitRemotePath("r:\\remote");
    const std::string all[][2] = {
        {GetFullPath("data\\a.txt"), "p:\\play\\x\\data\\a.txt"},
        {GetFullPath("d:x.txt"), "d:x.txt"},
        {GetFullPath("::"), "::"},
        {GetFullPath("\\\\host\\share\\name"), "\\\\host\\share\\name"},
        {GetFullPath("\\x"), "p:\\play\\x\\\\x"},
        {GetFullPath("/x/../y"), "p:\\play\\x\\/x/../y"},
        {GetFullPath(""), "p:\\play\\x\\"},
        {GetFullPath("x"), "p:\\play\\x\\x"},
        {GetRemoteFullPath("a.txt"), "r:\\remote\\a.txt"},
        {GetRemoteFullPath("\\\\host"), "\\\\host"},
        {GetOutputPath("logs"), "o:\\out\\logs"},
        {GetOutputPath(""), "o:\\out\\"},
        {GetOutputPath("C:\\logs"), "C:\\logs"},
        {GetOutputPath("\\\\host\\share"), "o:\\out\\\\\\host\\share"},
        {MakeFullPath(nullptr, "a.ini"), "p:\\play\\x\\a.ini"},
        {MakeFullPath("cfg", "a.ini"), "p:\\play\\x\\cfg\\a.ini"},
        {MakeFullPath("", "d:\\a"), "p:\\play\\x\\\\d:\\a"},
        {MakeRemoteFullPath("cfg", "a.ini"), "r:\\remote\\cfg\\a.ini"},
        {MakeRemoteFullPath(nullptr, "a.ini"), "r:\\remote\\a.ini"},
        {MakeFullRoomPath("tavern"), "p:\\play\\x\\data\\World\\Rooms\\tavern\\tavern"},
    };
    for (const auto& [path, expected] : all) {
        EXPECT_EQ(path, expected);
    }
}

TEST_F(Paths, RelativePathDropsTheGamePathAndOneCharacter) {
    enterShortPath();
    for (const auto& [path, relative] : std::initializer_list<std::pair<const char*, const char*>>{
             {"P:\\Play\\X\\data\\a.txt", "data\\a.txt"},
             {"p:\\play\\x2\\b", "\\b"},
             {"P:\\PLAY\\X", ""},
             {"p:\\play\\x\\", ""},
             {"p:\\play\\y\\b", "p:\\play\\y\\b"},
             {"p:\\pla", "p:\\pla"},
             {"", ""},
         }) {
        EXPECT_EQ(GetRelativePath(path), relative) << path;
    }
}

TEST_F(Paths, ExtensionIsTheTextBehindTheLastDotOfAll) {
    EXPECT_TRUE(hasExtension("a.XML", "xml"));
    EXPECT_TRUE(hasExtension("dir.old\\file", "OLD\\file"));
    EXPECT_TRUE(hasExtension("a.", ""));
    EXPECT_FALSE(hasExtension("a.xml", ".xml"));
    EXPECT_FALSE(hasExtension("a.xml.bak", "xml"));
    EXPECT_FALSE(hasExtension("a.xm", "xml"));
    EXPECT_FALSE(hasExtension("a.xmlx", "xml"));
    EXPECT_FALSE(hasExtension("xml", "xml"));
    EXPECT_FALSE(hasExtension(nullptr, "xml"));
    EXPECT_FALSE(hasExtension("a.xml", nullptr));
}

TEST_F(Paths, OnlyTheLastFolderIsCreated) {
    EXPECT_TRUE(ensureDirectoryExists(m_folder.library("New").c_str()));
    EXPECT_TRUE(ensureDirectoryExists(m_folder.library("NEW").c_str()));
    EXPECT_FALSE(ensureDirectoryExists(m_folder.library("a\\b").c_str()));
    EXPECT_FALSE(ensureDirectoryExists(""));
    EXPECT_FALSE(ensureDirectoryExists(nullptr));
    m_folder.write("file");
    EXPECT_TRUE(ensureDirectoryExists(m_folder.library("file").c_str())) << "anything that can be written to";
    EXPECT_EQ(m_folder.names(), (std::vector<std::string>{"New", "file"}));
}

TEST_F(Paths, ProgramFolderBecomesTheWorkingFolder) {
    fs::current_path(m_folder.native());
    EXPECT_EQ(ForceExePath(), 0);
    EXPECT_EQ(fs::current_path(), fs::read_symlink("/proc/self/exe").parent_path());
}

// Run by the following test from a folder of its own.
TEST(PathsElsewhere, DISABLED_ForceExePath) {
    EXPECT_NE(ForceExePath(), 0);
}

TEST_F(Paths, ProgramFolderThatDoesNotFitIsToldOnStandardOutput) {
    const std::string deep = m_folder.native(std::string(200, 'x').append("/").append(100, 'y'));
    fs::create_directories(deep);
    fs::copy_file("/proc/self/exe", deep + "/program");
    const std::string output = m_folder.native("output");
    const std::string command = deep + "/program --gtest_also_run_disabled_tests --gtest_filter=PathsElsewhere.* > ";
    EXPECT_EQ(std::system((command + output).c_str()), 0);
    EXPECT_NE(m_folder.read("output").find("\n*** --- *** Could not find the working directory["), std::string::npos);
}

} // namespace
