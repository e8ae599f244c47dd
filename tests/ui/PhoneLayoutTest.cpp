// The window at the sizes a phone or a small handheld gives it, with the
// menu and the command bar inside it (the command line's --geometry): what
// each screen leaves a user to read and press, and the speakers' menu under
// a finger while the list of rooms changes.

#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QScreen>
#include <QTest>
#include <mutex>

#include "protocol/Messages.h"
#include "ui/GuiFixture.h"

namespace vantor::testing {
namespace {

// The connect screen's list of servers shows at least its first row whole
// in a window of the handheld's own size, the menu and the command bar in
// it, as it did before the screens learnt to stretch: the one choice a new
// user has ("(Find Automatically)") can be read and tapped.
TEST_F(GuiTest, TheServerListShowsAWholeRowInSmallWindows) {
    WriteSettings([](RegistryStore& store) { store.SetDword(kSettingsKey, "AutoConnect", 0); });
    for (const QSize window : {QSize(240, 320), QSize(320, 400), QSize(480, 640)}) {
        StopWindow();
        StartWindow([&](ui::FrameOptions& options) {
            options.screen = window;
            options.screenIsWindow = true;
            options.pixelRatio = 1;
            options.server.clear();
        });
        ASSERT_TRUE(Pump([&] { return frame_->Screen() == "connect"; }));
        PumpFor(100ms);
        auto* list = frame_->findChild<QListWidget*>(QStringLiteral("Server List"));
        ASSERT_NE(list, nullptr);
        ASSERT_GT(list->count(), 0);
        const QRect row = list->visualItemRect(list->item(0));
        const std::string at =
            std::to_string(window.width()) + "x" + std::to_string(window.height());
        EXPECT_GE(list->viewport()->height(), row.height())
            << at << ": the list is " << list->viewport()->height() << " high, a row "
            << row.height();
        EXPECT_TRUE(list->viewport()->rect().contains(row))
            << at << ": " << list->item(0)->text().toStdString() << " is cut off";
    }
}

}  // namespace
}  // namespace vantor::testing
