#include "SkinScreens.h"

#include <QLinearGradient>
#include <QString>

#include "SkinArt.h"

namespace vantor::skingen {

using namespace palette;

void PaintDeck(QPainter& p, double top) {
    p.fillRect(QRectF(0, top, kScreenWidth, kDeckHeight), kStrip);
    p.fillRect(QRectF(0, top, kScreenWidth, 1), kLine);
    DrawGlyph(p, Glyph::Volume, QRectF(78, top + 66, 16, 16), 14, kMuted);
}

void PaintMain(QPainter& p) {
    p.fillRect(QRectF(0, 0, kScreenWidth, kScreenHeight), kList);
    p.fillRect(QRectF(0, 0, kScreenWidth, 30), kStrip);
    p.fillRect(QRectF(0, 30, kScreenWidth, 24), kStrip2);
    p.fillRect(QRectF(0, 53, kScreenWidth, 1), kLine);
}

namespace {

// The screen's base colour under a teal glow fading out `height` units down.
void PaintGlow(QPainter& p, double height) {
    p.fillRect(QRectF(0, 0, kScreenWidth, kScreenHeight), kBase);
    QLinearGradient glow(0, 0, 0, height);
    glow.setColorAt(0, kGlow);
    glow.setColorAt(1, kBase);
    p.fillRect(QRectF(0, 0, kScreenWidth, height), glow);
}

}  // namespace

void PaintNowPlaying(QPainter& p) {
    PaintGlow(p, 136);
}

void DrawPanel(QPainter& p, const QRectF& box, const QColor& fill, double radius) {
    p.save();
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(kLine, 1));
    p.setBrush(fill);
    p.drawRoundedRect(box, radius, radius);
    p.restore();
}

void PaintList(QPainter& p) {
    p.fillRect(QRectF(0, 0, kScreenWidth, kScreenHeight), kList);
    p.fillRect(QRectF(0, 0, kScreenWidth, 26), kStrip);
    p.fillRect(QRectF(0, 26, kScreenWidth, 30), kStrip2);
    p.fillRect(QRectF(0, 55, kScreenWidth, 1), kLine);
    // The search box is a component ("playlist.searchback"), not part of
    // this picture: the picture stretches to the screen, the program's
    // search field does not, and the two must stay together.
}

void PaintConnect(QPainter& p) {
    PaintGlow(p, 128);
    // The program draws the product icon (icon.png, icon@2x.png) at the top
    // itself; the space above the name is left for it.
    DrawLabel(p, QRectF(0, 64, kScreenWidth, 26), QStringLiteral("Vantor"), 22, kText,
              Qt::AlignCenter, true);
    DrawLabel(p, QRectF(0, 90, kScreenWidth, 16), QStringLiteral("Remote control for your music"),
              11, kMuted);
    // The panel under the program's controls is a component of its own
    // ("connect.panel"): it stretches with the screen.
}

int EqTrackX(int track) {  // 0 is the preamplifier
    return track == 0 ? 14 : 46 + (track - 1) * 18;
}

void PaintEq(QPainter& p) {
    p.fillRect(QRectF(0, 0, kScreenWidth, kScreenHeight), kBase);
    p.fillRect(QRectF(0, 0, kScreenWidth, 36), kStrip);
    p.fillRect(QRectF(0, 36, kScreenWidth, 1), kLine);
    DrawLabel(p, QRectF(12, 0, 130, 36), QStringLiteral("Equalizer"), 15, kText,
              Qt::AlignLeft | Qt::AlignVCenter, true);
    // The bands' panel, their names and the presets' box below them are
    // components that keep to the screen's bottom.
}

void PaintEqLabels(QPainter& p, const QRectF& box) {
    p.fillRect(box, kStrip2);
    const char* labels[] = {"PRE", "60", "170", "310", "600", "1K",
                            "3K",  "6K", "12K", "14K", "16K"};
    for (int track = 0; track < 11; ++track) {
        DrawLabel(p,
                  QRectF(box.x() + EqTrackX(track) - 12, box.y(), kEqTrackWidth + 12, box.height()),
                  QString::fromLatin1(labels[track]), 8, track == 0 ? kAccent : kMuted);
    }
}

Paint Over(std::function<void(QPainter&)> background, double x, double y, Paint content) {
    return [background = std::move(background), x, y, content = std::move(content)](
               QPainter& p, const QRectF& box) {
        p.save();
        p.translate(box.x() - x, box.y() - y);
        background(p);
        p.restore();
        if (content) {
            content(p, box);
        }
    };
}

Paint Flat(QColor color) {
    return [color](QPainter& p, const QRectF& box) { p.fillRect(box, color); };
}

}  // namespace vantor::skingen
