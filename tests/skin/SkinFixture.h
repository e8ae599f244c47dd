#pragma once

// A skin written into a temporary folder for one test: its XML file and
// images made on the spot, loaded at a chosen screen size and DPI.

#include <gtest/gtest.h>

#include <QColor>
#include <QImage>
#include <QString>
#include <QTemporaryDir>
#include <fstream>
#include <string>

#include "skin/CSkin.h"

namespace vantor::testing {

class SkinFixture {
public:
    SkinFixture() { EXPECT_TRUE(dir_.isValid()); }

    std::string Folder() const { return dir_.path().toStdString() + "/"; }
    std::string Path(const std::string& name) const { return Folder() + name; }

    void WriteFile(const std::string& name, const std::string& bytes) const {
        std::ofstream out(Path(name), std::ios::binary);
        out << bytes;
    }

    void WriteImage(const std::string& name, const QImage& image,
                    const char* format = "PNG") const {
        ASSERT_TRUE(image.save(QString::fromStdString(Path(name)), format));
    }

    // A skin file whose root holds `body`.
    std::string WriteSkin(const std::string& body, const std::string& name = "skin.xml") const {
        WriteFile(name, "<skin>\n" + body + "\n</skin>\n");
        return Path(name);
    }

    // Loads a skin holding `body` on a screen of the given size and DPI.
    CSkin Load(const std::string& body, std::int32_t width = 240, std::int32_t height = 320,
               std::int32_t dpi = 96) const {
        CSkin skin;
        skin.SetScale(SkinScale{dpi, dpi});
        EXPECT_TRUE(skin.LoadSkin(WriteSkin(body), SkinRect{0, 0, width, height}));
        return skin;
    }

private:
    QTemporaryDir dir_;
};

// An image of one colour, opaque.
inline QImage SolidImage(int width, int height, QColor color) {
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(color);
    return image;
}

// Pixel (x, y) of a 32-bit image without its alpha byte.
inline std::uint32_t Rgb(const QImage& image, int x, int y) {
    return image.pixel(x, y) & 0x00FFFFFFu;
}

}  // namespace vantor::testing
