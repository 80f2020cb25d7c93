// tests/scripted/file.cpp: a file layer whose every call and answer the test has written down.
#include "tests/scripted/file.h"
#include "sharedlib/platform/file.h"
#include <cerrno>
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
        return {call, EIO, 0, {}};
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
    EXPECT_TRUE(s_openFiles.empty()) << "files left open";
    s_openFiles.clear();
    s_script = nullptr;
}

FileScript& FileScript::scan(const std::string& folder, const std::string& prefix, std::vector<std::string> names) {
    m_steps.push_back({"scan " + folder + ' ' + prefix + "*.txt", 0, 0, std::move(names)});
    return *this;
}

FileScript& FileScript::create(const std::string& path, int error) {
    m_steps.push_back({"create " + path, error, 0, {}});
    return *this;
}

FileScript& FileScript::append(const std::string& path, int error) {
    m_steps.push_back({"append " + path, error, 0, {}});
    return *this;
}

FileScript& FileScript::rename(const std::string& from, const std::string& to, int error) {
    m_steps.push_back({"rename " + from + ' ' + to, error, 0, {}});
    return *this;
}

FileScript& FileScript::makeFolder(const std::string& path, int error) {
    m_steps.push_back({"makeFolder " + path, error, 0, {}});
    return *this;
}

FileScript& FileScript::write(const std::string& bytes, int error, std::size_t written) {
    m_steps.push_back({"write " + bytes, error, error == 0 ? bytes.size() : written, {}});
    return *this;
}

void FileScript::expectAllCalled() {
    for (const Step& step : std::exchange(m_steps, {})) {
        ADD_FAILURE() << "never called: " << step.call;
    }
}

FileScript::Step FileScript::answer(const std::string& call) {
    if (m_steps.empty() || m_steps.front().call != call) {
        ADD_FAILURE() << "called: " << call
                      << "\nscript: " << (m_steps.empty() ? "(at its end)" : m_steps.front().call);
        return {call, EIO, 0, {}};
    }
    Step step = std::move(m_steps.front());
    m_steps.pop_front();
    return step;
}

namespace platform {

void File::close() {
    if (isOpen()) {
        EXPECT_EQ(s_openFiles.erase(handle), 1U) << "closed twice";
        handle = -1;
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
    const std::string pattern = std::string(prefix) + '*' + std::string(suffix);
    const FileScript::Step step = answer(std::string("scan ") + folder + ' ' + pattern);
    for (const std::string& name : step.names) {
        found(name);
    }
    return step.error;
}

int workingFolder(std::string&) {
    return answer("workingFolder").error;
}

int setWorkingFolder(const char* path) {
    return answer(std::string("setWorkingFolder ") + path).error;
}

int executablePath(std::string&) {
    return answer("executablePath").error;
}

} // namespace platform
