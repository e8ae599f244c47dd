// main() for the window's suites: a QApplication on the offscreen platform
// (unless a display is asked for), in the look the program itself sets.

#include <gtest/gtest.h>

#include <QApplication>

#include "ui/view/ChromeLook.h"

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    ::testing::InitGoogleTest(&argc, argv);
    QApplication application(argc, argv);
    QApplication::setStyle(vantor::ui::MakeWindowStyle());
    return RUN_ALL_TESTS();
}
