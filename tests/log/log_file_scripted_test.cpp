// tests/log/log_file_scripted_test.cpp: log files on a system that refuses, cuts and races on request.
#include "sharedlib/log/logger.h"
#include "sharedlib/util/paths.h"
#include "tests/scripted/file.h"
#include <cerrno>
#include <gtest/gtest.h>

namespace {

const std::vector<std::string> kNone;

class LogFileScripted : public testing::Test {
protected:
    LogFileScripted() {
        SetOutputPath("c:\\out");
        m_logger.setOutputToDebugger(false);
        m_logger.SetConditionalDateFlag(Log::Generic, false);
    }

    void log(const char* text) { m_logger.syslog(LogSev_Info, Log::Generic, "%s", text); }

    // Opens the first file and puts a line into it.
    void start() {
        m_script.scan("/out/", "S_", kNone).create("/out/S_00001.txt").write("first\r\n");
        log("first");
        m_script.expectAllCalled();
    }

    FileScript m_script;
    Logger m_logger{"S", "c:\\out"};
};

TEST_F(LogFileScripted, NumberThatAnotherProcessTookIsSkipped) {
    m_script.scan("/out/", "S_", {"S_00004.txt"}).create("/out/S_00005.txt", EEXIST);
    m_script.scan("/out/", "S_", {"S_00006.txt"}).create("/out/S_00007.txt", EEXIST);
    m_script.scan("/out/", "S_", kNone).create("/out/S_00008.txt").write("x\r\n");
    log("x");
    EXPECT_EQ(m_logger.getFileName(), "c:\\out\\S_00008.txt");
}

TEST_F(LogFileScripted, ThousandTakenNumbersAreEnoughUntilThePrefixChanges) {
    for (int number = 1; number <= 1000; ++number) {
        const std::string digits = std::to_string(100000 + number).substr(1);
        m_script.scan("/out/", "S_", kNone).create("/out/S_" + digits + ".txt", EEXIST);
    }
    log("lost");
    log("lost too");
    m_script.expectAllCalled();
    EXPECT_EQ(m_logger.getFileName(), "");
    m_script.scan("/out/", "T_", kNone).create("/out/T_00001.txt").write("kept\r\n");
    m_logger.setFilePrefix("T");
    log("kept");
}

TEST_F(LogFileScripted, AnyOtherRefusalIsFinalAtOnceUntilPrefixOrFolderChange) {
    m_script.scan("/out/", "S_", kNone).create("/out/S_00001.txt", EMFILE);
    log("lost");
    log("lost");
    m_logger.setFilePrefix("S");
    log("lost: the prefix is the same");
    m_script.expectAllCalled();
    m_script.scan("/out/", "T_", kNone).create("/out/T_00001.txt", EACCES);
    m_logger.setFilePrefix("T");
    log("lost");
    EXPECT_EQ(m_logger.getFileName(), "");
}

TEST_F(LogFileScripted, FolderBelowTheOutputPathIsWatched) {
    Logger logger("S", "logs");
    logger.setOutputToDebugger(false);
    logger.SetConditionalDateFlag(Log::Generic, false);
    const auto line = [&] { logger.syslog(LogSev_Info, Log::Generic, "x"); };
    m_script.scan("/out/logs/", "S_", kNone).create("/out/logs/S_00001.txt").write("x\r\n").write("x\r\n");
    line();
    SetOutputPath("c:\\out");
    line();
    m_script.expectAllCalled();
    for (const auto& [output, from, to] : std::initializer_list<std::tuple<const char*, const char*, const char*>>{
             {"c:\\out\\logs", "/out/logs", "/out/logs/logs"},
             {"c:\\ouT\\logs", "/out/logs/logs", "/ouT/logs/logs"},
             {"c:\\", "/ouT/logs/logs", "/logs"}}) {
        m_script.scan(to + std::string("/"), "S_", kNone)
            .rename(from + std::string("/S_00001.txt"), to + std::string("/S_00001.txt"))
            .append(to + std::string("/S_00001.txt"))
            .write("x\r\n");
        SetOutputPath(output);
        line();
        m_script.expectAllCalled();
    }
}

TEST_F(LogFileScripted, FileThatCannotBeMovedIsFollowedByANewOne) {
    start();
    m_script.scan("/out/", "T_", kNone).rename("/out/S_00001.txt", "/out/T_00001.txt", EXDEV);
    m_script.create("/out/T_00001.txt").write("second\r\n");
    m_logger.setFilePrefix("T");
    log("second");
    EXPECT_EQ(m_logger.getFileName(), "c:\\out\\T_00001.txt");
}

TEST_F(LogFileScripted, NameTakenUnderTheMoveSendsTheFileToTheNextNumber) {
    start();
    m_script.write("cut\r\n", ENOSPC, 1);
    log("cut");
    m_script.scan("/out/", "T_", kNone).rename("/out/S_00001.txt", "/out/T_00001.txt", EEXIST);
    m_script.create("/out/T_00001.txt", EEXIST);
    m_script.scan("/out/", "T_", {"T_00001.txt"}).rename("/out/S_00001.txt", "/out/T_00002.txt");
    m_script.append("/out/T_00002.txt").write("\r\nsecond\r\n");
    m_logger.setFilePrefix("T");
    log("second");
    EXPECT_EQ(m_logger.getFileName(), "c:\\out\\T_00002.txt");
}

TEST_F(LogFileScripted, MovedFileThatCannotBeOpenedIsMovedAgainAtTheNextChange) {
    start();
    m_script.scan("/out/", "T_", kNone).rename("/out/S_00001.txt", "/out/T_00001.txt");
    m_script.append("/out/T_00001.txt", EACCES);
    m_logger.setFilePrefix("T");
    log("lost");
    log("lost");
    m_script.expectAllCalled();
    m_script.scan("/out/", "U_", kNone).rename("/out/T_00001.txt", "/out/U_00001.txt").append("/out/U_00001.txt");
    m_script.write("kept\r\n");
    m_logger.setFilePrefix("U");
    log("kept");
}

TEST_F(LogFileScripted, FileUnderTheChosenNumberAlreadyIsJustOpened) {
    start();
    // There and back before the next line, and somebody removed the file from the listing.
    m_logger.setFilePrefix("T");
    m_logger.setFilePrefix("S");
    m_script.scan("/out/", "S_", kNone).append("/out/S_00001.txt").write("second\r\n");
    log("second");
}

TEST_F(LogFileScripted, LineAfterACutOneBeginsALine) {
    start();
    m_script.write("cut\r\n", ENOSPC, 2).write("\r\nnext\r\n").write("more\r\n");
    log("cut");
    log("next");
    log("more");
    m_script.write("cut\r\n", ENOSPC, 4).write("\nnext\r\n");
    log("cut");
    log("next");
    m_script.write("none\r\n", EIO, 0).write("next\r\n");
    log("none");
    log("next");
    m_script.write("two\r\nlines\r\n", ENOSPC, 5).write("next\r\n");
    log("two\nlines");
    log("next");
    m_script.write("cut\r\n", ENOSPC, 1)
        .write("\r\nlost\r\n", ENOSPC, 1)
        .write("\nlost\r\n", ENOSPC, 1)
        .write("end\r\n");
    log("cut");
    log("lost");
    log("lost");
    log("end");
}

TEST_F(LogFileScripted, CutLineIsEndedInTheMovedFileButNotInANewOne) {
    start();
    m_script.write("cut\r\n", ENOSPC, 1).scan("/out/", "T_", kNone).rename("/out/S_00001.txt", "/out/T_00001.txt");
    m_script.append("/out/T_00001.txt").write("\r\nnext\r\n");
    log("cut");
    m_logger.setFilePrefix("T");
    log("next");
    m_script.write("cut\r\n", ENOSPC, 1).scan("/out/", "U_", kNone);
    m_script.rename("/out/T_00001.txt", "/out/U_00001.txt", ENOENT).create("/out/U_00001.txt").write("next\r\n");
    log("cut");
    m_logger.setFilePrefix("U");
    log("next");
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
    m_script.write("\r\nthree\r\n").scan("/out/", "T_", kNone).rename("/out/S_00001.txt", "/out/T_00001.txt");
    m_script.append("/out/T_00001.txt");
    m_logger.setFilePrefix("T");
    log("four");
    m_script.write("four\r\n");
}

} // namespace
