// The settings sheet opened from the window against vantor-server: keys
// bound on the Buttons page drive the player from the window, OK keeps
// them for the next run and Cancel for this one only, and a skin chosen on
// the Skins page redraws the window.

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QPushButton>
#include <QTabWidget>
#include <QTest>
#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>

#include "ui/GuiFixture.h"
#include "ui/settings/AboutPage.h"
#include "ui/settings/ButtonsPage.h"
#include "ui/settings/GeneralPage.h"
#include "ui/settings/SkinsPage.h"
#include "ui/settings/UserSettings.h"

namespace vantor::testing {
namespace {

using ui::SettingsSheet;

void Close(SettingsSheet& sheet, QDialogButtonBox::StandardButton button) {
    QTest::mouseClick(sheet.ButtonBox()->button(button), Qt::LeftButton);
}

void Bind(SettingsSheet& sheet, ui::FunctionId function, int key) {
    sheet.Tabs()->setCurrentWidget(&sheet.Buttons());
    DoubleTapRow(sheet.Buttons().List(), ui::RowOf(function));
    PressKey(&sheet, key);
}

std::int32_t SavedKey(const std::string& settingsFile, ui::FunctionId function) {
    RegistryStore store(settingsFile);
    store.Load();
    const std::string name = "FunctionKey" + std::to_string(ui::RowOf(function) + 1);
    return static_cast<std::int32_t>(store.QueryDword(kSettingsKey, name).value_or(0));
}

class KeysTest : public GuiTest {
protected:
    void Tap(int key) { PressKey(frame_.get(), key); }
};

TEST_F(KeysTest, KeysBoundInTheSheetDriveThePlayerAndOkKeepsThemForTheNextRun) {
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    WithSettings([&](SettingsSheet& sheet) {
        EXPECT_EQ(sheet.About().ProductVersionText().toStdString().rfind("Vantor Version ", 0), 0u);
        Bind(sheet, ui::FunctionId::NextSong, Qt::Key_N);
        Bind(sheet, ui::FunctionId::VolumeUp, Qt::Key_Up);  // the direction pad's
        Bind(sheet, ui::FunctionId::Play, Qt::Key_P);
        Close(sheet, QDialogButtonBox::Ok);
    });
    EXPECT_EQ(SavedKey(settingsFile_, ui::FunctionId::NextSong), 'N');

    // "Next Song" waits for the key to be let go, and fires once.
    Key(QEvent::KeyPress, Qt::Key_N);
    PumpFor(100ms);
    EXPECT_EQ(Received("NextItemRequest"), 0);
    Key(QEvent::KeyRelease, Qt::Key_N);
    EXPECT_TRUE(Pump([&] { return Received("NextItemRequest") == 1; }));

    // "Increase Volume" steps by five on the press and on every repeat,
    // each step from the bar's fill (whole pixels: a step may fall short).
    const std::int32_t before = ServerVolume();
    ASSERT_LE(before, 80);
    std::int32_t expected = before;
    std::int32_t fill = frame_->View().Content().volumePixels;
    for (int step = 0; step < 4; ++step) {
        const auto next = ui::StepVolume(fill, frame_->View().VolumeWidth(), 5);
        ASSERT_TRUE(next);
        expected = next->volume;
        fill = next->fillPixels;
    }
    EXPECT_GE(expected, before + 18);
    Key(QEvent::KeyPress, Qt::Key_Up);
    for (int repeat = 0; repeat < 3; ++repeat) {
        Key(QEvent::KeyRelease, Qt::Key_Up, true);
        Key(QEvent::KeyPress, Qt::Key_Up, true);
    }
    Key(QEvent::KeyRelease, Qt::Key_Up);
    EXPECT_TRUE(Pump([&] { return ServerVolume() == expected; })) << ServerVolume();
    EXPECT_EQ(Received("SetVolumeRequest"), 4);

    PumpFor(120ms);
    Tap(Qt::Key_P);
    EXPECT_TRUE(Pump([&] { return Received("PlayRequest") == 1; }));
}

// A line of the settings file the window cannot read costs that line, not
// the server history and the bindings, and the user is told once; a save
// that cannot be written is told once too, however often it is tried.
TEST_F(KeysTest, ADamagedSettingsLineOrAFailedSaveIsToldOnceAndCostsNothingElse) {
    const std::string nextSong =
        "FunctionKey" + std::to_string(ui::RowOf(ui::FunctionId::NextSong) + 1);
    WriteSettings([&](RegistryStore& store) {
        store.SetString(kSettingsKey, "Server1", "den-pc");
        store.SetDword(kSettingsKey, nextSong, 'N');
    });
    std::string content;
    {
        std::ifstream in(settingsFile_, std::ios::binary);
        content.assign(std::istreambuf_iterator<char>(in), {});
    }
    std::ofstream(settingsFile_, std::ios::binary) << "Windows Registry Editor Version 5.00\n"
                                                   << content;
    const auto told = [&](const std::string& words) {
        return std::count_if(prompter_.shown.begin(), prompter_.shown.end(),
                             [&](const std::string& line) {
                                 return line.rfind(ui::kSettingsCaption, 0) == 0 &&
                                        line.find(words) != std::string::npos;
                             });
    };

    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    EXPECT_EQ(told(settingsFile_ + ".corrupt"), 1);
    EXPECT_EQ(prompter_.shown.size(), 1u);
    Key(QEvent::KeyPress, Qt::Key_N);
    Key(QEvent::KeyRelease, Qt::Key_N);
    EXPECT_TRUE(Pump([&] { return Received("NextItemRequest") == 1; })) << "the binding was kept";
    RegistryStore rewritten(settingsFile_);
    EXPECT_EQ(rewritten.Load(), 0) << "written again whole";
    EXPECT_EQ(rewritten.QueryString(kSettingsKey, "Server1", 200), "den-pc");

    // Saves fail from now on: a folder stands where the new file goes.
    std::filesystem::create_directory(settingsFile_ + ".new");
    for (int save = 0; save < 2; ++save) {
        WithSettings([&](SettingsSheet& sheet) { Close(sheet, QDialogButtonBox::Ok); });
    }
    EXPECT_EQ(told("could not be saved"), 1);
    EXPECT_EQ(told(std::strerror(EISDIR)), 1) << "with the reason";
}

TEST_F(KeysTest, CancelKeepsBindingsForThisRunOnlyAndAConflictMovesAKeyOnYes) {
    WriteSettings([](RegistryStore& store) { store.SetDword(kSettingsKey, "FunctionKey5", 'N'); });
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    WithSettings([&](SettingsSheet& sheet) {
        prompter_.yes = true;
        Bind(sheet, ui::FunctionId::Pause, Qt::Key_N);  // "Next Song" has it: Yes
        EXPECT_TRUE(prompter_.Showed("Key Already In Use"));
        QTest::mouseClick(sheet.General().AutoConnectBox(), Qt::LeftButton);
        Close(sheet, QDialogButtonBox::Cancel);
    });
    EXPECT_TRUE(frame_->CurrentSettings().autoConnect);
    Tap(Qt::Key_N);
    EXPECT_TRUE(Pump([&] { return Received("PauseRequest") == 1; }));
    EXPECT_EQ(Received("NextItemRequest"), 0);

    // Exit saves the settings, but not what was cancelled.
    StopWindow();
    EXPECT_EQ(SavedKey(settingsFile_, ui::FunctionId::NextSong), 'N');
    EXPECT_EQ(SavedKey(settingsFile_, ui::FunctionId::Pause), -1);
    StartWindow();
    EXPECT_EQ(frame_->Functions().Row(ui::FunctionId::NextSong).key, 'N');
    EXPECT_EQ(frame_->Functions().Row(ui::FunctionId::Pause).key, -1);
    EXPECT_TRUE(frame_->CurrentSettings().autoConnect);
}

TEST_F(KeysTest, TheSkinsPageListsEverySkinAndTheOneChosenRedrawsTheWindow) {
    WriteSettings();
    StartWindow();
    ASSERT_TRUE(OnMainWithSong());
    // The time under the title is drawn in the skin's accent: teal in the
    // default skin, amber in "ember".
    const auto accent = [&](QColor colour) {
        return PixelsNear(frame_->View().Frame(), frame_->View().ComponentRect("positionback"),
                          colour);
    };
    const QColor teal(46, 196, 182);
    const QColor amber(240, 138, 36);
    EXPECT_GT(accent(teal), 20);
    EXPECT_EQ(accent(amber), 0);

    WithSettings([&](SettingsSheet& sheet) {
        sheet.Tabs()->setCurrentWidget(&sheet.Skins());
        const std::vector<std::string> names = sheet.Skins().Names();
        EXPECT_EQ(std::set<std::string>(names.begin(), names.end()),
                  (std::set<std::string>{"default", "ember"}));
        const auto ember = std::find(names.begin(), names.end(), "ember");
        TapRow(sheet.Skins().List(), static_cast<int>(ember - names.begin()));
        Close(sheet, QDialogButtonBox::Ok);
    });
    EXPECT_TRUE(Pump([&] { return accent(amber) > 20 && accent(teal) == 0; }));
    EXPECT_EQ(frame_->Screen(), "main");
    RegistryStore saved(settingsFile_);
    saved.Load();
    EXPECT_EQ(saved.QueryString(kSettingsKey, "SkinFilePath", 400).value_or(""),
              (installDir_ / "skins" / "ember" / "ember.xml").string());

    // OK without a choice leaves the skin as it is.
    WithSettings([&](SettingsSheet& sheet) { Close(sheet, QDialogButtonBox::Ok); });
    EXPECT_GT(accent(amber), 20);
}

}  // namespace
}  // namespace vantor::testing
