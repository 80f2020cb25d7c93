// tests/contract/file_contract_test.cpp: what every implementation of platform/file.h promises.
#include "sharedlib/platform/file.h"
#include "tests/support/temp_folder.h"
#include <csignal>
#include <cstddef>
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using platform::File;
using Names = std::vector<std::string>;
using Pieces = std::vector<std::string_view>;

int append(const std::string& path, const Pieces& pieces, std::size_t& written) {
    File file;
    const int error = platform::openForAppend(path.c_str(), file);
    return error != 0 ? error : platform::writeAll(file, pieces, written);
}

// Makes the system call behind the rename fail in this process, as it does on old kernels.
bool forbidRenameWithoutReplacing() {
    sock_filter filter[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_renameat2, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program{static_cast<unsigned short>(std::size(filter)), filter};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

class FileContract : public testing::Test {
protected:
    // Whatever may stand where a file is expected.
    FileContract() {
        m_folder.write("file", "kept");
        m_folder.makeFolder("folder");
        std::filesystem::create_symlink(path("file"), path("link"));
        std::filesystem::create_symlink(path("nowhere"), path("dangling"));
        EXPECT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
    }

    std::string path(const std::string& name) const { return m_folder.native(name); }

    void expectRenameWithoutReplacing() {
        const auto rename = [&](const char* from, const char* to) {
            return platform::renameWithoutReplacing(path(from).c_str(), path(to).c_str());
        };
        m_folder.write("a", "A");
        for (const char* taken : {"file", "folder", "link", "dangling", "pipe"}) {
            EXPECT_TRUE(platform::isNameTaken(rename("a", taken))) << taken;
        }
        const int intoNoFolder = rename("a", "missing/c");
        EXPECT_TRUE(intoNoFolder != 0 && !platform::isNameTaken(intoNoFolder)) << intoNoFolder;
        EXPECT_NE(rename("missing", "c"), 0);
        EXPECT_EQ(rename("a", "c"), 0);
        EXPECT_EQ(m_folder.names(), (Names{"c", "dangling", "file", "folder", "link", "pipe"}));
        EXPECT_EQ(m_folder.read("file") + m_folder.read("c"), "keptA");
    }

    TempFolder m_folder;
    std::size_t m_written = 0;
};

TEST_F(FileContract, CreatedFileIsAppendedToByAllItsWritersAndNotInherited) {
    File first;
    ASSERT_EQ(platform::createFile(path("new").c_str(), first), 0);
    EXPECT_EQ(platform::writeAll(first, Pieces{"one"}, m_written), 0);
    EXPECT_EQ(append(path("new"), {"two"}, m_written), 0);
    EXPECT_EQ(platform::writeAll(first, Pieces{"three"}, m_written), 0);
    EXPECT_EQ(m_folder.read("new"), "onetwothree");
    const int descriptor = static_cast<int>(first.handle);
    EXPECT_TRUE(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC);
    struct stat status {};
    ASSERT_EQ(::fstat(descriptor, &status), 0);
    EXPECT_EQ(status.st_mode & 0133U, 0U) << "executable, or writable by others";
    File second = std::move(first);
    EXPECT_FALSE(first.isOpen());
    second = File();
    EXPECT_EQ(::fcntl(descriptor, F_GETFD), -1) << "still open";
}

TEST_F(FileContract, OnlyAFreeNameIsCreatedAndOnlyARegularFileOpenedWithoutWaiting) {
    EXPECT_NE(append(path("pipe"), {"x"}, m_written), 0) << "a pipe without a reader";
    const int reader = ::open(path("pipe").c_str(), O_RDONLY | O_NONBLOCK);
    for (const char* name : {"file", "folder", "link", "dangling", "pipe"}) {
        File file;
        EXPECT_TRUE(platform::isNameTaken(platform::createFile(path(name).c_str(), file))) << name;
        EXPECT_FALSE(file.isOpen()) << name;
        const int error = append(path(name), {"!"}, m_written);
        EXPECT_TRUE(std::string_view("file") == name ? error == 0 : error != 0 && !platform::isNameTaken(error))
            << name;
    }
    ::close(reader);
    EXPECT_NE(append(path("missing"), {"x"}, m_written), 0);
    EXPECT_EQ(m_folder.read("file"), "kept!");
    EXPECT_EQ(m_folder.names().size(), 5U);
}

TEST_F(FileContract, AllPiecesAreWrittenInOrderOrItIsToldHowMuchReachedTheFile) {
    const std::string large(300000, 'L');
    Pieces pieces(20, "ab");
    pieces[3] = "";
    pieces[11] = large;
    std::string all = "kept";
    for (const std::string_view piece : pieces) {
        all += piece;
    }
    EXPECT_EQ(append(path("file"), pieces, m_written), 0);
    EXPECT_EQ(m_folder.read("file"), all);
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit old{};
    ::getrlimit(RLIMIT_FSIZE, &old);
    const rlimit tight{all.size() + 10, old.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &tight);
    const int error = append(path("file"), {"123456", "789abc"}, m_written);
    ::setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, oldHandler);
    EXPECT_EQ(error, EFBIG);
    EXPECT_EQ(m_written, 10U);
    EXPECT_EQ(m_folder.read("file"), all + "123456789a");
}

TEST_F(FileContract, RenameLeavesTheNameInUseAloneAlsoWhereTheSystemKnowsOnlyPlainRenames) {
    if (const pid_t child = ::fork(); child != 0) {
        int status = -1;
        ::waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
        std::filesystem::remove(path("c"));
        expectRenameWithoutReplacing();
        return;
    }
    EXPECT_TRUE(forbidRenameWithoutReplacing());
    expectRenameWithoutReplacing();
    ::_exit(HasFailure() ? 1 : 0);
}

TEST_F(FileContract, ScanMatchesBothEndsInAnyCaseAndCountsNoCharacterTwice) {
    for (const char* name : {"Ab_1.txt", "aB_2.TXT", "ab_.txt", "ab.txt", "xab_3.txt", "ab_4.txt.gz", "ab_5"}) {
        m_folder.write(name);
    }
    m_folder.makeFolder("ab_6.txt");
    Names names;
    const auto collect = [&](std::string_view name) { names.emplace_back(name); };
    EXPECT_EQ(platform::scanFolder(m_folder.native().c_str(), "ab_", ".txt", collect), 0);
    EXPECT_EQ(platform::scanFolder(m_folder.native().c_str(), "ab.t", ".txt", collect), 0);
    EXPECT_NE(platform::scanFolder(path("missing").c_str(), "", "", collect), 0);
    std::ranges::sort(names);
    EXPECT_EQ(names, (Names{"Ab_1.txt", "aB_2.TXT", "ab_.txt", "ab_6.txt"}));
}

TEST_F(FileContract, QuestionsAboutNamesSeeLinksAsTheyAre) {
    EXPECT_TRUE(platform::isNameTaken(platform::makeFolder(path("file").c_str())));
    EXPECT_NE(platform::makeFolder(path("missing/below").c_str()), 0);
    EXPECT_EQ(platform::makeFolder(path("made").c_str()), 0);
    const std::pair<const char*, const char*> cases[] = {
        {"file", "exists writable"},
        {"folder", "exists folder writable"},
        {"dangling", "exists "},
        {"missing", ""},
        {"made", "exists folder writable"},
    };
    for (const auto& [name, answers] : cases) {
        EXPECT_EQ(std::string(platform::nameExists(path(name).c_str()) ? "exists " : "") +
                      (platform::isFolder(path(name).c_str()) ? "folder " : "") +
                      (platform::isWritable(path(name).c_str()) ? "writable" : ""),
                  answers);
    }
}

TEST_F(FileContract, WorkingFolderOfAnyLengthIsToldUntilItIsGone) {
    std::string start;
    ASSERT_EQ(platform::workingFolder(start), 0);
    const std::string deep = path("d/" + std::string(250, 'x') + '/' + std::string(250, 'y'));
    std::filesystem::create_directories(deep);
    ASSERT_EQ(platform::setWorkingFolder(deep.c_str()), 0);
    std::string told;
    EXPECT_EQ(platform::workingFolder(told), 0);
    EXPECT_EQ(told, deep);
    std::filesystem::remove_all(path("d"));
    EXPECT_NE(platform::workingFolder(told), 0);
    EXPECT_NE(platform::setWorkingFolder(deep.c_str()), 0);
    EXPECT_EQ(platform::setWorkingFolder(start.c_str()), 0);
    EXPECT_EQ(platform::executablePath(told), 0);
    EXPECT_EQ(told, std::filesystem::read_symlink("/proc/self/exe").string());
}

} // namespace
