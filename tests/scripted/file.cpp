// tests/scripted/file.cpp: a file layer whose every call and answer the test has written down.
#include "tests/scripted/file.h"
#include "sharedlib/platform/file.h"
#include <gtest/gtest.h>
#include <set>
#include <utility>

namespace {

FileScript* s_script = nullptr;
std::set<std::intptr_t> s_openFiles;
std::intptr_t s_lastHandle = 0;

FileScript::Step answer(const std::string& call) {
    if (s_script == nullptr) {
        ADD_FAILURE() << "no script for " << call;
        return {};
    }
    return s_script->answer(call);
}

int open(const std::string& call, platform::File& file) {
    const int error = answer(call).error;
    if (error == 0) {
        file.close();
        file.handle = ++s_lastHandle;
        s_openFiles.insert(file.handle);
    }
    return error;
}

} // namespace

FileScript::FileScript() {
    s_script = this;
}

FileScript::~FileScript() {
    expectAllCalled();
    EXPECT_TRUE(std::exchange(s_openFiles, {}).empty()) << "files left open";
    s_script = nullptr;
}

void FileScript::expectAllCalled() {
    for (const Step& step : std::exchange(m_steps, {})) {
        ADD_FAILURE() << "never called: " << step.call;
    }
}

FileScript::Step FileScript::answer(const std::string& call) {
    const std::string expected = m_steps.empty() ? "(at its end)" : m_steps.front().call;
    if (call != expected) {
        ADD_FAILURE() << "called: " << call << "\nscript: " << expected;
        return {};
    }
    Step step = std::move(m_steps.front());
    m_steps.pop_front();
    return step;
}

namespace platform {

void File::close() {
    if (isOpen()) {
        EXPECT_EQ(s_openFiles.erase(std::exchange(handle, -1)), 1U) << "closed twice";
    }
}

int createFile(const char* path, File& file) {
    return open(std::string("create ") + path, file);
}

int openForAppend(const char* path, File& file) {
    return open(std::string("append ") + path, file);
}

int writeAll(const File& file, std::span<const std::string_view> pieces, std::size_t& written) {
    EXPECT_TRUE(s_openFiles.contains(file.handle)) << "written to a closed file";
    std::string call = "write ";
    for (const std::string_view piece : pieces) {
        call += piece;
    }
    const FileScript::Step step = answer(call);
    written = step.written;
    return step.error;
}

bool isNameTaken(int error) {
    return error == EEXIST;
}

int renameWithoutReplacing(const char* from, const char* to) {
    return answer(std::string("rename ") + from + ' ' + to).error;
}

bool nameExists(const char*) {
    return true;
}

bool isFolder(const char*) {
    return true;
}

bool isWritable(const char*) {
    return true;
}

int makeFolder(const char* path) {
    return answer(std::string("makeFolder ") + path).error;
}

int scanFolder(const char* folder, std::string_view prefix, std::string_view suffix,
               const std::function<void(std::string_view name)>& found) {
    const FileScript::Step step =
        answer(std::string("scan ") + folder + ' ' + std::string(prefix) + "*" + std::string(suffix));
    for (const std::string& name : step.names) {
        found(name);
    }
    return step.error;
}

int workingFolder(std::string&) {
    return answer("workingFolder").error;
}

int setWorkingFolder(const char*) {
    return answer("setWorkingFolder").error;
}

int executablePath(std::string&) {
    return answer("executablePath").error;
}

} // namespace platform
