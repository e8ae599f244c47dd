#include "SkinArt.h"

#include <QFont>
#include <QLinearGradient>
#include <QPainterPath>
#include <QPen>
#include <QPolygonF>
#include <QRadialGradient>
#include <QtMath>

namespace vantor::skingen {

using namespace palette;

bool UseTheme(const QString& name) {
    if (name == QStringLiteral("default")) {
        return true;  // the palette as declared
    }
    if (name == QStringLiteral("ember")) {
        kAccent = QColor(0xF0, 0x8A, 0x24);
        kAccentDark = QColor(0xB0, 0x5E, 0x12);
        kAccentWash = QColor(0x40, 0x2C, 0x18);
        kGlow = QColor(0x38, 0x24, 0x14);
        return true;
    }
    return false;
}

namespace {

void FillArrowHead(QPainter& painter, QPointF tip, double angleDegrees, double size,
                   const QColor& color) {
    const double a = qDegreesToRadians(angleDegrees);
    const QPointF back(tip.x() - size * std::cos(a), tip.y() - size * std::sin(a));
    const QPointF side(-std::sin(a) * size * 0.6, std::cos(a) * size * 0.6);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawPolygon(QPolygonF({tip, back + side, back - side}));
}

QPen Stroke(const QColor& color, double width) {
    QPen pen(color, width);
    pen.setCapStyle(Qt::RoundCap);
    pen.setJoinStyle(Qt::RoundJoin);
    return pen;
}

}  // namespace

void DrawGlyph(QPainter& painter, Glyph glyph, const QRectF& box, double size,
               const QColor& color) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const QPointF c = box.center();
    const double s = size;
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    switch (glyph) {
        case Glyph::Play: {
            QPainterPath path;
            path.moveTo(c.x() - 0.32 * s, c.y() - 0.46 * s);
            path.lineTo(c.x() + 0.50 * s, c.y());
            path.lineTo(c.x() - 0.32 * s, c.y() + 0.46 * s);
            path.closeSubpath();
            painter.setPen(Stroke(color, 0.08 * s));
            painter.drawPath(path);
            break;
        }
        case Glyph::Pause:
            for (const double dx : {-0.22, 0.22}) {
                painter.drawRoundedRect(
                    QRectF(c.x() + dx * s - 0.13 * s, c.y() - 0.42 * s, 0.26 * s, 0.84 * s),
                    0.06 * s, 0.06 * s);
            }
            break;
        case Glyph::Stop:
            painter.drawRoundedRect(QRectF(c.x() - 0.38 * s, c.y() - 0.38 * s, 0.76 * s, 0.76 * s),
                                    0.1 * s, 0.1 * s);
            break;
        case Glyph::Prev:
        case Glyph::Next: {
            const double dir = glyph == Glyph::Next ? 1.0 : -1.0;
            QPainterPath path;
            path.moveTo(c.x() - dir * 0.40 * s, c.y() - 0.40 * s);
            path.lineTo(c.x() + dir * 0.28 * s, c.y());
            path.lineTo(c.x() - dir * 0.40 * s, c.y() + 0.40 * s);
            path.closeSubpath();
            painter.setPen(Stroke(color, 0.07 * s));
            painter.drawPath(path);
            painter.setPen(Qt::NoPen);
            painter.drawRoundedRect(
                QRectF(c.x() + dir * 0.36 * s - 0.07 * s, c.y() - 0.42 * s, 0.14 * s, 0.84 * s),
                0.05 * s, 0.05 * s);
            break;
        }
        case Glyph::Repeat: {
            const double l = c.x() - 0.46 * s, r = c.x() + 0.46 * s;
            const double t = c.y() - 0.30 * s, b = c.y() + 0.30 * s;
            const double rad = 0.18 * s;
            painter.setBrush(Qt::NoBrush);
            painter.setPen(Stroke(color, 0.11 * s));
            QPainterPath top;
            top.moveTo(l, c.y() + 0.05 * s);
            top.lineTo(l, t + rad);
            top.quadTo(l, t, l + rad, t);
            top.lineTo(r - 0.2 * s, t);
            painter.drawPath(top);
            QPainterPath bottom;
            bottom.moveTo(r, c.y() - 0.05 * s);
            bottom.lineTo(r, b - rad);
            bottom.quadTo(r, b, r - rad, b);
            bottom.lineTo(l + 0.2 * s, b);
            painter.drawPath(bottom);
            FillArrowHead(painter, QPointF(r - 0.04 * s, t), 0, 0.26 * s, color);
            FillArrowHead(painter, QPointF(l + 0.04 * s, b), 180, 0.26 * s, color);
            break;
        }
        case Glyph::Shuffle: {
            const double l = c.x() - 0.46 * s, r = c.x() + 0.36 * s;
            const double t = c.y() - 0.30 * s, b = c.y() + 0.30 * s;
            painter.setBrush(Qt::NoBrush);
            painter.setPen(Stroke(color, 0.11 * s));
            QPainterPath down;
            down.moveTo(l, t);
            down.cubicTo(c.x() - 0.05 * s, t, c.x() - 0.05 * s, b, r, b);
            painter.drawPath(down);
            QPainterPath up;
            up.moveTo(l, b);
            up.cubicTo(c.x() - 0.05 * s, b, c.x() - 0.05 * s, t, r, t);
            painter.drawPath(up);
            FillArrowHead(painter, QPointF(r + 0.12 * s, t), 0, 0.26 * s, color);
            FillArrowHead(painter, QPointF(r + 0.12 * s, b), 0, 0.26 * s, color);
            break;
        }
        case Glyph::Volume: {
            QPainterPath body;
            body.moveTo(c.x() - 0.48 * s, c.y() - 0.16 * s);
            body.lineTo(c.x() - 0.26 * s, c.y() - 0.16 * s);
            body.lineTo(c.x() + 0.02 * s, c.y() - 0.42 * s);
            body.lineTo(c.x() + 0.02 * s, c.y() + 0.42 * s);
            body.lineTo(c.x() - 0.26 * s, c.y() + 0.16 * s);
            body.lineTo(c.x() - 0.48 * s, c.y() + 0.16 * s);
            body.closeSubpath();
            painter.drawPath(body);
            painter.setBrush(Qt::NoBrush);
            painter.setPen(Stroke(color, 0.08 * s));
            for (const double radius : {0.22, 0.40}) {
                const QRectF arc(c.x() + 0.02 * s - radius * s, c.y() - radius * s, 2 * radius * s,
                                 2 * radius * s);
                painter.drawArc(arc, -50 * 16, 100 * 16);
            }
            break;
        }
        case Glyph::Note: {
            painter.drawEllipse(QPointF(c.x() - 0.18 * s, c.y() + 0.30 * s), 0.18 * s, 0.14 * s);
            painter.drawEllipse(QPointF(c.x() + 0.32 * s, c.y() + 0.20 * s), 0.18 * s, 0.14 * s);
            painter.setPen(Stroke(color, 0.07 * s));
            painter.drawLine(QPointF(c.x() - 0.02 * s, c.y() + 0.30 * s),
                             QPointF(c.x() - 0.02 * s, c.y() - 0.40 * s));
            painter.drawLine(QPointF(c.x() + 0.48 * s, c.y() + 0.20 * s),
                             QPointF(c.x() + 0.48 * s, c.y() - 0.50 * s));
            painter.setPen(Qt::NoPen);
            QPainterPath beam;
            beam.moveTo(c.x() - 0.05 * s, c.y() - 0.40 * s);
            beam.lineTo(c.x() + 0.51 * s, c.y() - 0.50 * s);
            beam.lineTo(c.x() + 0.51 * s, c.y() - 0.34 * s);
            beam.lineTo(c.x() - 0.05 * s, c.y() - 0.24 * s);
            beam.closeSubpath();
            painter.drawPath(beam);
            break;
        }
        case Glyph::Search: {
            painter.setBrush(Qt::NoBrush);
            painter.setPen(Stroke(color, 0.12 * s));
            painter.drawEllipse(QPointF(c.x() - 0.1 * s, c.y() - 0.1 * s), 0.28 * s, 0.28 * s);
            painter.drawLine(QPointF(c.x() + 0.12 * s, c.y() + 0.12 * s),
                             QPointF(c.x() + 0.40 * s, c.y() + 0.40 * s));
            break;
        }
    }
    painter.restore();
}

void DrawRoundButton(QPainter& painter, const QRectF& box, Glyph glyph, Look look, bool primary) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const double diameter = std::min(box.width(), box.height()) - 4;
    QRectF circle(0, 0, diameter, diameter);
    circle.moveCenter(box.center());
    QColor face = kRaised;
    QColor glyphColor = kText;
    QPen border(kLine, 1.0);
    if (primary) {
        face = look == Look::Push    ? kAccentDark
               : look == Look::Hover ? kAccent.lighter(118)
                                     : kAccent;
        glyphColor = kBase;
        border = QPen(Qt::NoPen);
    } else if (look == Look::Hover) {
        face = kRaisedHover;
        border = QPen(kAccent, 1.3);
    } else if (look == Look::Push) {
        face = kAccent;
        glyphColor = kBase;
        border = QPen(Qt::NoPen);
    }
    if (look == Look::Push) {
        circle.adjust(1, 1, -1, -1);  // pressed in
    } else {
        // A soft shadow under the face.
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(0x0B, 0x0E, 0x14));
        painter.drawEllipse(circle.translated(0, 1.2));
    }
    painter.setPen(border);
    QLinearGradient gradient(circle.topLeft(), circle.bottomLeft());
    gradient.setColorAt(0, face.lighter(108));
    gradient.setColorAt(1, face.darker(104));
    painter.setBrush(gradient);
    painter.drawEllipse(circle);
    DrawGlyph(painter, glyph, circle, diameter * 0.40, glyphColor);
    painter.restore();
}

void DrawToggle(QPainter& painter, const QRectF& box, Glyph glyph, Look look) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF inner = box.adjusted(2, 2, -2, -2);
    QColor glyphColor = kMuted;
    if (look == Look::Hover) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(kRaised);
        painter.drawEllipse(inner);
        glyphColor = kText;
    } else if (look == Look::Push) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(kAccentWash);
        painter.drawEllipse(inner);
        glyphColor = kAccent;
        painter.setBrush(kAccent);
        painter.drawEllipse(QPointF(box.center().x(), box.bottom() - 3.5), 1.6, 1.6);
    }
    DrawGlyph(painter, glyph, inner.translated(0, look == Look::Push ? -1.5 : 0),
              inner.width() * 0.55, glyphColor);
    painter.restore();
}

void DrawPill(QPainter& painter, const QRectF& box, const QString& word, Look look, bool primary) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF pill = box.adjusted(1, 1, -1, -1);
    const double radius = std::min(pill.height() / 2, 8.0);
    QColor text = kMuted;
    if (primary || look == Look::Push) {
        const QColor fill = look == Look::Push    ? (primary ? kAccentDark : kAccent)
                            : look == Look::Hover ? kAccent.lighter(115)
                                                  : kAccent;
        painter.setPen(Qt::NoPen);
        painter.setBrush(fill);
        text = kBase;
    } else {
        painter.setPen(QPen(look == Look::Hover ? kAccent : kLine.lighter(130), 1.2));
        painter.setBrush(look == Look::Hover ? kRaisedHover : kRaised);
        text = look == Look::Hover ? kText : kMuted;
    }
    painter.drawRoundedRect(pill, radius, radius);
    DrawLabel(painter, pill, word, std::round(pill.height() * 0.5), text, Qt::AlignCenter, true);
    painter.restore();
}

void DrawTrack(QPainter& painter, const QRectF& box, const QColor& background, bool fill) {
    painter.save();
    painter.fillRect(box, background);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    if (fill) {
        QLinearGradient gradient(box.topLeft(), box.topRight());
        gradient.setColorAt(0, kAccentDark);
        gradient.setColorAt(1, kAccent);
        painter.setBrush(gradient);
    } else {
        painter.setBrush(kLine);
    }
    const double radius = box.height() / 2;
    painter.drawRoundedRect(box, radius, radius);
    painter.restore();
}

void DrawLabel(QPainter& painter, const QRectF& box, const QString& text, double pixelSize,
               const QColor& color, int flags, bool bold) {
    painter.save();
    QFont font(QStringLiteral("Arial"));
    font.setStyleHint(QFont::SansSerif);
    font.setPixelSize(std::max(1, qRound(pixelSize)));
    font.setBold(bold);
    font.setHintingPreference(QFont::PreferNoHinting);
    painter.setFont(font);
    painter.setPen(color);
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.drawText(box, flags, text);
    painter.restore();
}

void DrawLogo(QPainter& painter, const QRectF& box) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const double r = box.width() * 0.24;
    QLinearGradient gradient(box.topLeft(), box.bottomRight());
    gradient.setColorAt(0, kAccent.lighter(110));
    gradient.setColorAt(1, kAccentDark.darker(115));
    painter.setPen(Qt::NoPen);
    painter.setBrush(gradient);
    painter.drawRoundedRect(box, r, r);
    const QRectF ring = box.adjusted(box.width() * 0.2, box.height() * 0.2, -box.width() * 0.2,
                                     -box.height() * 0.2);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(kBase, box.width() * 0.07));
    painter.drawEllipse(ring);
    DrawGlyph(painter, Glyph::Play, ring.translated(box.width() * 0.02, 0), ring.width() * 0.5,
              kBase);
    painter.restore();
}

}  // namespace vantor::skingen
