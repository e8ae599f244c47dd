#include <gtest/gtest.h>

#include <filesystem>

#include "session/Settings.h"

namespace vantor {
namespace {

RegistryStore MemoryStore() {
    return RegistryStore("/nonexistent/never-saved.reg");
}

TEST(SettingsTest, WithoutTheKeyOnlyTheFlagsGetDefaults) {
    const RegistryStore store = MemoryStore();
    Settings settings;
    settings.installDir = "/kept/";
    settings.servers[0] = "kept";
    settings.functionKeys[3] = 193;
    settings.nowPlayingOnIdle = true;
    settings.useMultipleSpeakers = true;
    settings.showRemainingTime = true;
    LoadSettings(store, settings);
    EXPECT_TRUE(settings.autoConnect);
    EXPECT_FALSE(settings.nowPlayingOnIdle);
    EXPECT_FALSE(settings.useMultipleSpeakers);
    EXPECT_FALSE(settings.showRemainingTime);
    EXPECT_EQ(settings.installDir, "/kept/");
    EXPECT_EQ(settings.servers[0], "kept");
    EXPECT_EQ(settings.functionKeys[3], 193);

    Settings fresh;
    LoadSettings(store, fresh);
    EXPECT_EQ(fresh.connectionPort, "") << "the port default needs the key";
    EXPECT_EQ(fresh.DefaultSkinPath(), "skins/default/default.xml") << "a bare relative path";
}

TEST(SettingsTest, AnEmptyKeyGivesEveryDefault) {
    RegistryStore store = MemoryStore();
    store.CreateKey(kSettingsKey);
    Settings settings;
    LoadSettings(store, settings);
    EXPECT_TRUE(settings.autoConnect);
    EXPECT_FALSE(settings.nowPlayingOnIdle);
    EXPECT_FALSE(settings.useMultipleSpeakers);
    EXPECT_FALSE(settings.showRemainingTime);
    EXPECT_EQ(settings.connectionPort, "3567");
    EXPECT_EQ(settings.installDir, BuiltInInstallDir());
    EXPECT_EQ(settings.installDir.back(), '/');
    EXPECT_EQ(settings.skinFilePath, "");
    for (const std::int32_t key : settings.functionKeys) {
        EXPECT_EQ(key, -1);
    }
    for (const std::string& server : settings.servers) {
        EXPECT_EQ(server, "");
    }
}

TEST(SettingsTest, StoredValuesAreReadByTheirRules) {
    RegistryStore store = MemoryStore();
    store.CreateKey(kSettingsKey);
    store.SetString(kSettingsKey, "InstallDir", "/opt/vantor");
    store.SetString(kSettingsKey, "SkinFilePath", "/skins/dark/dark.xml");
    store.SetString(kSettingsKey, "Server2", "den-pc");
    store.SetString(kSettingsKey, "Server3", std::string(100, 'x'));  // too long for the buffer
    store.SetString(kSettingsKey, "ConnectionPort", "4000");
    store.SetDword(kSettingsKey, "AutoConnect", 0);
    store.SetDword(kSettingsKey, "NowPlayingOnIdle", 5);
    store.SetDword(kSettingsKey, "UseMultipleSpeakers", 2);
    store.SetDword(kSettingsKey, "ShowRemainingTime", 2);
    store.SetDword(kSettingsKey, "FunctionKey13", 38);
    Settings settings;
    LoadSettings(store, settings);
    EXPECT_EQ(settings.installDir, "/opt/vantor/") << "completed with a slash";
    EXPECT_EQ(settings.skinFilePath, "/skins/dark/dark.xml");
    EXPECT_EQ(settings.servers[1], "den-pc");
    EXPECT_EQ(settings.servers[2], "");
    EXPECT_EQ(settings.connectionPort, "4000");
    EXPECT_FALSE(settings.autoConnect);
    EXPECT_TRUE(settings.nowPlayingOnIdle);
    EXPECT_FALSE(settings.useMultipleSpeakers) << "set only by exactly 1";
    EXPECT_TRUE(settings.showRemainingTime) << "any non-zero value";
    EXPECT_EQ(settings.functionKeys[12], 38);
    EXPECT_EQ(settings.functionKeys[0], -1);
}

TEST(SettingsTest, SavingWritesAllButTheInstallFolder) {
    RegistryStore store = MemoryStore();
    store.CreateKey(kSettingsKey);
    store.SetString(kSettingsKey, "InstallDir", "/opt/vantor");
    Settings settings;
    LoadSettings(store, settings);
    settings.servers = {"a", "", "c"};
    settings.skinFilePath = std::string(150, 's');
    settings.useMultipleSpeakers = true;
    settings.showRemainingTime = true;
    settings.functionKeys[0] = 193;
    SaveSettings(store, settings);

    EXPECT_EQ(store.QueryString(kSettingsKey, "InstallDir", 200), "/opt/vantor")
        << "the slash added on reading is never written back";
    EXPECT_EQ(store.QueryString(kSettingsKey, "Server1", 200), "a");
    EXPECT_EQ(store.QueryString(kSettingsKey, "Server2", 200), "");
    EXPECT_EQ(store.QueryString(kSettingsKey, "SkinFilePath", 1000), std::string(100, 's'))
        << "cut to 100 units";
    EXPECT_EQ(store.QueryDword(kSettingsKey, "UseMultipleSpeakers"), 1u);
    EXPECT_EQ(store.QueryDword(kSettingsKey, "ShowRemainingTime"), 1u);
    EXPECT_EQ(store.QueryDword(kSettingsKey, "FunctionKey1"), 193u);
    for (int i = 2; i <= 13; ++i) {
        EXPECT_EQ(store.QueryDword(kSettingsKey, "FunctionKey" + std::to_string(i)), 0xFFFFFFFFu);
    }
    Settings again;
    LoadSettings(store, again);
    EXPECT_EQ(again.skinFilePath, "") << "a text cut to 100 units no longer fits the buffer";
}

TEST(SettingsTest, TheServerHistoryIsRebuiltFromTheList) {
    struct Case {
        const char* label;
        std::string shown;
        std::vector<std::string> items;
        std::array<std::string, 3> history;
    };
    const Case cases[] = {
        {"find automatically leaves the first slot empty",
         kFindAutomatically,
         {kFindAutomatically, "a", "b", "c"},
         {"", "a", "b"}},
        {"the shown text first, then the others",
         "b",
         {kFindAutomatically, "a", "b", "c"},
         {"b", "a", "c"}},
        {"duplicates are kept once", "x", {kFindAutomatically, "a", "a", "x", "a"}, {"x", "a", ""}},
        {"the first item is never taken", "x", {"first", "second"}, {"x", "second", ""}},
        {"typed text not in the list", "new", {kFindAutomatically, "a"}, {"new", "a", ""}},
        {"at most three", "z", {kFindAutomatically, "a", "b", "c", "d"}, {"z", "a", "b"}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(RebuildServerHistory(c.shown, c.items), c.history) << c.label;
    }
}

TEST(SettingsTest, AFirstRunRecordsWhereTheDataIs) {
    const auto path = std::filesystem::path(::testing::TempDir()) /
                      ("first-run-" + std::to_string(::getpid()) + ".reg");
    std::filesystem::remove(path);
    RegistryStore store(path.string());
    ASSERT_EQ(store.Load(), 0);
    ASSERT_EQ(EnsureInstalled(store), 0);
    Settings settings;
    LoadSettings(store, settings);
    EXPECT_TRUE(std::filesystem::is_regular_file(settings.DefaultSkinPath()))
        << "run from the build tree, the source tree's skins are found: "
        << settings.DefaultSkinPath();

    store.SetString(kSettingsKey, "InstallDir", "/chosen/");
    ASSERT_EQ(EnsureInstalled(store), 0);
    EXPECT_EQ(store.QueryString(kSettingsKey, "InstallDir", 200), "/chosen/")
        << "a recorded folder stays";
    std::filesystem::remove(path);
}

}  // namespace
}  // namespace vantor
