#include "skin/SkinDrawing.h"

#include <sys/mman.h>

#include <QImageReader>
#include <QPainter>
#include <QString>
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <type_traits>
#include <utility>
#include <vector>

#include "core/Logger.h"

namespace vantor {

namespace {

// Skin images are small; anything bigger is a broken or hostile file, and
// refusing it keeps one draw from allocating without bound.
constexpr std::int64_t kMaxImagePixels = std::int64_t{16} * 1024 * 1024;

bool IsDrawableTarget(const QImage& target) {
    switch (target.format()) {
        case QImage::Format_RGB32:
        case QImage::Format_ARGB32:
        case QImage::Format_ARGB32_Premultiplied:
            return true;
        default:
            return false;
    }
}

// The rows of an image, addressed as 32-bit pixels; Byte is const for a
// source and plain for a target.
template <typename Byte>
struct Rows {
    using Pixel = std::conditional_t<std::is_const_v<Byte>, const std::uint32_t, std::uint32_t>;
    Pixel* Row(std::int64_t y) const { return reinterpret_cast<Pixel*>(bits + y * stride); }
    Byte* bits;
    std::int64_t stride;
    std::int64_t width;
    std::int64_t height;
};
using PixelRows = Rows<uchar>;
using ConstPixelRows = Rows<const uchar>;

PixelRows WritableRows(QImage& image) {
    return {image.bits(), image.bytesPerLine(), image.width(), image.height()};
}

ConstPixelRows ReadableRows(const QImage& image) {
    return {image.constBits(), image.bytesPerLine(), image.width(), image.height()};
}

// The part of a same-size copy that lies on both the target and the image:
// target columns [x0, x1) and rows [y0, y1), read from (x - dx, y - dy).
struct CopySpan {
    std::int64_t x0, x1, y0, y1, dx, dy;
    bool Empty() const { return x0 >= x1 || y0 >= y1; }
};

CopySpan ClipCopy(const PixelRows& target, const ConstPixelRows& source, std::int64_t x,
                  std::int64_t y, std::int64_t w, std::int64_t h, std::int64_t sx,
                  std::int64_t sy) {
    CopySpan span;
    span.dx = x - sx;
    span.dy = y - sy;
    span.x0 = std::max({x, std::int64_t{0}, span.dx});
    span.x1 = std::min({x + w, target.width, span.dx + source.width});
    span.y0 = std::max({y, std::int64_t{0}, span.dy});
    span.y1 = std::min({y + h, target.height, span.dy + source.height});
    return span;
}

// One row of a colour-keyed copy. Written as a select rather than a
// conditional store so the compiler can do it a vector at a time; source
// and target never overlap (a skin image is never its own target).
void KeyRow(const std::uint32_t* __restrict in, std::uint32_t* __restrict out, std::int64_t count,
            std::uint32_t keyRgb) {
    for (std::int64_t i = 0; i < count; ++i) {
        out[i] = (in[i] & 0x00FFFFFFu) == keyRgb ? out[i] : in[i];
    }
}

bool Usable(const SkinImage& image, const QImage& target) {
    return !image.pixels.isNull() && IsDrawableTarget(target);
}

void Copy(const SkinImage& image, QImage& target, std::int64_t x, std::int64_t y, std::int64_t w,
          std::int64_t h, std::int64_t sx, std::int64_t sy) {
    const PixelRows to = WritableRows(target);
    const ConstPixelRows from = ReadableRows(image.pixels);
    const CopySpan span = ClipCopy(to, from, x, y, w, h, sx, sy);
    if (span.Empty()) {
        return;
    }
    const auto bytes = static_cast<std::size_t>(span.x1 - span.x0) * sizeof(std::uint32_t);
    for (std::int64_t row = span.y0; row < span.y1; ++row) {
        std::memcpy(to.Row(row) + span.x0, from.Row(row - span.dy) + (span.x0 - span.dx), bytes);
    }
}

// Nearest-neighbour: each target pixel takes the source pixel under its
// centre. Only the target pixels inside the destination are visited.
void Stretch(const SkinImage& image, QImage& target, std::int64_t x, std::int64_t y, std::int64_t w,
             std::int64_t h, std::int64_t sx, std::int64_t sy, std::int64_t sw, std::int64_t sh) {
    if (w <= 0 || h <= 0 || sw <= 0 || sh <= 0) {
        return;
    }
    const PixelRows to = WritableRows(target);
    const ConstPixelRows from = ReadableRows(image.pixels);
    const std::int64_t x0 = std::max(x, std::int64_t{0});
    const std::int64_t x1 = std::min(x + w, to.width);
    const std::int64_t y0 = std::max(y, std::int64_t{0});
    const std::int64_t y1 = std::min(y + h, to.height);
    if (x0 >= x1 || y0 >= y1) {
        return;
    }
    const auto sample = [](std::int64_t offset, std::int64_t size, std::int64_t sourceSize) {
        return static_cast<std::int64_t>(
            std::floor((static_cast<double>(offset) + 0.5) * static_cast<double>(sourceSize) /
                       static_cast<double>(size)));
    };
    // Source column of each target column; -1 where it falls off the image.
    std::vector<std::int64_t> columns(static_cast<std::size_t>(x1 - x0));
    for (std::int64_t col = x0; col < x1; ++col) {
        const std::int64_t source = sx + sample(col - x, w, sw);
        columns[static_cast<std::size_t>(col - x0)] =
            source >= 0 && source < from.width ? source : -1;
    }
    for (std::int64_t row = y0; row < y1; ++row) {
        const std::int64_t sourceRow = sy + sample(row - y, h, sh);
        if (sourceRow < 0 || sourceRow >= from.height) {
            continue;
        }
        const std::uint32_t* in = from.Row(sourceRow);
        std::uint32_t* out = to.Row(row) + x0;
        for (const std::int64_t column : columns) {
            if (column >= 0) {
                *out = in[column];
            }
            ++out;
        }
    }
}

// Runs are worth their memory while a row averages at most a few of them.
constexpr std::int64_t kMaxRunsPerRow = 16;

void FindRuns(SkinImage& image, std::uint32_t keyRgb) {
    image.runs.clear();
    image.rowFirstRun.clear();
    const ConstPixelRows rows = ReadableRows(image.pixels);
    const std::int64_t limit = rows.height * kMaxRunsPerRow;
    image.rowFirstRun.reserve(static_cast<std::size_t>(rows.height) + 1);
    for (std::int64_t y = 0; y < rows.height; ++y) {
        image.rowFirstRun.push_back(static_cast<std::uint32_t>(image.runs.size()));
        const std::uint32_t* row = rows.Row(y);
        std::int32_t x = 0;
        const auto width = static_cast<std::int32_t>(rows.width);
        while (x < width) {
            while (x < width && (row[x] & 0x00FFFFFFu) == keyRgb) {
                ++x;
            }
            const std::int32_t begin = x;
            while (x < width && (row[x] & 0x00FFFFFFu) != keyRgb) {
                ++x;
            }
            if (x > begin) {
                if (static_cast<std::int64_t>(image.runs.size()) >= limit) {
                    image.runs.clear();
                    image.rowFirstRun.clear();
                    return;
                }
                image.runs.push_back({begin, x});
            }
        }
    }
    image.rowFirstRun.push_back(static_cast<std::uint32_t>(image.runs.size()));
    image.runsKey = keyRgb;
}

// One axis of a bilinear enlargement: for each target pixel, the first of
// the two source pixels it lies between and the second's weight (0..256).
// Centres map to centres, and samples are clamped to the span, so an edge
// pixel repeats instead of reaching past the span.
struct Tap {
    std::int64_t first;
    std::uint32_t weight;
};

std::vector<Tap> Taps(std::int64_t from, std::int64_t to, std::int64_t offset,
                      std::int64_t sourceSize, std::int64_t targetSize) {
    std::vector<Tap> taps;
    taps.reserve(static_cast<std::size_t>(std::max<std::int64_t>(to - from, 0)));
    const double step = static_cast<double>(sourceSize) / static_cast<double>(targetSize);
    for (std::int64_t i = from; i < to; ++i) {
        const double at = std::clamp((static_cast<double>(i - offset) + 0.5) * step - 0.5, 0.0,
                                     static_cast<double>(sourceSize - 1));
        auto first = static_cast<std::int64_t>(at);
        auto weight =
            static_cast<std::uint32_t>(std::lround((at - static_cast<double>(first)) * 256));
        if (weight == 256) {
            ++first;
            weight = 0;
        }
        taps.push_back({first, weight});
    }
    return taps;
}

// a and b mixed, b weighing w/256, the four channels at once.
inline std::uint32_t Mix(std::uint32_t a, std::uint32_t b, std::uint32_t w) {
    const std::uint32_t keep = 256 - w;
    const std::uint32_t rb =
        (((a & 0x00FF00FFu) * keep + (b & 0x00FF00FFu) * w) >> 8) & 0x00FF00FFu;
    const std::uint32_t ag =
        (((a >> 8) & 0x00FF00FFu) * keep + ((b >> 8) & 0x00FF00FFu) * w) & 0xFF00FF00u;
    return rb | ag;
}

// Enlarges the file's `from` into the target's `to`, bilinearly, writing
// straight into the target (clipped to it): no copy of the cell, no
// intermediate image, no worker threads. Each source row is widened once
// (`upper`, `lower`: the two a target row lies between), and a target row
// is then a plain mix of two widened rows, which the compiler vectorises.
// Only the target pixels inside `shown` (columns [x0, x1), rows [y0, y1))
// are written; by default all of `to` that lies on the target.
struct Shown {
    std::int64_t x0 = INT64_MIN, x1 = INT64_MAX, y0 = INT64_MIN, y1 = INT64_MAX;
};

void Enlarge(const QImage& file, const QRect& from, QImage& target, const QRect& to,
             const Shown& shown = {}) {
    const ConstPixelRows in = ReadableRows(file);
    const PixelRows out = WritableRows(target);
    const std::int64_t x0 = std::max<std::int64_t>({to.left(), 0, shown.x0});
    const std::int64_t x1 =
        std::min<std::int64_t>({std::int64_t{to.left()} + to.width(), out.width, shown.x1});
    const std::int64_t y0 = std::max<std::int64_t>({to.top(), 0, shown.y0});
    const std::int64_t y1 =
        std::min<std::int64_t>({std::int64_t{to.top()} + to.height(), out.height, shown.y1});
    if (x0 >= x1 || y0 >= y1) {
        return;
    }
    const std::vector<Tap> columns = Taps(x0, x1, to.left(), from.width(), to.width());
    const std::vector<Tap> rows = Taps(y0, y1, to.top(), from.height(), to.height());
    const auto widen = [&](std::int64_t row, std::vector<std::uint32_t>& widened) {
        const std::uint32_t* source = in.Row(from.top() + row) + from.left();
        for (std::size_t x = 0; x < columns.size(); ++x) {
            const Tap& column = columns[x];
            const auto at = static_cast<std::size_t>(column.first);
            widened[x] =
                column.weight == 0 ? source[at] : Mix(source[at], source[at + 1], column.weight);
        }
    };
    std::vector<std::uint32_t> upper(columns.size());
    std::vector<std::uint32_t> lower(columns.size());
    std::int64_t upperRow = -1;
    std::int64_t lowerRow = -1;
    for (std::int64_t y = y0; y < y1; ++y) {
        const Tap& row = rows[static_cast<std::size_t>(y - y0)];
        if (upperRow != row.first) {
            if (lowerRow == row.first) {
                std::swap(upper, lower);
                std::swap(upperRow, lowerRow);
            } else {
                widen(row.first, upper);
                upperRow = row.first;
            }
        }
        std::uint32_t* written = out.Row(y) + x0;
        if (row.weight == 0) {
            std::memcpy(written, upper.data(), upper.size() * sizeof(std::uint32_t));
            continue;
        }
        if (lowerRow != row.first + 1) {
            widen(row.first + 1, lower);
            lowerRow = row.first + 1;
        }
        const std::uint32_t weight = row.weight;
        for (std::size_t x = 0; x < upper.size(); ++x) {
            written[x] = Mix(upper[x], lower[x], weight);
        }
    }
}

// The pixels of the file wholly inside a cell of the scaled image.
QRect CellSource(const SkinRect& cell, double stretch, const QRect& whole) {
    return QRect(QPoint(static_cast<int>(std::ceil(cell.left / stretch - 1e-6)),
                        static_cast<int>(std::ceil(cell.top / stretch - 1e-6))),
                 QPoint(static_cast<int>(std::floor(cell.right / stretch + 1e-6)) - 1,
                        static_cast<int>(std::floor(cell.bottom / stretch + 1e-6)) - 1))
        .intersected(whole);
}

// A cell from the pixels wholly inside it in the file, scaled smoothly on
// its own: its edge is smoothed with its own pixels only, never with its
// neighbour's. Enlarging, the common case (a phone's width from the "@2x"
// files), is bilinear and done here; reducing averages areas, as Qt does.
void ScaleCell(const QImage& file, double stretch, const SkinRect& cell, QImage& scaled) {
    const QRect target(cell.left, cell.top, static_cast<int>(cell.Width()),
                       static_cast<int>(cell.Height()));
    const QRect from = CellSource(cell, stretch, file.rect());
    if (from.isEmpty() || target.isEmpty()) {
        return;
    }
    if (stretch >= 1.0) {
        Enlarge(file, from, scaled, target);
        return;
    }
    QPainter painter(&scaled);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.drawImage(target, file.copy(from).scaled(target.size(), Qt::IgnoreAspectRatio,
                                                     Qt::SmoothTransformation));
}

// Scales the cells of the bitmap's image that the source rectangle
// touches and have not been scaled yet; lets the file go after the last.
void ScaleCellsUnder(const SkinBitmap& bitmap, const SkinRect& source) {
    SkinImage& image = bitmap.image;
    if (image.file.isNull()) {
        return;
    }
    bool pending = false;
    for (std::size_t i = 0; i < bitmap.cells.size() && i < image.cellsScaled.size(); ++i) {
        const SkinRect& cell = bitmap.cells[i];
        if (!image.cellsScaled[i] && cell.left < source.right && source.left < cell.right &&
            cell.top < source.bottom && source.top < cell.bottom) {
            ScaleCell(image.file, bitmap.stretch, cell, image.pixels);
            image.cellsScaled[i] = true;
        }
        pending = pending || !image.cellsScaled[i];
    }
    if (!pending) {
        image.file = QImage();
        image.cellsScaled.clear();
    }
}

// A cell drawn whole at its own size goes straight from the file into the
// target, enlarged exactly as it would be into the scaled image: a screen's
// background, drawn once into the screen's picture, never has a scaled copy
// made. False when the draw is anything else.
bool EnlargeCellInto(const SkinBitmap& bitmap, const SkinRect& source, QImage& target,
                     const SkinRect& rect) {
    const SkinImage& image = bitmap.image;
    if (image.file.isNull() || bitmap.stretch < 1.0 || !IsDrawableTarget(target) ||
        rect.Width() != source.Width() || rect.Height() != source.Height() ||
        std::find(bitmap.cells.begin(), bitmap.cells.end(), source) == bitmap.cells.end()) {
        return false;
    }
    const QRect from = CellSource(source, bitmap.stretch, image.file.rect());
    if (from.isEmpty()) {
        return false;
    }
    // What a copy from the scaled image would show: the part of the cell
    // that lies on that image, so the cell looks the same before and after
    // the file is let go.
    const std::int64_t dx = std::int64_t{rect.left} - source.left;
    const std::int64_t dy = std::int64_t{rect.top} - source.top;
    const Shown shown{dx, dx + image.pixels.width(), dy, dy + image.pixels.height()};
    Enlarge(image.file, from, target,
            QRect(rect.left, rect.top, static_cast<int>(SkinClamp(rect.Width())),
                  static_cast<int>(SkinClamp(rect.Height()))),
            shown);
    return true;
}

// The file's pixels at the bitmap's stretch: keyed images by the nearest
// pixel, others smoothly. An image whose components copy parts of it is
// scaled a part at a time as they are drawn (ScaleCellsUnder), when they
// are not drawn straight from the file (EnlargeCellInto).
QImage ScaledImage(const QImage& file, QSize size, const SkinBitmap& bitmap) {
    if (bitmap.transparent) {
        return file.scaled(size, Qt::IgnoreAspectRatio, Qt::FastTransformation);
    }
    if (!bitmap.cells.empty()) {
        return ZeroedImage(size);
    }
    if (bitmap.stretch < 1.0) {
        return file.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    }
    QImage scaled(size, QImage::Format_RGB32);
    Enlarge(file, file.rect(), scaled, scaled.rect());
    return scaled;
}

const SkinImage* LoadedImage(const SkinDrawGuard& lock, const SkinBitmap& bitmap) {
    if (bitmap.image.pixels.isNull() && !LoadSkinImage(lock, bitmap)) {
        return nullptr;
    }
    return &bitmap.image;
}

}  // namespace

QImage ZeroedImage(QSize size) {
    if (size.isEmpty()) {
        return QImage();
    }
    constexpr std::size_t kLargePage = std::size_t{2} * 1024 * 1024;
    const auto stride = static_cast<std::size_t>(size.width()) * sizeof(std::uint32_t);
    const std::size_t bytes = static_cast<std::size_t>(size.height()) * stride;
    const auto image = [&](void* pixels, QImageCleanupFunction release, void* info) {
        return QImage(static_cast<uchar*>(pixels), size.width(), size.height(),
                      static_cast<qsizetype>(stride), QImage::Format_RGB32, release, info);
    };
    if (bytes < kLargePage) {
        void* pixels = std::calloc(bytes, 1);
        return pixels == nullptr ? QImage()
                                 : image(
                                       pixels, [](void* info) { std::free(info); }, pixels);
    }
    // A large page must start on its own boundary: map one more and start
    // at the first boundary inside.
    struct Mapping {
        void* address;
        std::size_t bytes;
    };
    const std::size_t mapped = bytes + kLargePage;
    void* address =
        mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (address == MAP_FAILED) {
        return QImage();
    }
    const std::uintptr_t start =
        (reinterpret_cast<std::uintptr_t>(address) + kLargePage - 1) & ~(kLargePage - 1);
    madvise(reinterpret_cast<void*>(start), bytes, MADV_HUGEPAGE);  // a hint: plain pages if not
    return image(
        reinterpret_cast<void*>(start),
        [](void* info) {
            const auto* mapping = static_cast<Mapping*>(info);
            munmap(mapping->address, mapping->bytes);
            delete mapping;
        },
        new Mapping{address, mapped});
}

bool LoadSkinImage(const SkinDrawGuard&, const SkinBitmap& bitmap) {
    SkinImage& image = bitmap.image;
    image.pixels = QImage();
    image.file = QImage();
    image.cellsScaled.clear();
    image.width = 0;
    image.height = 0;

    QImageReader reader(QString::fromStdString(bitmap.filePath));
    const QSize size = reader.size();
    QImage loaded;
    std::string failure;
    if (size.isValid() &&
        std::int64_t{size.width()} * std::int64_t{size.height()} > kMaxImagePixels) {
        failure = "the image is too large";
    } else if (!reader.read(&loaded) || loaded.isNull()) {
        failure = reader.errorString().toStdString();
    }
    if (!failure.empty()) {
        if (!image.failureLogged) {
            image.failureLogged = true;
            Log(kLogError, "Skin bitmap \"%s\": cannot load %s: %s", bitmap.name.c_str(),
                bitmap.filePath.c_str(), failure.c_str());
        }
        return false;
    }
    // Skin images are opaque; colour keys, not alpha, make parts see-through.
    // Converted where it lies: a second copy of a large image would be the
    // heaviest moment of a screen change.
    loaded.convertTo(QImage::Format_RGB32);
    image.pixels = std::move(loaded);
    if (bitmap.stretch != 1.0) {
        // A keyed image keeps its key exact: blending would fringe the cut.
        const QSize scaled(static_cast<int>(std::lround(image.pixels.width() * bitmap.stretch)),
                           static_cast<int>(std::lround(image.pixels.height() * bitmap.stretch)));
        if (std::int64_t{scaled.width()} * std::int64_t{scaled.height()} <= kMaxImagePixels) {
            QImage file = std::move(image.pixels);
            image.pixels = ScaledImage(file, scaled, bitmap);
            if (!bitmap.transparent && !bitmap.cells.empty() && !image.pixels.isNull()) {
                image.file = std::move(file);
                image.cellsScaled.assign(bitmap.cells.size(), false);
            }
        }
    }
    image.width = image.pixels.width();
    image.height = image.pixels.height();
    image.runs.clear();
    image.rowFirstRun.clear();
    if (bitmap.transparent) {
        FindRuns(image, bitmap.transparencyColor.Pixel() & 0x00FFFFFFu);
    }
    return true;
}

bool DrawOpaque(const SkinDrawGuard&, const SkinImage& image, QImage& target, std::int32_t x,
                std::int32_t y, std::int32_t w, std::int32_t h, std::int32_t sx, std::int32_t sy,
                std::int32_t sw, std::int32_t sh) {
    if (!Usable(image, target)) {
        return false;
    }
    if (sw == -1) {
        sw = image.width;
    }
    if (sh == -1) {
        sh = image.height;
    }
    if (w == -1 && h == -1) {
        Copy(image, target, x, y, image.width, image.height, 0, 0);
    } else if (w == sw && h == sh) {
        Copy(image, target, x, y, w, h, sx, sy);
    } else {
        Stretch(image, target, x, y, w, h, sx, sy, sw, sh);
    }
    return true;
}

bool DrawTransparent(const SkinDrawGuard&, const SkinImage& image, QImage& target, std::int32_t x,
                     std::int32_t y, SkinColor key, std::int32_t w, std::int32_t h, std::int32_t sx,
                     std::int32_t sy) {
    if (!Usable(image, target)) {
        return false;
    }
    const PixelRows to = WritableRows(target);
    const ConstPixelRows from = ReadableRows(image.pixels);
    const CopySpan span = ClipCopy(to, from, x, y, w, h, sx, sy);
    if (span.Empty()) {
        return true;
    }
    const std::uint32_t keyRgb = key.Pixel() & 0x00FFFFFFu;
    const std::int64_t sourceLeft = span.x0 - span.dx;
    const std::int64_t sourceRight = span.x1 - span.dx;
    if (!image.rowFirstRun.empty() && image.runsKey == keyRgb) {
        for (std::int64_t row = span.y0; row < span.y1; ++row) {
            const std::int64_t sourceRow = row - span.dy;
            const std::uint32_t* in = from.Row(sourceRow);
            std::uint32_t* out = to.Row(row);
            const auto first = image.runs.begin() + image.rowFirstRun[sourceRow];
            const auto last = image.runs.begin() + image.rowFirstRun[sourceRow + 1];
            for (auto run = first; run != last; ++run) {
                const std::int64_t begin = std::max<std::int64_t>(run->begin, sourceLeft);
                const std::int64_t end = std::min<std::int64_t>(run->end, sourceRight);
                if (begin < end) {
                    std::memcpy(out + (begin + span.dx), in + begin,
                                static_cast<std::size_t>(end - begin) * sizeof(std::uint32_t));
                }
            }
        }
        return true;
    }
    for (std::int64_t row = span.y0; row < span.y1; ++row) {
        KeyRow(from.Row(row - span.dy) + sourceLeft, to.Row(row) + span.x0,
               sourceRight - sourceLeft, keyRgb);
    }
    return true;
}

bool DrawStateInto(const SkinDrawGuard& lock, const CSkin& skin, QImage& target,
                   const SkinImageState& state, const SkinRect& rect) {
    if (!state.present) {
        return false;
    }
    const SkinBitmap* bitmap = skin.FindBitmap(state.sourceBitmap);
    if (bitmap == nullptr) {
        return false;
    }
    const SkinImage* image = LoadedImage(lock, *bitmap);
    if (image == nullptr) {
        return false;
    }
    const std::int32_t w = SkinClamp(rect.Width());
    const std::int32_t h = SkinClamp(rect.Height());
    if (bitmap->transparent) {
        return DrawTransparent(lock, *image, target, rect.left, rect.top, bitmap->transparencyColor,
                               w, h, state.source.left, state.source.top);
    }
    if (EnlargeCellInto(*bitmap, state.source, target, rect)) {
        return true;
    }
    ScaleCellsUnder(*bitmap, state.source);
    const std::int32_t sw = SkinClamp(state.source.Width());
    const std::int32_t sh = SkinClamp(state.source.Height());
    return DrawOpaque(lock, *image, target, rect.left, rect.top, w, h, state.source.left,
                      state.source.top, sw, sh);
}

bool DrawState(const SkinDrawGuard& lock, const CSkin& skin, QImage& target,
               const SkinImageState& state) {
    return DrawStateInto(lock, skin, target, state, state.destination);
}

bool DrawStateAt(const SkinDrawGuard& lock, const CSkin& skin, QImage& target,
                 const SkinImageState& state, std::int32_t x, std::int32_t y) {
    const SkinRect& d = state.destination;
    const SkinRect moved{x, y, SkinAdd(x, d.Width()), SkinAdd(y, d.Height())};
    return DrawStateInto(lock, skin, target, state, moved);
}

bool DrawComponentState(const SkinDrawGuard& lock, const CSkin& skin, QImage& target,
                        const SkinComponent& component, bool pushed) {
    return DrawState(lock, skin, target, pushed ? component.push : component.norm);
}

bool IsTransparentPixel(const SkinDrawGuard&, const CSkin& skin, std::string_view bitmapName,
                        std::int32_t x, std::int32_t y) {
    const SkinBitmap* bitmap = skin.FindBitmap(bitmapName);
    if (bitmap == nullptr || !bitmap->transparent) {
        return false;
    }
    const QImage& pixels = bitmap->image.pixels;
    if (pixels.isNull() || x < 0 || y < 0 || x >= pixels.width() || y >= pixels.height()) {
        return false;
    }
    const auto* row = reinterpret_cast<const std::uint32_t*>(pixels.constScanLine(y));
    return (row[x] & 0x00FFFFFFu) == (bitmap->transparencyColor.Pixel() & 0x00FFFFFFu);
}

bool DrawState(const CSkin& skin, QImage& target, const SkinImageState& state) {
    const SkinDrawGuard lock;
    return DrawState(lock, skin, target, state);
}

bool DrawComponentState(const CSkin& skin, QImage& target, const SkinComponent& component,
                        bool pushed) {
    const SkinDrawGuard lock;
    return DrawComponentState(lock, skin, target, component, pushed);
}

bool IsTransparentPixel(const CSkin& skin, std::string_view bitmapName, std::int32_t x,
                        std::int32_t y) {
    const SkinDrawGuard lock;
    return IsTransparentPixel(lock, skin, bitmapName, x, y);
}

}  // namespace vantor
