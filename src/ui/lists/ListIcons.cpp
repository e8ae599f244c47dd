#include "ui/lists/ListIcons.h"

#include <QPainter>
#include <QPainterPath>

namespace vantor::ui {

namespace {

// Each icon on a 24 x 24 grid, stroked.
void Draw(QPainter& p, int index) {
    const auto note = [&](double x, double y) {
        p.drawEllipse(QRectF(x - 3.5, y - 2.5, 7, 5));
        p.drawLine(QPointF(x + 3.5, y), QPointF(x + 3.5, y - 13));
    };
    switch (index) {
        case 0:  // music: two notes under a beam
            note(7, 18);
            note(16, 16);
            p.drawLine(QPointF(10.5, 5), QPointF(19.5, 3));
            break;
        case 1:  // video: a frame with a play mark
            p.drawRoundedRect(QRectF(3, 5, 18, 14), 2, 2);
            p.drawPolygon(QPolygonF({QPointF(10, 9), QPointF(15, 12), QPointF(10, 15)}));
            break;
        case 2:  // TV: a screen on a stand
            p.drawRoundedRect(QRectF(3, 5, 18, 12), 2, 2);
            p.drawLine(QPointF(9, 20), QPointF(15, 20));
            break;
        case 3:  // pictures: a frame with a hill and the sun
            p.drawRect(QRectF(3, 5, 18, 14));
            p.drawPolyline(QPolygonF({QPointF(4, 17), QPointF(10, 11), QPointF(15, 16)}));
            p.drawEllipse(QRectF(14, 8, 3, 3));
            break;
        case 4:  // genres: a stack of tags
            p.drawRect(QRectF(4, 5, 16, 4));
            p.drawRect(QRectF(4, 11, 16, 4));
            p.drawRect(QRectF(4, 17, 16, 4));
            break;
        case 5:  // artists: a person
            p.drawEllipse(QRectF(8, 3, 8, 8));
            p.drawArc(QRectF(4, 13, 16, 14), 0, 180 * 16);
            break;
        case 6:  // albums: a record
            p.drawEllipse(QRectF(3, 3, 18, 18));
            p.drawEllipse(QRectF(10, 10, 4, 4));
            break;
        case 7:  // songs: one note
            note(10, 18);
            break;
        case 8:  // podcasts and radio: a microphone with its waves
            p.drawRoundedRect(QRectF(9, 3, 6, 11), 3, 3);
            p.drawArc(QRectF(6, 7, 12, 10), 180 * 16, 180 * 16);
            p.drawLine(QPointF(12, 17), QPointF(12, 21));
            break;
        case 9:  // playlists: lines with a note
            p.drawLine(QPointF(3, 6), QPointF(15, 6));
            p.drawLine(QPointF(3, 11), QPointF(15, 11));
            p.drawLine(QPointF(3, 16), QPointF(10, 16));
            note(17, 18);
            break;
        case 10:  // folders
            p.drawPolygon(QPolygonF({QPointF(3, 7), QPointF(9, 7), QPointF(11, 9), QPointF(21, 9),
                                     QPointF(21, 19), QPointF(3, 19)}));
            break;
        case 11:  // information
            p.drawEllipse(QRectF(3, 3, 18, 18));
            p.drawLine(QPointF(12, 11), QPointF(12, 17));
            p.drawPoint(QPointF(12, 7.5));
            break;
        default:
            break;
    }
}

}  // namespace

void ListIcons::Prepare(int size, QColor colour) {
    if (size == size_ && colour == colour_) {
        return;
    }
    size_ = size;
    colour_ = colour;
    for (int index = 0; index < kCount; ++index) {
        QPixmap icon(size, size);
        icon.fill(Qt::transparent);
        QPainter painter(&icon);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.scale(size / 24.0, size / 24.0);
        painter.setPen(QPen(colour, 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.setBrush(Qt::NoBrush);
        Draw(painter, index);
        icons_[static_cast<std::size_t>(index)] = icon;
    }
}

const QPixmap& ListIcons::Icon(int index) const {
    return index >= 0 && index < kCount ? icons_[static_cast<std::size_t>(index)] : none_;
}

}  // namespace vantor::ui
