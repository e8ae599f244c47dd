// main() for GoogleTest suites that need a QGuiApplication (fonts, text
// layout). Without a display they run on Qt's offscreen platform.

#include <gtest/gtest.h>

#include <QGuiApplication>

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    ::testing::InitGoogleTest(&argc, argv);
    QGuiApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
