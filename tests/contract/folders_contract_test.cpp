// tests/contract/folders_contract_test.cpp: what every implementation of platform/folders.h promises.
#include "sharedlib/platform/folders.h"
#include "tests/support/each.h"
#include "tests/support/environment.h"
#include "tests/support/temp_folder.h"
#include <gtest/gtest.h>

namespace {

TEST(FoldersContract, DocumentsFolderIsTheFirstThatIsNamedIfItExists) {
    TempFolder const home;
    Environment const environment(
        {{"HOME", home.native()}, {"XDG_CONFIG_HOME", std::nullopt}, {"XDG_DOCUMENTS_DIR", std::nullopt}});
    EXPECT_EQ(platform::documentsFolder(), "") << "a folder that does not exist is none";
    home.makeFolder("Documents");
    home.makeFolder("Papers \"x");
    home.makeFolder("other");
    EXPECT_EQ(platform::documentsFolder(), home.native("Documents"));

    Environment const named({{"XDG_DOCUMENTS_DIR", home.native("other")}});
    EXPECT_EQ(platform::documentsFolder(), home.native("other"));
    std::string config = ".config";
    auto const configured = [&](std::string const& value) {
        home.write(config + "/user-dirs.dirs",
                   "# a comment\nXDG_MUSIC_DIR=\"$HOME/Music\"\n  XDG_DOCUMENTS_DIR=\"" + value + '\n');
        return platform::documentsFolder();
    };
    EXPECT_EQ(configured("$HOME/Papers \\\"x/\" # mine"), home.native("Papers \"x"));
    EXPECT_EQ(configured(home.native("Documents") + '"'), home.native("Documents"));
    EXPECT_EQ(configured("$HOME\""), home.native());
    EXPECT_EQ(configured("$HOME/missing\""), "");
    EXPECT_EQ(each(configured, {"relative\"", "$HOMEwork\""}), Texts(2, home.native("other"))) << "no folders";
    config = "cfg";
    Environment const elsewhere({{"XDG_CONFIG_HOME", home.native(config)}});
    EXPECT_EQ(configured("$HOME/Documents"), home.native("Documents")) << "a value without its closing quote";
}

} // namespace
