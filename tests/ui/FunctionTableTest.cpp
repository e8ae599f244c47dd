// The function table between the settings file and the window: bindings
// as the file holds them (however odd), a settings file edited by hand
// that opens in the Buttons page and saves back unchanged, and the volume
// step's arithmetic.

#include <gtest/gtest.h>
#include <unistd.h>

#include <QTreeWidget>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "session/RegistryStore.h"
#include "session/Settings.h"
#include "ui/GuiFixture.h"
#include "ui/keys/FunctionTable.h"
#include "ui/keys/KeyNames.h"
#include "ui/settings/ButtonsPage.h"

namespace vantor::ui {
namespace {

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// A file as a person might leave it: a code no key gives, a negative one,
// two functions on "A", "Decrease Volume" missing, a skin that is gone,
// and values and keys this program does not know.
TEST(FunctionTableTest, AHandEditedFileOpensInThePageAndSavesBackTheSame) {
    const std::filesystem::path file = std::filesystem::path(::testing::TempDir()) /
                                       ("hand-edited-" + std::to_string(::getpid()) + ".reg");
    {
        std::ofstream out(file);
        out << "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Corvane\\Vantor]\n"
               "\"InstallDir\"=\"/opt/vantor/\"\n"
               "\"SkinFilePath\"=\"/opt/vantor/skins/gone/gone.xml\"\n"
               "\"Server1\"=\"nas\"\n"
               "\"FunctionKey1\"=dword:00011170\n"
               "\"FunctionKey2\"=dword:fffffffb\n"
               "\"FunctionKey3\"=dword:00000041\n"
               "\"FunctionKey4\"=dword:00000041\n"
               "\"FunctionKey5\"=dword:000000c1\n"
               "\"FunctionKey7\"=dword:00000000\n"
               "\"ShowRemainingTime\"=dword:00000002\n"
               "\"AFutureSetting\"=\"kept\"\n"
               "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Shell\\Keys\\40C1]\n"
               "\"Name\"=\"Calendar\"\n";
    }
    RegistryStore store(file.string());
    ASSERT_EQ(store.Load(), 0);
    Settings settings;
    LoadSettings(store, settings);
    FunctionTable table;
    table.Load(settings);
    EXPECT_EQ(table.Row(FunctionId::Play).key, 70000);
    EXPECT_EQ(table.Row(FunctionId::Pause).key, -5);
    EXPECT_EQ(table.Row(FunctionId::VolumeDown).key, kUnboundKey);
    EXPECT_EQ(table.Find('A'), FunctionId::PlayPause);  // the first of the two fires
    EXPECT_EQ(table.Find(kUnboundKey), std::nullopt);   // unbound rows are not found by -1

    // The page shows every binding it can name.
    testing::RecordingPrompter prompter;
    ButtonsPage page(table, prompter, &store);
    const std::pair<FunctionId, const char*> shown[] = {
        {FunctionId::Play, "Button 11170"}, {FunctionId::Pause, "Button FFFFFFFB"},
        {FunctionId::PlayPause, "A"},       {FunctionId::Stop, "A"},
        {FunctionId::NextSong, "Calendar"}, {FunctionId::VolumeUp, ""},  // 0: no key
        {FunctionId::VolumeDown, ""},
    };
    for (const auto& [function, text] : shown) {
        EXPECT_EQ(page.KeyText(RowOf(function)).toStdString(), text) << RowOf(function);
    }

    // Saved as the window saves after OK, and read back.
    table.Store(settings);
    SaveSettings(store, settings);
    ASSERT_EQ(store.Save(), 0);
    RegistryStore again(file.string());
    ASSERT_EQ(again.Load(), 0);
    Settings reread;
    LoadSettings(again, reread);
    EXPECT_EQ(reread.functionKeys, settings.functionKeys);
    EXPECT_EQ(reread.skinFilePath, "/opt/vantor/skins/gone/gone.xml");
    EXPECT_EQ(reread.servers[0], "nas");
    EXPECT_TRUE(reread.showRemainingTime);
    EXPECT_EQ(again.QueryString(kSettingsKey, "InstallDir", 200).value_or(""), "/opt/vantor/");
    EXPECT_EQ(again.QueryString(kSettingsKey, "AFutureSetting", 200).value_or(""), "kept");
    EXPECT_EQ(GetKeyName(0xC1, &again), "Calendar");
    EXPECT_EQ(again.QueryDword(kSettingsKey, "FunctionKey2"), 0xFFFFFFFBu);
    EXPECT_EQ(again.QueryDword(kSettingsKey, "FunctionKey8"), 0xFFFFFFFFu);
    // A second save changes nothing more.
    const std::string saved = ReadFile(file);
    SaveSettings(again, reread);
    ASSERT_EQ(again.Save(), 0);
    EXPECT_EQ(ReadFile(file), saved);
    std::filesystem::remove(file);
}

TEST(FunctionTableTest, VolumeStepsByFiveFromTheBarsFill) {
    struct Case {
        std::int32_t fill, width;
        int difference;
        std::int32_t volume, newFill;
    };
    const Case cases[] = {
        {50, 100, +5, 55, 55}, {0, 100, -5, 0, 0}, {98, 100, +5, 100, 100},
        {61, 122, +5, 55, 67},  // 50 % of 122 + 5 %: 67.1 pixels, truncated
        {1, 200, +5, 6, 11},    // 5.5 % rounds half up
        {3, 200, -5, 0, 0},
    };
    for (const Case& c : cases) {
        const std::optional<VolumeStep> step = StepVolume(c.fill, c.width, c.difference);
        ASSERT_TRUE(step.has_value());
        EXPECT_EQ(step->volume, c.volume) << c.fill << "/" << c.width;
        EXPECT_EQ(step->fillPixels, c.newFill) << c.fill << "/" << c.width;
    }
    EXPECT_FALSE(StepVolume(10, 0, +5).has_value());  // no "volumebar"
}

}  // namespace
}  // namespace vantor::ui
