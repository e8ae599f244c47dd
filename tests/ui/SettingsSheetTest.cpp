// The settings sheet driven as a user drives it, with synthetic taps and
// key presses on Qt's offscreen platform: binding keys on the Buttons
// page and choosing a skin (OK and Cancel are the window's stories); and
// each page drawn at the window's two sizes (build/sheet-*.png) and
// checked for text that does not fit.

#include <gtest/gtest.h>
#include <unistd.h>

#include <QAbstractButton>
#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QPushButton>
#include <QStyleHints>
#include <QTabBar>
#include <QTabWidget>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>
#include <filesystem>
#include <fstream>

#include "ui/GuiFixture.h"
#include "ui/keys/KeyNames.h"
#include "ui/lists/ListTouch.h"
#include "ui/settings/AboutPage.h"
#include "ui/settings/ButtonsPage.h"
#include "ui/settings/GeneralPage.h"
#include "ui/settings/SettingsSheet.h"
#include "ui/settings/SkinsPage.h"
#include "ui/view/ChromeLook.h"

namespace vantor::ui {
namespace {

namespace fs = std::filesystem;

void Touch(const fs::path& file) {
    fs::create_directories(file.parent_path());
    std::ofstream(file) << "<skin/>";
}

// A preview: Qt reads the picture by its content, whatever the name says.
void WritePreview(const fs::path& file, QColor colour, QSize size) {
    QImage image(size, QImage::Format_RGB32);
    image.fill(colour);
    ASSERT_TRUE(image.save(QString::fromStdString(file.string()), "PNG"));
}

class SettingsSheetTest : public ::testing::Test {
protected:
    SettingsSheetTest() {
        installDir_ = fs::path(::testing::TempDir()) /
                      ("sheet-" + std::to_string(::getpid()) + "-" +
                       ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(installDir_);
        const fs::path skins = installDir_ / "skins";
        Touch(skins / "aqua" / "aqua.xml");
        Touch(skins / "aqua" / "aquamarine.xml");
        Touch(skins / "default" / "default.xml");
        Touch(skins / "default" / "notes.txt");
        Touch(skins / "night" / "Night.xml");
        Touch(skins / "loose.xml");  // not in a skin's folder
        fs::create_directories(skins / "empty");
        WritePreview(skins / "default" / "default.gif", QColor(200, 40, 40), QSize(96, 48));
        WritePreview(skins / "aqua" / "aquamarine.gif", QColor(40, 200, 200), QSize(64, 64));
    }

    ~SettingsSheetTest() override {
        sheet_.reset();
        fs::remove_all(installDir_);
    }

    std::string Install() const { return installDir_.string() + "/"; }
    std::string SkinPath(const char* relative) const { return Install() + "skins/" + relative; }

    // The sheet as the window opens it, shown but not run.
    void Open(const std::string& currentSkin = {}) {
        sheet_ = std::make_unique<SettingsSheet>(table_, prompter_, nullptr);
        sheet_->SetGeneral(true, false);
        sheet_->SetServerVersion("");
        sheet_->SetSkins(Install(),
                         currentSkin.empty() ? SkinPath("default/default.xml") : currentSkin);
        sheet_->resize(480, 640);
        sheet_->Prepare();
        sheet_->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(sheet_.get()));
    }

    QTreeWidget* Functions() { return sheet_->Buttons().List(); }
    void DoubleTap(FunctionId function) {
        sheet_->Tabs()->setCurrentWidget(&sheet_->Buttons());
        testing::DoubleTapRow(Functions(), RowOf(function));
    }
    void Press(int key, Qt::KeyboardModifiers modifiers = {}) {
        testing::PressKey(sheet_.get(), key, modifiers);
    }
    std::string KeyText(FunctionId function) {
        return sheet_->Buttons().KeyText(RowOf(function)).toStdString();
    }

    fs::path installDir_;
    FunctionTable table_;
    testing::RecordingPrompter prompter_;
    std::unique_ptr<SettingsSheet> sheet_;
};

TEST_F(SettingsSheetTest, ADoubleTapWaitsAndTheNextKeyIsBoundByName) {
    Open();
    // Enter and Escape are bound like any key, and leave the sheet open.
    DoubleTap(FunctionId::Play);
    EXPECT_EQ(sheet_->Buttons().WaitingRow(), RowOf(FunctionId::Play));
    EXPECT_EQ(KeyText(FunctionId::Play), "Waiting...");
    Press(Qt::Key_Return);
    EXPECT_EQ(sheet_->Buttons().WaitingRow(), -1);
    DoubleTap(FunctionId::Stop);
    Press(Qt::Key_Escape);
    EXPECT_EQ(KeyText(FunctionId::Play), "Enter");
    EXPECT_EQ(KeyText(FunctionId::Stop), "Esc");
    EXPECT_TRUE(sheet_->isVisible());
    // A second double tap moves the wait; the first row keeps its key.
    DoubleTap(FunctionId::Play);
    DoubleTap(FunctionId::Pause);
    EXPECT_EQ(KeyText(FunctionId::Play), "Enter");
    EXPECT_EQ(KeyText(FunctionId::Pause), "Waiting...");
    // A key with no number is refused, and the row goes on waiting.
    Press(Qt::Key_Calculator);
    EXPECT_EQ(prompter_.shown,
              std::vector<std::string>{"Invalid Key: Please press a valid hardware button"});
    EXPECT_EQ(KeyText(FunctionId::Pause), "Waiting...");
    Press(Qt::Key_5, Qt::KeypadModifier);
    EXPECT_EQ(KeyText(FunctionId::Pause), "Num 5");
    EXPECT_EQ(table_.Row(FunctionId::Pause).key, 101);

    // A reader hears the list by its page's name, and each row as the
    // function with the key bound to it (an unbound one by its name).
    QAccessibleInterface* list = QAccessible::queryAccessibleInterface(
        sheet_->findChild<QTreeWidget*>(QStringLiteral("Function List")));
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->text(QAccessible::Name), QStringLiteral("Buttons"));
    const auto said = [&](FunctionId function) {
        QAccessibleInterface* cell = list->tableInterface()->cellAt(RowOf(function), 0);
        return cell ? cell->text(QAccessible::Name).toStdString() : std::string();
    };
    EXPECT_EQ(said(FunctionId::Pause), "Pause: Num 5");
    EXPECT_EQ(said(FunctionId::Stop), "Stop: Esc");
    EXPECT_EQ(said(FunctionId::NextSong), "Next Song");
}

TEST_F(SettingsSheetTest, AKeyInUseAsksByNameButItsOwnKeyAndCenterNeverAsk) {
    table_.Bind(FunctionId::Play, 'A');
    table_.Bind(FunctionId::Stop, 'S');
    table_.Bind(FunctionId::NowPlaying, kVkCenter);
    Open();

    DoubleTap(FunctionId::Stop);
    Press(Qt::Key_A);
    EXPECT_EQ(prompter_.shown,
              std::vector<std::string>{
                  "Key Already In Use? A is already bound to Play. Would you like to replace "
                  "this association?"});
    EXPECT_EQ(table_.Row(FunctionId::Stop).key, 'S');  // the answer was No

    // The row's own key again: nothing to ask.
    DoubleTap(FunctionId::Stop);
    Press(Qt::Key_S);
    EXPECT_EQ(prompter_.shown.size(), 1u);
    EXPECT_EQ(table_.Row(FunctionId::Stop).key, 'S');

    // Center takes over without a question, whatever the answer would be.
    DoubleTap(FunctionId::Play);
    Press(Qt::Key_Select);
    EXPECT_EQ(prompter_.shown.size(), 1u);
    EXPECT_EQ(table_.Row(FunctionId::Play).key, kVkCenter);
    EXPECT_EQ(KeyText(FunctionId::Play), "Center");
    EXPECT_EQ(table_.Row(FunctionId::NowPlaying).key, kUnboundKey);
}

TEST_F(SettingsSheetTest, TapAndHoldOffersReleaseButton) {
    table_.Bind(FunctionId::Rewind, 'R');
    Open();
    sheet_->Tabs()->setCurrentWidget(&sheet_->Buttons());
    QApplication::processEvents();
    QTreeWidget* list = Functions();
    list->scrollToItem(list->topLevelItem(RowOf(FunctionId::Rewind)));
    const QPoint at = testing::RowCenter(list, RowOf(FunctionId::Rewind));

    QTest::mousePress(list->viewport(), Qt::LeftButton, {}, at);
    QMenu* menu = sheet_->Buttons().ReleaseMenu();
    EXPECT_TRUE(QTest::qWaitFor([&] { return menu->isVisible(); }));
    QTest::mouseRelease(list->viewport(), Qt::LeftButton, {}, at);
    ASSERT_EQ(menu->actions().size(), 1);
    EXPECT_EQ(menu->actions().front()->text().toStdString(), "Release Button");
    menu->actions().front()->trigger();
    menu->close();
    EXPECT_EQ(table_.Row(FunctionId::Rewind).key, kUnboundKey);
    EXPECT_EQ(KeyText(FunctionId::Rewind), "");
}

// By finger: a finger drawn along the rows selects none and opens nothing,
// however long it stays down; held still on a row, it offers the menu.
TEST_F(SettingsSheetTest, AFingerHeldStillOnARowOffersReleaseButton) {
    table_.Bind(FunctionId::Rewind, 'R');
    Open();
    sheet_->Tabs()->setCurrentWidget(&sheet_->Buttons());
    QApplication::processEvents();
    QTreeWidget* list = Functions();
    QWidget* rows = list->viewport();
    QMenu* menu = sheet_->Buttons().ReleaseMenu();
    const QPoint at = testing::RowCenter(list, RowOf(FunctionId::Rewind));
    const QList<QTreeWidgetItem*> selected = list->selectedItems();

    const QPoint moved = at + QPoint(0, QApplication::startDragDistance() * 3);
    testing::FingerDown(rows, at);
    testing::FingerMove(rows, moved);
    QTest::qWait(ui::kTouchHoldMs * 2);
    testing::FingerUp(rows, moved);
    EXPECT_FALSE(menu->isVisible());
    EXPECT_EQ(list->selectedItems(), selected);

    testing::FingerDown(rows, at);
    EXPECT_TRUE(QTest::qWaitFor([&] { return menu->isVisible(); }));
    testing::FingerUp(rows, at);
    EXPECT_TRUE(menu->isVisible()) << "the lift closed the menu";
    EXPECT_EQ(table_.Row(FunctionId::Rewind).key, 'R') << "the lift chose from the menu";
    menu->actions().front()->trigger();
    menu->close();
    EXPECT_EQ(table_.Row(FunctionId::Rewind).key, kUnboundKey);
}

TEST_F(SettingsSheetTest, SkinsListInReverseOrderWithThePrefixSelectedAndItsPreview) {
    Open(SkinPath("aqua/aqua.xml"));
    SkinsPage& skins = sheet_->Skins();
    EXPECT_EQ(skins.Names(), (std::vector<std::string>{"Night", "default", "aquamarine", "aqua"}));
    EXPECT_EQ(skins.List()->columnWidth(0), 200);
    // "aqua" is a prefix of "aquamarine", which comes first.
    EXPECT_EQ(skins.ChosenIndex(), 1);
    EXPECT_EQ(skins.ChosenPath(), SkinPath("aqua/aquamarine.xml"));
    EXPECT_EQ(sheet_->NewSkin(), SkinPath("aqua/aquamarine.xml"));
    EXPECT_EQ(skins.Preview().size(), QSize(64, 64));

    // A tap chooses and shows the preview below the list, at its own size.
    sheet_->Tabs()->setCurrentWidget(&skins);
    QApplication::processEvents();
    testing::TapRow(skins.List(), 3);
    EXPECT_EQ(skins.ChosenPath(), SkinPath("aqua/aqua.xml"));
    EXPECT_EQ(sheet_->NewSkin(), std::nullopt) << "the skin in use";
    testing::TapRow(skins.List(), 1);
    EXPECT_EQ(sheet_->NewSkin(), SkinPath("default/default.xml"));
    const QImage page = skins.grab().toImage();
    const QPoint corner = skins.PreviewPosition();
    EXPECT_EQ(page.pixelColor(corner + QPoint(2, 2)), QColor(200, 40, 40));
    EXPECT_EQ(page.pixelColor(corner + QPoint(94, 46)), QColor(200, 40, 40));
    EXPECT_NE(page.pixelColor(corner + QPoint(97, 2)), QColor(200, 40, 40));
    // A skin without a preview draws none.
    testing::TapRow(skins.List(), 0);
    EXPECT_EQ(skins.ChosenPath(), SkinPath("night/Night.xml"));
    EXPECT_TRUE(skins.Preview().isNull());

    // The prefix ignores case; a skin that is gone selects nothing.
    skins.Fill(Install(), SkinPath("night/night.xml"));
    EXPECT_EQ(skins.ChosenPath(), SkinPath("night/Night.xml"));
    skins.Fill(Install(), "/nowhere/skins/gone/gone.xml");
    EXPECT_EQ(skins.ChosenIndex(), -1);
    EXPECT_TRUE(skins.List()->selectedItems().isEmpty());
    skins.Fill(Install() + "missing/", SkinPath("aqua/aqua.xml"));
    EXPECT_TRUE(skins.Names().empty());
    EXPECT_EQ(skins.ChosenIndex(), -1);
}

TEST_F(SettingsSheetTest, AtMostAHundredSkinsAreListed) {
    for (int i = 0; i < 101; ++i) {
        const std::string name = "s" + std::to_string(1000 + i);
        Touch(installDir_ / "many" / "skins" / name / (name + ".xml"));
    }
    SkinsPage page;
    page.Fill((installDir_ / "many").string() + "/", {});
    EXPECT_EQ(page.Paths().size(), 100u);
    EXPECT_EQ(page.Names().front(), "s1099");
    EXPECT_EQ(page.Names().back(), "s1000");
}

// --- Pictures ---------------------------------------------------------------

QFont FrameFont(int dpi) {
    QFont font(QStringLiteral("Arial"));
    font.setStyleHint(QFont::SansSerif);
    font.setPixelSize(dpi * 10 / 72);
    return font;
}

// The window's colours from the default skin's header and lists.
QPalette WindowPalette() {
    return ChromePalette(QColor(26, 32, 44), QColor(226, 231, 239), QColor(46, 196, 182),
                         QColor(15, 19, 25));
}

// Whether every text of the page shows whole: labels wrap within their
// height, other texts fit their width, and nothing lies outside the sheet.
void ExpectReadable(QWidget* page, const QWidget* sheet, const std::string& where) {
    for (const QWidget* child : page->findChildren<QWidget*>()) {
        if (!child->isVisible()) {
            continue;
        }
        const QRect inSheet(child->mapTo(sheet, QPoint(0, 0)), child->size());
        EXPECT_TRUE(sheet->rect().contains(inSheet))
            << where << ": " << child->metaObject()->className() << " outside the sheet";
        if (const auto* label = qobject_cast<const QLabel*>(child)) {
            if (label->wordWrap()) {
                EXPECT_LE(label->heightForWidth(label->width()), label->height())
                    << where << ": " << label->text().toStdString();
            } else if (label->pixmap().isNull()) {
                EXPECT_LE(label->sizeHint().width(), label->width())
                    << where << ": " << label->text().toStdString();
            }
        }
    }
}

TEST_F(SettingsSheetTest, EveryPageReadsWholeAtBothWindowSizes) {
    table_.Bind(FunctionId::PlayPause, kVkCenter);
    table_.Bind(FunctionId::VolumeUp, 0xAF);
    table_.Bind(FunctionId::FastForward, 'F');
    struct Size {
        const char* name;
        QSize window;
        int dpi;
    };
    for (const Size& size : {Size{"480x640", {480, 640}, 192}, Size{"240x320", {240, 320}, 96}}) {
        QWidget window;
        window.setPalette(WindowPalette());
        window.resize(size.window);
        SettingsSheet sheet(table_, prompter_, nullptr, &window);
        sheet.setFont(FrameFont(size.dpi));
        sheet.SetGeneral(true, false);
        sheet.SetServerVersion("3.2.0.7");
        sheet.SetSkins(Install(), SkinPath("default/default.xml"));
        QImage icon(QString::fromLatin1(VANTOR_SKINS_DIR) +
                    (size.dpi >= 192 ? QStringLiteral("/default/icon@2x.png")
                                     : QStringLiteral("/default/icon.png")));
        sheet.SetProductIcon(icon);
        sheet.Prepare();
        sheet.resize(size.window);
        sheet.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&sheet));
        EXPECT_EQ(sheet.size(), size.window) << "the sheet needs more room than the window";
        EXPECT_EQ(sheet.palette().color(QPalette::Window), QColor(26, 32, 44));
        EXPECT_EQ(sheet.windowTitle(), QStringLiteral("Vantor Settings"));
        ASSERT_EQ(sheet.Tabs()->count(), 4);
        for (int i = 0; i < sheet.Tabs()->count(); ++i) {
            const char* const titles[] = {"General", "Buttons", "About", "Skins"};
            EXPECT_EQ(sheet.Tabs()->tabText(i).toStdString(), titles[i]);
            sheet.Tabs()->setCurrentIndex(i);
            QTest::qWait(10);
            const std::string where =
                std::string(size.name) + " " + sheet.Tabs()->tabText(i).toStdString();
            EXPECT_LE(sheet.Tabs()->tabBar()->tabRect(i).right(), sheet.Tabs()->width()) << where;
            EXPECT_EQ(sheet.Tabs()->tabBar()->fontMetrics().elidedText(
                          sheet.Tabs()->tabText(i), Qt::ElideRight,
                          sheet.Tabs()->tabBar()->tabRect(i).width()),
                      sheet.Tabs()->tabText(i))
                << where;
            ExpectReadable(sheet.Tabs()->currentWidget(), &sheet, where);
            const std::string file = std::string(VANTOR_SHOTS_DIR) + "/sheet-" +
                                     sheet.Tabs()->tabText(i).toLower().toStdString() + "-" +
                                     size.name + ".png";
            EXPECT_TRUE(sheet.grab().save(QString::fromStdString(file))) << file;
        }
        // The Buttons page's columns show whole names and key names.
        QTreeWidget* list = sheet.Buttons().List();
        const QFontMetrics metrics(list->font());
        for (int row = 0; row < list->topLevelItemCount(); ++row) {
            EXPECT_LE(metrics.horizontalAdvance(list->topLevelItem(row)->text(0)) + 8,
                      list->columnWidth(0))
                << size.name << " " << list->topLevelItem(row)->text(0).toStdString();
        }
    }
}

}  // namespace
}  // namespace vantor::ui
