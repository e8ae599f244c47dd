#pragma once

// The list screen's image list: a small line drawing for each kind of row
// (0 music, 1 video, 2 TV, 3 pictures, 4 genres, 5 artists, 6 albums,
// 7 songs, 8 podcasts and radio, 9 playlists, 10 playlist and radio folders,
// 11 information), drawn at the rows' size in the list's text colour.
//
// Threads: the window's thread only.

#include <QColor>
#include <QPixmap>
#include <array>

namespace vantor::ui {

class ListIcons {
public:
    static constexpr int kCount = 12;

    // Draws the icons again when the size or colour changed.
    void Prepare(int size, QColor colour);
    // The icon, or a null pixmap for an index without one (-1).
    const QPixmap& Icon(int index) const;
    int Size() const { return size_; }

private:
    int size_ = 0;
    QColor colour_;
    std::array<QPixmap, kCount> icons_;
    QPixmap none_;
};

}  // namespace vantor::ui
