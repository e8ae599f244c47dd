#include "SkinOutput.h"

#include <QDir>
#include <QImage>
#include <QPainter>
#include <cstdio>
#include <fstream>
#include <optional>
#include <string>
#include <utility>

#include "SkinArt.h"
#include "SkinSpec.h"
#include "core/Text.h"
#include "skin/SkinScale.h"

namespace vantor::skingen {

using namespace palette;

namespace {

struct Resolution {
    const char* suffix;
    int dpi;
};
constexpr Resolution kResolutions[] = {{"", 96}, {"@1.3x", 125}, {"@2x", 192}};

int S(int value, int dpi) {
    return SkinScale::Scale(value, dpi);
}

QImage Render(const Sheet& sheet, int dpi) {
    QImage image(S(sheet.width, dpi), S(sheet.height, dpi), QImage::Format_RGB32);
    image.fill(sheet.keyed ? kKey : kBase);
    for (const Cell& cell : sheet.cells) {
        const QRect pixels(S(cell.x, dpi), S(cell.y, dpi), S(cell.w, dpi), S(cell.h, dpi));
        const auto place = [&](QPainter& p) {
            p.setClipRect(pixels);
            p.translate(pixels.x(), pixels.y());
            p.scale(double(pixels.width()) / cell.w, double(pixels.height()) / cell.h);
        };
        {
            QPainter painter(&image);
            place(painter);
            cell.paint(painter, QRectF(0, 0, cell.w, cell.h));
        }
        if (cell.mask) {
            QImage mask(image.size(), QImage::Format_ARGB32_Premultiplied);
            mask.fill(Qt::transparent);
            {
                QPainter painter(&mask);
                place(painter);
                cell.mask(painter, QRectF(0, 0, cell.w, cell.h));
            }
            for (int y = pixels.top(); y <= pixels.bottom(); ++y) {
                for (int x = pixels.left(); x <= pixels.right(); ++x) {
                    if (qAlpha(mask.pixel(x, y)) == 0) {
                        image.setPixel(x, y, kKey.rgb());
                    }
                }
            }
        }
    }
    return image;
}

std::string Attr(const char* name, const std::optional<int>& value) {
    return value ? Format(" %s=\"%d\"", name, *value) : std::string();
}

std::string ColorAttr(const char* name, const std::optional<QColor>& color) {
    return color ? Format(" %s=\"%d,%d,%d\"", name, color->red(), color->green(), color->blue())
                 : std::string();
}

std::string Attr(const char* name, int value) {
    return Attr(name, std::optional<int>(value));
}

std::string RectAttrs(const Rect& r) {
    return Attr("x", r.x) + Attr("y", r.y) + Attr("width", r.width) + Attr("height", r.height) +
           Attr("right", r.right) + Attr("bottom", r.bottom);
}

std::string Source(const Sheet& sheet, const std::string& id, bool withSize) {
    const Cell& cell = sheet.Find(id);
    std::string source =
        "<source name=\"" + sheet.bitmap + "\"" + Attr("x", cell.x) + Attr("y", cell.y);
    if (withSize) {
        source += Attr("width", cell.w) + Attr("height", cell.h);
    }
    return source + "/>";
}

std::string WriteXml(const Skin& skin, const std::string& theme) {
    std::string xml =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<!-- Vantor's " +
        theme +
        " skin, laid out for a 240 x 320 portrait screen in\n"
        "     96-DPI units. Written by vantor-skingen (tools/skingen): change the\n"
        "     generator and run it again rather than editing this file. -->\n"
        "<skin name=\"Vantor\">\n\n  <!-- images -->\n";
    for (const Sheet& sheet : skin.sheets) {
        xml += "  <bitmap name=\"" + sheet.bitmap + "\" file=\"" + sheet.file + ".png\"" +
               (sheet.keyed ? " transparency=\"255,0,255\"" : "") + "/>\n";
    }
    xml += "\n  <!-- native child windows -->\n";
    for (const WindowSpec& window : skin.windows) {
        xml += "  <wincomponent name=\"" + window.name + "\"" + RectAttrs(window.rect) +
               ColorAttr("backcolor", window.back) + ColorAttr("forecolor", window.fore) +
               ColorAttr("selectcolor", window.select) + "/>\n";
    }
    xml += "\n  <!-- text -->\n";
    for (const FontSpec& font : skin.fonts) {
        xml += "  <font name=\"" + font.name + "\" face=\"Arial\"" + Attr("size", font.size) +
               " weight=\"" + font.weight + "\" quality=\"antialiased\"" +
               ColorAttr("color", font.color) + "/>\n";
    }
    xml += "\n  <!-- components, in drawing order -->\n";
    for (const ComponentSpec& c : skin.components) {
        xml += "  <component name=\"" + c.name + "\" mode=\"" + c.mode + "\"" +
               (c.ignoreInput ? " ignoreinput=\"true\"" : "") + ">\n";
        xml += "    <state type=\"norm\">" + Source(*c.sheet, c.norm, true) + "<rect" +
               RectAttrs(c.rect) + "/></state>\n";
        // Hover and push keep the norm's size and rectangle.
        if (!c.hover.empty()) {
            xml += "    <state type=\"hover\">" + Source(*c.sheet, c.hover, false) + "</state>\n";
        }
        if (!c.push.empty()) {
            xml += "    <state type=\"push\">" + Source(*c.sheet, c.push, false) + "</state>\n";
        }
        xml += "  </component>\n";
    }
    return xml + "\n</skin>\n";
}

bool Save(const QImage& image, const QString& path) {
    if (!image.save(path, "PNG", 0)) {
        std::fprintf(stderr, "vantor-skingen: cannot write %s\n", qPrintable(path));
        return false;
    }
    return true;
}

}  // namespace

int Run(const QString& out, const QString& theme) {
    if (!QDir().mkpath(out)) {
        std::fprintf(stderr, "vantor-skingen: cannot create %s\n", qPrintable(out));
        return 1;
    }
    const Skin skin = BuildSkin();
    for (const Sheet& sheet : skin.sheets) {
        for (const Resolution& resolution : kResolutions) {
            const QString path = out + QLatin1Char('/') + QString::fromStdString(sheet.file) +
                                 QString::fromLatin1(resolution.suffix) + QStringLiteral(".png");
            if (!Save(Render(sheet, resolution.dpi), path)) {
                return 1;
            }
        }
    }
    for (const auto& [name, size] : {std::pair{"icon.png", 48}, std::pair{"icon@2x.png", 96}}) {
        QImage icon(size, size, QImage::Format_ARGB32_Premultiplied);
        icon.fill(Qt::transparent);
        QPainter painter(&icon);
        DrawLogo(painter, QRectF(0, 0, size, size));
        painter.end();
        if (!Save(icon, out + QLatin1Char('/') + QString::fromLatin1(name))) {
            return 1;
        }
    }
    const QString file = theme + QStringLiteral(".xml");
    std::ofstream xml((out + QLatin1Char('/') + file).toStdString(), std::ios::binary);
    xml << WriteXml(skin, theme.toStdString());
    if (!xml) {
        std::fprintf(stderr, "vantor-skingen: cannot write %s\n", qPrintable(file));
        return 1;
    }
    std::printf("wrote %zu images at 3 resolutions, the icon and %s to %s\n", skin.sheets.size(),
                qPrintable(file), qPrintable(out));
    return 0;
}

}  // namespace vantor::skingen
