#pragma once

// The skin as the generator describes it before anything is drawn: sheets of
// cells (each cell a painter and its place on the sheet), the components
// that show those cells, the native child windows and the fonts. The layout
// (SkinLayout.cpp) fills one in; the output (SkinOutput.cpp) draws its sheets
// at each resolution and writes the XML from it.

#include <QColor>
#include <QPainter>
#include <QRectF>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vantor::skingen {

inline constexpr int kScreenWidth = 240;
inline constexpr int kScreenHeight = 320;
inline constexpr int kDeckTop = 222;
inline constexpr int kDeckHeight = kScreenHeight - kDeckTop;

// A painter for one cell, given the cell's box in skin units.
using Paint = std::function<void(QPainter&, const QRectF&)>;

struct Cell {
    std::string id;
    int w = 0;
    int h = 0;
    Paint paint;
    Paint mask;  // keyed sheets: the shape that stays visible; the rest becomes the key
    int x = 0;
    int y = 0;
};

struct Sheet {
    std::string bitmap;
    std::string file;  // without extension
    bool keyed = false;
    std::vector<Cell> cells;
    int width = 0;
    int height = 0;

    void Add(std::string id, int w, int h, Paint paint, Paint mask = {}) {
        cells.push_back(Cell{std::move(id), w, h, std::move(paint), std::move(mask)});
    }
    const Cell& Find(const std::string& id) const {
        for (const Cell& cell : cells) {
            if (cell.id == id) {
                return cell;
            }
        }
        std::fprintf(stderr, "vantor-skingen: no cell %s in %s\n", id.c_str(), bitmap.c_str());
        std::abort();
    }
    // Shelves left to right, 2 units apart so rounding at any scale never
    // lets one cell bleed into the next.
    void Pack(int maxWidth) {
        constexpr int kGutter = 2;
        int x = 0, y = 0, shelf = 0;
        for (Cell& cell : cells) {
            if (x > 0 && x + cell.w > maxWidth) {
                x = 0;
                y += shelf + kGutter;
                shelf = 0;
            }
            cell.x = x;
            cell.y = y;
            x += cell.w + kGutter;
            shelf = std::max(shelf, cell.h);
            width = std::max(width, cell.x + cell.w);
        }
        height = y + shelf;
    }
};

struct Rect {
    std::optional<int> x{}, y{}, width{}, height{}, right{}, bottom{};
};

struct ComponentSpec {
    std::string name;
    std::string mode;
    bool ignoreInput = false;
    const Sheet* sheet = nullptr;
    std::string norm, hover, push;  // cell ids
    Rect rect;
};

struct WindowSpec {
    std::string name;
    Rect rect;
    std::optional<QColor> back, fore, select;
};

struct FontSpec {
    std::string name;
    int size;
    std::string weight;
    QColor color;
};

struct Skin {
    std::vector<Sheet> sheets;
    std::vector<ComponentSpec> components;
    std::vector<WindowSpec> windows;
    std::vector<FontSpec> fonts;

    Sheet& AddSheet(std::string bitmap, std::string file, bool keyed = false) {
        Sheet sheet;
        sheet.bitmap = std::move(bitmap);
        sheet.file = std::move(file);
        sheet.keyed = keyed;
        sheets.push_back(std::move(sheet));
        return sheets.back();
    }
    const Sheet& SheetFor(const std::string& bitmap) const {
        for (const Sheet& sheet : sheets) {
            if (sheet.bitmap == bitmap) {
                return sheet;
            }
        }
        std::abort();
    }
    void Add(std::string name, std::string mode, bool ignoreInput, const std::string& bitmap,
             std::string norm, Rect rect, std::string hover = {}, std::string push = {}) {
        components.push_back(ComponentSpec{std::move(name), std::move(mode), ignoreInput,
                                           &SheetFor(bitmap), std::move(norm), std::move(hover),
                                           std::move(push), rect});
    }
};

// The shipped skin's sheets, components, windows and fonts in the palette
// in use.
Skin BuildSkin();

}  // namespace vantor::skingen
