// Feeds arbitrary bytes to the skin reader and, written out as a skin file
// beside two small images, to the loader; then paints every screen of what
// was loaded, hit-tests it and draws its bars and dialog. Checks that the
// reader's tree is consistent and that nothing reads or writes outside an
// image, whatever the file says.

#include <QGuiApplication>
#include <QImage>
#include <QTemporaryDir>
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>

#include "core/Logger.h"
#include "skin/CSkin.h"
#include "skin/SkinBar.h"
#include "skin/SkinMessageDialog.h"
#include "skin/SkinScreen.h"
#include "skin/SkinXmlReader.h"

namespace {

using namespace vantor;

void Check(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "broken invariant: %s\n", what);
        std::abort();
    }
}

// The process's application and a folder holding the skin's images.
struct World {
    World() {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        static int argc = 1;
        static char name[] = "skin_fuzz";
        static char* argv[] = {name, nullptr};
        application = new QGuiApplication(argc, argv);
        Logger::Instance().SetThreshold(-1);  // bad skins log by design
        folder = dir.path().toStdString() + "/";
        QImage keyed(16, 16, QImage::Format_RGB32);
        keyed.fill(QColor(40, 120, 200));
        for (int i = 0; i < 16; ++i) {
            keyed.setPixel(i, i, qRgb(255, 0, 255));
            keyed.setPixel(15 - i, i, qRgb(255, 0, 255));
        }
        keyed.save(QString::fromStdString(folder + "a.png"));
        QImage plain(8, 8, QImage::Format_RGB32);
        plain.fill(QColor(200, 80, 20));
        plain.save(QString::fromStdString(folder + "b.png"));
        plain.save(QString::fromStdString(folder + "b@2x.png"));
    }
    QGuiApplication* application = nullptr;
    QTemporaryDir dir;
    std::string folder;
};

void CheckTree(const SkinXmlDocument& document, std::string_view bytes) {
    const auto& elements = document.Elements();
    Check(elements.size() <= static_cast<std::size_t>(std::count(bytes.begin(), bytes.end(), '<')),
          "more elements than tags");
    for (std::size_t i = 0; i < elements.size(); ++i) {
        for (const std::size_t child : elements[i].children) {
            Check(child > i && child < elements.size(), "child index");
        }
    }
}

void Exercise(const CSkin& skin, std::int32_t width, std::int32_t height) {
    QImage target(width, height, QImage::Format_RGB32);
    target.fill(Qt::black);
    for (const std::string_view screen :
         {kScreenMain, kScreenNowPlaying, kScreenPlaylist, kScreenConnect, kScreenEq}) {
        {
            const SkinDrawGuard lock;
            PaintScreen(lock, skin, target, screen);
            for (const SkinBarNames bar : {kVolumeBar, kPositionBar, kProgressBar}) {
                DrawBar(lock, skin, target, bar, width / 3, false, screen);
            }
            for (int track = 0; track < kEqTracks; ++track) {
                DrawBar(lock, skin, target, skin.FindComponent(EqTrackName(track)),
                        skin.FindComponent(kEqKnob), track * 9, true, screen);
            }
            DrawPlayerState(lock, skin, target, 2, screen);
        }
        for (const auto& [x, y] : {std::pair{0, 0}, std::pair{width / 2, height / 2},
                                   std::pair{width - 1, height - 1}, std::pair{-1, 5}}) {
            ComponentAtPress(skin, x, y, screen);
            ComponentAtInput(skin, x, y, screen, true);
        }
    }
    SkinMessageDialog dialog(skin, "text", "caption");
    const QSize size = dialog.PreferredSize().boundedTo(QSize(width, height));
    if (size.width() > 0 && size.height() > 0) {
        QImage popup(size, QImage::Format_RGB32);
        dialog.Press(size.width() / 2, size.height() - 2);
        const SkinDrawGuard lock;
        dialog.Paint(lock, popup, Qt::white);
    }
}

}  // namespace

// Qt's font database lets the system font library lose a few bytes now and
// then when it drops and remakes cached fonts; that is not ours to fix.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig.so\n";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static World world;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    CheckTree(SkinXmlDocument::Parse(bytes), bytes);

    // The last byte picks the device: 240 x 320, 320 x 480 or 480 x 640.
    const int device = size > 0 ? data[size - 1] % 3 : 0;
    const std::int32_t width = device == 0 ? 240 : device == 1 ? 320 : 480;
    const std::int32_t height = width * 4 / 3;
    const std::int32_t dpi = device == 0 ? 96 : device == 1 ? 125 : 192;
    const std::string path = world.folder + "skin.xml";
    {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    CSkin skin;
    skin.SetScale(SkinScale{dpi, dpi});
    Check(skin.LoadSkin(path, SkinRect{0, 0, width, height}), "an existing file loads");
    Exercise(skin, width, height);
    return 0;
}
