// tests/support/temp_folder.cpp: a folder of a test's own, removed with everything in it when the test is over.
#include "tests/support/temp_folder.h"
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <random>

namespace fs = std::filesystem;

TempFolder::TempFolder() {
    std::random_device random;
    const fs::path base = fs::canonical(fs::temp_directory_path());
    // Lower case, like the game path that tests make of it.
    do {
        m_native = (base / ("sharedlib_test_" + std::to_string(random()))).generic_string();
    } while (!fs::create_directory(m_native));
    // On a system with drives the folder has one already.
    m_library = m_native.starts_with('/') ? "c:" + m_native : m_native;
    std::replace(m_library.begin(), m_library.end(), '/', '\\');
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    fs::remove_all(m_native, ignored);
}

void TempFolder::write(const std::string& name, const std::string& bytes) const {
    fs::create_directories(fs::path(native(name)).parent_path());
    std::ofstream(native(name), std::ios::binary | std::ios::trunc) << bytes;
}

std::string TempFolder::read(const std::string& name) const {
    std::ifstream file(native(name), std::ios::binary);
    EXPECT_TRUE(file.is_open()) << native(name);
    return {std::istreambuf_iterator<char>(file), {}};
}

void TempFolder::makeFolder(const std::string& name) const {
    fs::create_directories(native(name));
}

std::vector<std::string> TempFolder::names(const std::string& name) const {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(name.empty() ? m_native : native(name))) {
        found.push_back(entry.path().filename().string());
    }
    std::sort(found.begin(), found.end());
    return found;
}
