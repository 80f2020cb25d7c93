// tests/contract/folders_contract_test.cpp: what every implementation of platform/folders.h promises.
#include "sharedlib/platform/folders.h"
#include "tests/support/temp_folder.h"
#include <cstdlib>
#include <gtest/gtest.h>
#include <map>

namespace {

class FoldersContract : public testing::Test {
protected:
    FoldersContract() {
        for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_DOCUMENTS_DIR"}) {
            if (const char* value = std::getenv(name)) {
                m_environment[name] = value;
            }
            ::unsetenv(name);
        }
        ::setenv("HOME", m_home.native().c_str(), 1);
    }
    ~FoldersContract() override {
        for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_DOCUMENTS_DIR"}) {
            ::unsetenv(name);
        }
        for (const auto& [name, value] : m_environment) {
            ::setenv(name.c_str(), value.c_str(), 1);
        }
    }
    void configure(const std::string& value, const std::string& folder = ".config") {
        m_home.write(folder + "/user-dirs.dirs", "# a comment\nXDG_MUSIC_DIR=\"$HOME/Music\"\n" + value + "\n");
    }

    TempFolder m_home;
    std::map<std::string, std::string> m_environment;
};

TEST_F(FoldersContract, DocumentsFolderIsTheFirstThatIsNamedIfItExists) {
    EXPECT_EQ(platform::documentsFolder(), "") << "a folder that does not exist is none";
    m_home.makeFolder("Documents");
    m_home.makeFolder("Papers \"x");
    m_home.makeFolder("other");
    EXPECT_EQ(platform::documentsFolder(), m_home.native("Documents"));
    ::setenv("XDG_DOCUMENTS_DIR", m_home.native("other").c_str(), 1);
    EXPECT_EQ(platform::documentsFolder(), m_home.native("other"));

    configure("  XDG_DOCUMENTS_DIR=\"$HOME/Papers \\\"x/\" # mine");
    EXPECT_EQ(platform::documentsFolder(), m_home.native("Papers \"x"));
    configure("XDG_DOCUMENTS_DIR=\"" + m_home.native("Documents") + '"');
    EXPECT_EQ(platform::documentsFolder(), m_home.native("Documents"));
    configure("XDG_DOCUMENTS_DIR=\"$HOME\"");
    EXPECT_EQ(platform::documentsFolder(), m_home.native());
    configure("XDG_DOCUMENTS_DIR=\"relative\"");
    EXPECT_EQ(platform::documentsFolder(), m_home.native("other"));
    configure("XDG_DOCUMENTS_DIR=\"$HOME/missing\"");
    EXPECT_EQ(platform::documentsFolder(), "");

    configure("XDG_DOCUMENTS_DIR=\"$HOME/other", "config");
    ::setenv("XDG_CONFIG_HOME", m_home.native("config").c_str(), 1);
    EXPECT_EQ(platform::documentsFolder(), m_home.native("other")) << "a value without its closing quote";
}

} // namespace
