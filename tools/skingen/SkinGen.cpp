// vantor-skingen: draws the shipped skins.
//
//   vantor-skingen OUTDIR [THEME]   writes OUTDIR/THEME.xml, every image at
//                                   1x, @1.3x and @2x, and the product icon;
//                                   THEME is "default" (teal, the default)
//                                   or "ember" (amber)
//
// The layout (in 96-DPI skin units, for a 240 x 320 portrait screen) lives
// in SkinLayout.cpp beside the drawing (SkinScreens.cpp, SkinArt.cpp), and
// the XML is written from it (SkinOutput.cpp), so the images and the file
// cannot drift apart. Each image cell is drawn into exactly the pixel
// rectangle the skin loader computes for it at each resolution, so a
// component drawn at its own size is a plain copy on the device.

#include <QGuiApplication>
#include <QString>
#include <cstdio>

#include "SkinArt.h"
#include "SkinOutput.h"

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QGuiApplication application(argc, argv);
    const QString theme = argc == 3 ? QString::fromLocal8Bit(argv[2]) : QStringLiteral("default");
    if ((argc != 2 && argc != 3) || !vantor::skingen::UseTheme(theme)) {
        std::fprintf(stderr,
                     "usage: vantor-skingen OUTDIR [default|ember]   (skins/default or "
                     "skins/ember of the source tree)\n");
        return 2;
    }
    return vantor::skingen::Run(QString::fromLocal8Bit(argv[1]), theme);
}
