// tests/support/temp_folder.h: a folder of a test's own, removed with everything in it when the test is over.
#pragma once
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <random>
#include <string>
#include <vector>

/// Creates an empty folder with a unique name below the system's temporary folder.
class TempFolder {
public:
    TempFolder() {
        std::random_device random;
        const std::filesystem::path base = std::filesystem::canonical(std::filesystem::temp_directory_path());
        // Lower case, like the game path that tests make of it.
        do {
            m_native = base.generic_string() + "/sharedlib_test_" + std::to_string(random());
        } while (!std::filesystem::create_directory(m_native));
        // On a system with drives the folder has one already.
        m_library = m_native.starts_with('/') ? "c:" + m_native : m_native;
        std::ranges::replace(m_library, '/', '\\');
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_native, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    /// The folder, and a file or folder in it, as the system writes them.
    [[nodiscard]] const std::string& native() const { return m_native; }
    [[nodiscard]] std::string native(const std::string& name) const { return m_native + '/' + name; }
    /// The same as the library writes them, c:\tmp\..., with backslashes.
    [[nodiscard]] const std::string& library() const { return m_library; }
    [[nodiscard]] std::string library(const std::string& name) const { return m_library + '\\' + name; }

    /// Creates or replaces the file `name`, and the folders that it needs.
    void write(const std::string& name, const std::string& bytes = "") const {
        std::filesystem::create_directories(std::filesystem::path(native(name)).parent_path());
        std::ofstream(native(name), std::ios::binary | std::ios::trunc) << bytes;
    }
    /// All bytes of the file `name`; a failure of the test and "" when it cannot be read.
    [[nodiscard]] std::string read(const std::string& name) const {
        std::ifstream file(native(name), std::ios::binary);
        EXPECT_TRUE(file.is_open()) << native(name);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    void makeFolder(const std::string& name) const { std::filesystem::create_directories(native(name)); }
    /// The names in the folder, or in a folder of it, in order.
    [[nodiscard]] std::vector<std::string> names(const std::string& name = "") const {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(native(name))) {
            found.push_back(entry.path().filename().string());
        }
        std::ranges::sort(found);
        return found;
    }

private:
    std::string m_native;
    std::string m_library;
};
