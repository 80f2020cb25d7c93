// tests/contract/file_contract_test.cpp: what every implementation of platform/file.h promises.
#include "sharedlib/platform/file.h"
#include "tests/support/temp_folder.h"
#include <algorithm>
#include <csignal>
#include <cstddef>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
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
using Pieces = std::vector<std::string_view>;

int append(const std::string& path, const Pieces& pieces) {
    File file;
    std::size_t written = 0;
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
    void plant() {
        m_folder.write("file", "kept");
        m_folder.makeFolder("folder");
        std::filesystem::create_symlink(m_folder.native("file"), m_folder.native("link"));
        std::filesystem::create_symlink(m_folder.native("nowhere"), m_folder.native("dangling"));
        ASSERT_EQ(::mkfifo(m_folder.native("pipe").c_str(), 0600), 0);
    }

    void expectRenameWithoutReplacing() {
        m_folder.write("a", "A");
        m_folder.write("b", "B");
        EXPECT_TRUE(platform::isNameTaken(rename("a", "b")));
        const int intoNoFolder = rename("a", "missing/c");
        EXPECT_TRUE(intoNoFolder != 0 && !platform::isNameTaken(intoNoFolder)) << intoNoFolder;
        EXPECT_NE(rename("missing", "c"), 0);
        EXPECT_EQ(rename("a", "c"), 0);
        EXPECT_EQ(m_folder.names(), (std::vector<std::string>{"b", "c"}));
        EXPECT_EQ(m_folder.read("b") + m_folder.read("c"), "BA");
    }

    int rename(const std::string& from, const std::string& to) {
        return platform::renameWithoutReplacing(m_folder.native(from).c_str(), m_folder.native(to).c_str());
    }

    std::vector<std::string> scan(std::string_view prefix, std::string_view suffix) {
        std::vector<std::string> names;
        EXPECT_EQ(platform::scanFolder(m_folder.native().c_str(), prefix, suffix,
                                       [&](std::string_view name) { names.emplace_back(name); }),
                  0);
        std::sort(names.begin(), names.end());
        return names;
    }

    TempFolder m_folder;
};

TEST_F(FileContract, CreatedFileIsAppendedToByAllItsWritersAndNotInherited) {
    const std::string path = m_folder.native("new");
    File first;
    ASSERT_EQ(platform::createFile(path.c_str(), first), 0);
    std::size_t written = 0;
    EXPECT_EQ(platform::writeAll(first, Pieces{"one"}, written), 0);
    EXPECT_EQ(append(path, {"two"}), 0);
    EXPECT_EQ(platform::writeAll(first, Pieces{"three"}, written), 0);
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

TEST_F(FileContract, CreationTakesNoNameInUseWhateverHasIt) {
    plant();
    for (const char* name : {"file", "folder", "link", "dangling", "pipe"}) {
        File file;
        EXPECT_TRUE(platform::isNameTaken(platform::createFile(m_folder.native(name).c_str(), file))) << name;
        EXPECT_FALSE(file.isOpen()) << name;
    }
    EXPECT_EQ(m_folder.read("file"), "kept");
    EXPECT_EQ(m_folder.names().size(), 5U);
}

TEST_F(FileContract, OnlyARegularFileIsOpenedAndWithoutWaiting) {
    plant();
    const int reader = ::open(m_folder.native("pipe").c_str(), O_RDONLY | O_NONBLOCK);
    for (const char* name : {"folder", "link", "dangling", "pipe", "missing"}) {
        const int error = append(m_folder.native(name), {"x"});
        EXPECT_TRUE(error != 0 && !platform::isNameTaken(error)) << name << ": " << error;
    }
    ::close(reader);
    EXPECT_NE(append(m_folder.native("pipe"), {"x"}), 0) << "a pipe without a reader";
    EXPECT_EQ(m_folder.read("file"), "kept");
}

TEST_F(FileContract, AllPiecesAreWrittenInOrder) {
    m_folder.write("file");
    const std::string large(300000, 'L');
    Pieces pieces(20, "ab");
    pieces[3] = "";
    pieces[11] = large;
    std::string all;
    for (const std::string_view piece : pieces) {
        all += piece;
    }
    EXPECT_EQ(append(m_folder.native("file"), pieces), 0);
    EXPECT_EQ(m_folder.read("file"), all);
}

TEST_F(FileContract, CutWriteTellsHowMuchReachedTheFile) {
    m_folder.write("file");
    File file;
    ASSERT_EQ(platform::openForAppend(m_folder.native("file").c_str(), file), 0);
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit old{};
    ::getrlimit(RLIMIT_FSIZE, &old);
    const rlimit tight{10, old.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &tight);
    std::size_t written = 0;
    const int error = platform::writeAll(file, Pieces{"123456", "789abc"}, written);
    ::setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, oldHandler);
    EXPECT_EQ(error, EFBIG);
    EXPECT_EQ(written, 10U);
    EXPECT_EQ(m_folder.read("file"), "123456789a");
}

TEST_F(FileContract, RenameLeavesTheNameInUseAlone) {
    expectRenameWithoutReplacing();
}

TEST_F(FileContract, RenameLeavesTheNameInUseAloneWhereTheSystemKnowsOnlyPlainRenames) {
    const pid_t child = ::fork();
    if (child == 0) {
        if (!forbidRenameWithoutReplacing()) {
            ::_exit(2);
        }
        expectRenameWithoutReplacing();
        ::_exit(HasFailure() ? 1 : 0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(FileContract, ScanMatchesBothEndsInAnyCaseAndCountsNoCharacterTwice) {
    for (const char* name : {"Ab_1.txt", "aB_2.TXT", "ab_.txt", "ab.txt", "xab_3.txt", "ab_4.txt.gz", "ab_5"}) {
        m_folder.write(name);
    }
    m_folder.makeFolder("ab_6.txt");
    EXPECT_EQ(scan("ab_", ".txt"), (std::vector<std::string>{"Ab_1.txt", "aB_2.TXT", "ab_.txt", "ab_6.txt"}));
    EXPECT_EQ(scan("ab.t", ".txt"), std::vector<std::string>());
    EXPECT_NE(platform::scanFolder(m_folder.native("missing").c_str(), "", "", [](std::string_view) {}), 0);
}

TEST_F(FileContract, QuestionsAboutNamesSeeLinksAsTheyAre) {
    plant();
    const auto ask = [&](const char* name) {
        const std::string path = m_folder.native(name);
        return std::string(platform::nameExists(path.c_str()) ? "exists " : "") +
               (platform::isFolder(path.c_str()) ? "folder " : "") +
               (platform::isWritable(path.c_str()) ? "writable" : "");
    };
    EXPECT_EQ(ask("file"), "exists writable");
    EXPECT_EQ(ask("folder"), "exists folder writable");
    EXPECT_EQ(ask("dangling"), "exists ");
    EXPECT_EQ(ask("missing"), "");
    EXPECT_TRUE(platform::isNameTaken(platform::makeFolder(m_folder.native("file").c_str())));
    EXPECT_NE(platform::makeFolder(m_folder.native("missing/below").c_str()), 0);
    EXPECT_EQ(platform::makeFolder(m_folder.native("missing").c_str()), 0);
    EXPECT_EQ(ask("missing"), "exists folder writable");
}

TEST_F(FileContract, WorkingFolderOfAnyLengthIsToldUntilItIsGone) {
    std::string start;
    ASSERT_EQ(platform::workingFolder(start), 0);
    const std::string deep = "d/" + std::string(250, 'x') + '/' + std::string(250, 'y');
    m_folder.makeFolder(deep);
    ASSERT_EQ(platform::setWorkingFolder(m_folder.native(deep).c_str()), 0);
    std::string path;
    EXPECT_EQ(platform::workingFolder(path), 0);
    EXPECT_EQ(path, m_folder.native(deep));
    std::filesystem::remove_all(m_folder.native("d"));
    EXPECT_NE(platform::workingFolder(path), 0);
    EXPECT_NE(platform::setWorkingFolder(m_folder.native("d").c_str()), 0);
    EXPECT_EQ(platform::setWorkingFolder(start.c_str()), 0);

    EXPECT_EQ(platform::executablePath(path), 0);
    EXPECT_EQ(path, std::filesystem::read_symlink("/proc/self/exe").string());
}

} // namespace
