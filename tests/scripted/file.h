// tests/scripted/file.h: a file layer whose every call and answer the test has written down.
#pragma once
#include <cerrno>
#include <cstddef>
#include <deque>
#include <string>
#include <vector>

/// The calls of platform/file.h that a test expects, in their order, each with the answer it gets. A call that differs
/// from the next one in line, or comes when none is left, fails the test; so do calls that never came and files that
/// were never closed. Every name is said to exist and to be writable, without a line in the script. One script at a
/// time.
class FileScript {
public:
    FileScript();
    ~FileScript();
    FileScript(const FileScript&) = delete;
    FileScript& operator=(const FileScript&) = delete;

    FileScript& scan(const std::string& folder, const std::string& prefix, const std::vector<std::string>& names = {}) {
        return add({"scan " + folder + ' ' + prefix + "*.txt", 0, 0, names});
    }
    FileScript& create(const std::string& path, int error = 0) { return add({"create " + path, error, 0, {}}); }
    FileScript& append(const std::string& path, int error = 0) { return add({"append " + path, error, 0, {}}); }
    FileScript& rename(const std::string& from, const std::string& to, int error = 0) {
        return add({"rename " + from + ' ' + to, error, 0, {}});
    }
    /// All pieces in one. With an error, the first `written` bytes reach the file.
    FileScript& write(const std::string& bytes, int error = 0, std::size_t written = 0) {
        return add({"write " + bytes, error, error == 0 ? bytes.size() : written, {}});
    }

    /// Fails the test for the calls that should have come by now.
    void expectAllCalled();

    struct Step {
        std::string call;
        int error = EIO;
        std::size_t written = 0;
        std::vector<std::string> names;
    };
    /// The answer to `call`, for the layer itself.
    Step answer(const std::string& call);

private:
    FileScript& add(const Step& step) {
        m_steps.push_back(step);
        return *this;
    }

    std::deque<Step> m_steps;
};
