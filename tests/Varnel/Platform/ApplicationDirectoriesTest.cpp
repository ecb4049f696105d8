#include "Varnel/Platform/Linux/ApplicationDirectories.h"

#include "support/EnvironmentScope.h"

#include <gtest/gtest.h>

namespace Varnel {
namespace {

using VarnelSpeech::Testing::EnvironmentScope;

TEST(ApplicationDirectories, AreBelowTheXdgVariables) {
    EnvironmentScope environment;
    environment.set("XDG_DATA_HOME", "/d");
    environment.set("XDG_CONFIG_HOME", "/c");
    environment.set("XDG_STATE_HOME", "/s");
    const auto directories = ApplicationDirectories::fromEnvironment();
    EXPECT_EQ(directories.store(), "/d/Varnel/Varnel.store");
    EXPECT_EQ(directories.recordings(), "/d/Varnel/Recordings");
    EXPECT_EQ(directories.settingsFile(), "/c/Varnel/settings.ini");
    EXPECT_EQ(directories.logFile(), "/s/Varnel/varnel.log");
}

TEST(ApplicationDirectories, AreBelowHomeWithoutThem) {
    EnvironmentScope environment;
    environment.set("HOME", "/home/ada");
    environment.unset("XDG_DATA_HOME");
    environment.set("XDG_CONFIG_HOME", "");            // empty counts as absent
    environment.set("XDG_STATE_HOME", "not/absolute"); // and so does a relative one
    const auto directories = ApplicationDirectories::fromEnvironment();
    EXPECT_EQ(directories.data, "/home/ada/.local/share/Varnel");
    EXPECT_EQ(directories.config, "/home/ada/.config/Varnel");
    EXPECT_EQ(directories.state, "/home/ada/.local/state/Varnel");
}

TEST(ApplicationDirectories, TakeTheUsersHomeFromTheSystemWithoutHOME) {
    EnvironmentScope environment;
    environment.unset("HOME");
    EXPECT_TRUE(homeDirectory().is_absolute());
}

TEST(ApplicationDirectories, PutTheDataIntoTheNamedFolder) {
    EnvironmentScope environment;
    environment.set("XDG_CONFIG_HOME", "/c");
    const auto directories = ApplicationDirectories::fromEnvironment("/elsewhere/notes");
    EXPECT_EQ(directories.store(), "/elsewhere/notes/Varnel.store");
    EXPECT_EQ(directories.config, "/c/Varnel");
    EXPECT_EQ(ApplicationDirectories::fromEnvironment("here").data, std::filesystem::current_path() / "here");
}

TEST(ApplicationDirectories, KnowWhereTheProgramLies) {
    EXPECT_EQ(executableDirectory(), std::filesystem::read_symlink("/proc/self/exe").parent_path());
}

} // namespace
} // namespace Varnel
