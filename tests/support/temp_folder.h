// tests/support/temp_folder.h: a folder of a test's own, removed with everything in it when the test is over.
#pragma once
#include <string>
#include <vector>

/// Creates an empty folder with a unique name below the system's temporary folder.
class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    /// The folder as the system writes it, without a trailing slash.
    [[nodiscard]] const std::string& native() const { return m_native; }
    /// The folder as the library writes it, without a trailing backslash: c:\tmp\...
    [[nodiscard]] const std::string& library() const { return m_library; }
    /// The system's path of `name`, which may name folders with slashes.
    [[nodiscard]] std::string native(const std::string& name) const { return m_native + '/' + name; }
    /// The library's path of `name`, which may name folders with backslashes.
    [[nodiscard]] std::string library(const std::string& name) const { return m_library + '\\' + name; }

    /// Creates or replaces the file `name` with these bytes, and the folders that it needs.
    void write(const std::string& name, const std::string& bytes = "") const;
    /// All bytes of the file `name`; a failure of the test and "" when it cannot be read.
    [[nodiscard]] std::string read(const std::string& name) const;
    /// Creates the folder `name` and those above it.
    void makeFolder(const std::string& name) const;
    /// The names in the folder, or in the folder `name` of it, in order.
    [[nodiscard]] std::vector<std::string> names(const std::string& name = "") const;

private:
    std::string m_native;
    std::string m_library;
};
