// tests/log/log_file_scripted_test.cpp: log files on a system that refuses, cuts and races on request.
#include "sharedlib/log/logger.h"
#include "sharedlib/util/paths.h"
#include "tests/scripted/file.h"
#include <cerrno>
#include <gtest/gtest.h>

namespace {

class LogFileScripted : public testing::Test {
protected:
    LogFileScripted() {
        SetOutputPath("c:");
        m_logger.setOutputToDebugger(false);
        m_logger.SetConditionalDateFlag(Log::Generic, false);
    }

    // Logs and expects that everything in the script has happened then.
    void log(const char* text) {
        m_logger.syslog(LogSev_Info, Log::Generic, "%s", text);
        m_script.expectAllCalled();
    }

    void start() {
        m_script.scan("/logs/", "S_").create("/logs/S_00001.txt").write("first\r\n");
        log("first");
    }

    // Changes the prefix, so that the next line moves the file.
    FileScript& move(const std::string& from, const std::string& to, int error = 0) {
        m_logger.setFilePrefix(to.c_str());
        return m_script.scan("/logs/", to + '_')
            .rename("/logs/" + from + "_00001.txt", "/logs/" + to + "_00001.txt", error);
    }

    FileScript m_script;
    Logger m_logger{"S", "logs"};
};

TEST_F(LogFileScripted, NumberThatAnotherProcessTookIsSkipped) {
    m_script.scan("/logs/", "S_", {"S_00004.txt"}).create("/logs/S_00005.txt", EEXIST);
    m_script.scan("/logs/", "S_", {"S_00006.txt"}).create("/logs/S_00007.txt", EEXIST);
    m_script.scan("/logs/", "S_").create("/logs/S_00008.txt").write("x\r\n");
    log("x");
    EXPECT_EQ(m_logger.getFileName(), "c:\\logs\\S_00008.txt");
}

TEST_F(LogFileScripted, ThousandTakenNumbersAreEnoughUntilThePrefixChanges) {
    for (int number = 1; number <= 1000; ++number) {
        m_script.scan("/logs/", "S_").create("/logs/S_" + std::to_string(100000 + number).substr(1) + ".txt", EEXIST);
    }
    log("lost");
    log("lost too");
    EXPECT_EQ(m_logger.getFileName(), "");
    m_logger.setFilePrefix("T");
    m_script.scan("/logs/", "T_").create("/logs/T_00001.txt").write("kept\r\n");
    log("kept");
}

TEST_F(LogFileScripted, AnyOtherRefusalIsFinalAtOnceUntilPrefixOrFolderChange) {
    m_script.scan("/logs/", "S_").create("/logs/S_00001.txt", EMFILE);
    log("lost");
    m_logger.setFilePrefix("S");
    log("lost: the prefix is the same");
    m_logger.setFilePrefix("T");
    m_script.scan("/logs/", "T_").create("/logs/T_00001.txt", EACCES);
    log("lost");
    SetOutputPath("c:\\new");
    m_script.scan("/new/logs/", "T_").create("/new/logs/T_00001.txt", EACCES);
    log("lost");
    EXPECT_EQ(m_logger.getFileName(), "");
}

TEST_F(LogFileScripted, FolderBelowTheOutputPathIsWatched) {
    start();
    SetOutputPath("c:");
    m_script.write("x\r\n");
    log("x");
    std::string from = "/logs/S_00001.txt";
    const std::pair<const char*, std::string> moves[] = {
        {"c:\\logs", "/logs/logs/"}, {"c:\\logS", "/logS/logs/"}, {"c:\\", "/logs/"}, {"c:\\a\\b", "/a/b/logs/"}};
    for (const auto& [output, folder] : moves) {
        const std::string to = folder + "S_00001.txt";
        m_script.scan(folder, "S_").rename(from, to).append(to).write("x\r\n");
        SetOutputPath(output);
        log("x");
        from = to;
    }
}

TEST_F(LogFileScripted, MovedFileThatCannotBeOpenedIsMovedAgainAtTheNextChange) {
    start();
    move("S", "T").append("/logs/T_00001.txt", EACCES);
    log("lost");
    log("lost");
    move("T", "U").append("/logs/U_00001.txt").write("kept\r\n");
    log("kept");
    // There and back before the next line, and somebody removed the file from the listing.
    m_logger.setFilePrefix("T");
    m_logger.setFilePrefix("U");
    m_script.scan("/logs/", "U_").append("/logs/U_00001.txt").write("more\r\n");
    log("more");
}

TEST_F(LogFileScripted, LineAfterACutOneBeginsALine) {
    start();
    const std::tuple<const char*, const char*, int, std::size_t> steps[] = {
        {"cut", "cut\r\n", ENOSPC, 2},       {"next", "\r\nnext\r\n", 0, 0},    {"more", "more\r\n", 0, 0},
        {"cut", "cut\r\n", ENOSPC, 4},       {"next", "\nnext\r\n", 0, 0},      {"none", "none\r\n", EIO, 0},
        {"a\nb", "a\r\nb\r\n", ENOSPC, 3},   {"next", "next\r\n", 0, 0},        {"cut", "cut\r\n", ENOSPC, 1},
        {"lost", "\r\nlost\r\n", ENOSPC, 1}, {"lost", "\nlost\r\n", ENOSPC, 1}, {"end", "end\r\n", 0, 0}};
    for (const auto& [line, bytes, error, written] : steps) {
        m_script.write(bytes, error, written);
        log(line);
    }
}

TEST_F(LogFileScripted, CutLineIsEndedInTheMovedFileButNotInANewOne) {
    start();
    m_script.write("cut\r\n", ENOSPC, 1);
    log("cut");
    // The name is taken before the file moves there, and again before a new file has it.
    move("S", "T", EEXIST).create("/logs/T_00001.txt", EEXIST).scan("/logs/", "T_", {"T_00001.txt"});
    m_script.rename("/logs/S_00001.txt", "/logs/T_00002.txt").append("/logs/T_00002.txt").write("\r\nnext\r\n");
    log("next");
    m_script.write("cut\r\n", ENOSPC, 1);
    log("cut");
    m_logger.setFilePrefix("U");
    m_script.scan("/logs/", "U_").rename("/logs/T_00002.txt", "/logs/U_00001.txt", EXDEV);
    m_script.create("/logs/U_00001.txt").write("next\r\n");
    log("next");
    EXPECT_EQ(m_logger.getFileName(), "c:\\logs\\U_00001.txt");
}

TEST_F(LogFileScripted, BufferedLinesReachTheFileInOneWriteAndAreNotRetried) {
    start();
    m_logger.setFlushOnWrite(false);
    log("one");
    log("two");
    m_script.write("one\r\ntwo\r\n", ENOSPC, 6);
    m_logger.flush();
    m_logger.flush();
    log("three");
    m_script.write("\r\nthree\r\n");
    move("S", "T").append("/logs/T_00001.txt");
    log("four");
    m_script.write("four\r\n");
}

} // namespace
