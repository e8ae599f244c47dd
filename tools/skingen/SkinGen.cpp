// vantor-skingen: draws the shipped skins.
//
//   vantor-skingen OUTDIR [THEME]   writes OUTDIR/THEME.xml, every image at
//                                   1x, @1.3x and @2x, and the product icon;
//                                   THEME is "default" (teal, the default)
//                                   or "ember" (amber)
//
// The layout (in 96-DPI skin units, for a 240 x 320 portrait screen) lives
// here beside the drawing, and the XML is written from it, so the images
// and the file cannot drift apart. Each image cell is drawn into exactly the
// pixel rectangle the skin loader computes for it at each resolution, so a
// component drawn at its own size is a plain copy on the device.

#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QString>
#include <cstdio>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "SkinArt.h"
#include "core/Text.h"
#include "skin/SkinScale.h"

namespace vantor::skingen {
namespace {

using namespace palette;

constexpr int kScreenWidth = 240;
constexpr int kScreenHeight = 320;
constexpr int kDeckTop = 222;
constexpr int kDeckHeight = kScreenHeight - kDeckTop;

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

// ---------------------------------------------------------------- screens

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
    PaintDeck(p, kDeckTop);
}

// The screen's base colour under a teal glow fading out `height` units down.
void PaintGlow(QPainter& p, double height) {
    p.fillRect(QRectF(0, 0, kScreenWidth, kScreenHeight), kBase);
    QLinearGradient glow(0, 0, 0, height);
    glow.setColorAt(0, kGlow);
    glow.setColorAt(1, kBase);
    p.fillRect(QRectF(0, 0, kScreenWidth, height), glow);
}

void PaintNowPlaying(QPainter& p) {
    PaintGlow(p, 136);
    PaintDeck(p, kDeckTop);
}

// A rounded panel with a one-unit outline.
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
    DrawPanel(p, QRectF(8.5, 120.5, 223, 160), kStrip, 6);
}

constexpr int kEqTop = 44;
constexpr int kEqTrackHeight = 200;
constexpr int kEqTrackWidth = 14;
int EqTrackX(int track) {  // 0 is the preamplifier
    return track == 0 ? 14 : 46 + (track - 1) * 18;
}

void PaintEq(QPainter& p) {
    p.fillRect(QRectF(0, 0, kScreenWidth, kScreenHeight), kBase);
    p.fillRect(QRectF(0, 0, kScreenWidth, 36), kStrip);
    p.fillRect(QRectF(0, 36, kScreenWidth, 1), kLine);
    DrawLabel(p, QRectF(12, 0, 130, 36), QStringLiteral("Equalizer"), 15, kText,
              Qt::AlignLeft | Qt::AlignVCenter, true);
    p.save();
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(Qt::NoPen);
    p.setBrush(kStrip2);
    p.drawRoundedRect(QRectF(6, 40, 228, 230), 6, 6);
    p.restore();
    p.fillRect(QRectF(37.5, 48, 1, kEqTrackHeight - 8), kLine);
    const char* labels[] = {"PRE", "60", "170", "310", "600", "1K",
                            "3K",  "6K", "12K", "14K", "16K"};
    for (int track = 0; track < 11; ++track) {
        DrawLabel(p,
                  QRectF(EqTrackX(track) - 6, kEqTop + kEqTrackHeight + 4, kEqTrackWidth + 12, 14),
                  QString::fromLatin1(labels[track]), 8, track == 0 ? kAccent : kMuted);
    }
    const char* marks[] = {"+", "0", "\xE2\x88\x92"};
    for (int i = 0; i < 3; ++i) {
        DrawLabel(p, QRectF(226, kEqTop + i * kEqTrackHeight / 2 - 7, 8, 14),
                  QString::fromUtf8(marks[i]), 9, kDim);
    }
    // Below the bands the program places its presets box ("eq.presets").
    DrawPanel(p, QRectF(8.5, 272.5, 223, 23), kList, 6);
}

// A cell that shows a piece of a screen background under its own content,
// so that an opaque cell matches whatever lies around it.
Paint Over(std::function<void(QPainter&)> background, double x, double y, Paint content = {}) {
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

// ---------------------------------------------------------------- skin

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

Skin BuildSkin() {
    Skin skin;
    skin.sheets.reserve(16);  // the components keep pointers to the sheets

    const struct {
        const char* bitmap;
        const char* file;
        void (*paint)(QPainter&);
    } screens[] = {{"back.main", "back-main", PaintMain},
                   {"back.np", "back-nowplaying", PaintNowPlaying},
                   {"back.list", "back-list", PaintList},
                   {"back.connect", "back-connect", PaintConnect},
                   {"back.eq", "back-eq", PaintEq}};
    for (const auto& screen : screens) {
        Sheet& sheet = skin.AddSheet(screen.bitmap, screen.file);
        sheet.Add("full", kScreenWidth, kScreenHeight,
                  [paint = screen.paint](QPainter& p, const QRectF&) { paint(p); });
        sheet.Pack(kScreenWidth);
    }

    Sheet& deck = skin.AddSheet("deck", "deck");
    deck.Add("full", kScreenWidth, kDeckHeight,
             [](QPainter& p, const QRectF&) { PaintDeck(p, 0); });
    deck.Pack(kScreenWidth);

    Sheet& art = skin.AddSheet("noart", "noart");
    art.Add("full", 120, 120, Over(PaintNowPlaying, 60, 12, [](QPainter& p, const QRectF& box) {
                p.save();
                p.setRenderHint(QPainter::Antialiasing);
                QLinearGradient face(box.topLeft(), box.bottomRight());
                face.setColorAt(0, kRaised);
                face.setColorAt(1, kStrip2);
                p.setPen(QPen(kLine, 1));
                p.setBrush(face);
                p.drawRoundedRect(box.adjusted(0.5, 0.5, -0.5, -0.5), 10, 10);
                p.restore();
                DrawGlyph(p, Glyph::Note, box.adjusted(0, -14, 0, -14), 46, kDim);
                DrawLabel(p, QRectF(box.x(), box.bottom() - 34, box.width(), 16),
                          QStringLiteral("No artwork"), 11, kDim);
            }));
    art.Pack(120);

    Sheet& controls = skin.AddSheet("controls", "controls");
    const std::pair<const char*, Glyph> transport[] = {{"prev", Glyph::Prev},
                                                       {"play", Glyph::Play},
                                                       {"pause", Glyph::Pause},
                                                       {"stop", Glyph::Stop},
                                                       {"next", Glyph::Next}};
    const std::pair<const char*, Look> looks[] = {
        {"norm", Look::Norm}, {"hover", Look::Hover}, {"push", Look::Push}};
    for (const auto& [name, glyph] : transport) {
        for (const auto& [suffix, look] : looks) {
            controls.Add(std::string(name) + "." + suffix, 40, 40,
                         [glyph, look, primary = std::string(name) == "play"](QPainter& p,
                                                                              const QRectF& box) {
                             p.fillRect(box, kStrip);
                             DrawRoundButton(p, box, glyph, look, primary);
                         });
        }
    }
    for (const auto& [name, glyph] :
         {std::pair{"repeat", Glyph::Repeat}, std::pair{"shuffle", Glyph::Shuffle}}) {
        for (const auto& [suffix, look] : looks) {
            controls.Add(std::string(name) + "." + suffix, 28, 28,
                         [glyph, look](QPainter& p, const QRectF& box) {
                             p.fillRect(box, kStrip);
                             DrawToggle(p, box, glyph, look);
                         });
        }
    }
    for (const auto& [name, word] :
         {std::pair{"eq.enabled", "ON"}, std::pair{"eq.autoload", "AUTO"}}) {
        for (const auto& [suffix, look] : looks) {
            controls.Add(std::string(name) + "." + suffix, 40, 20,
                         [word, look](QPainter& p, const QRectF& box) {
                             p.fillRect(box, kStrip);
                             DrawPill(p, box, QString::fromLatin1(word), look, false);
                         });
        }
    }
    const std::tuple<const char*, Glyph, QColor> states[] = {{"playing", Glyph::Play, kAccent},
                                                             {"paused", Glyph::Pause, kText},
                                                             {"stopped", Glyph::Stop, kMuted}};
    for (const auto& [name, glyph, color] : states) {
        controls.Add(std::string("state.") + name, 16, 16,
                     [glyph, color](QPainter& p, const QRectF& box) {
                         p.fillRect(box, kStrip);
                         DrawGlyph(p, glyph, box, 11, color);
                     });
    }
    const std::tuple<const char*, int, QColor> tracks[] = {
        {"pos", 170, kStrip2}, {"vol", 128, kStrip}, {"np", 208, kBase}, {"prog", 200, kStrip}};
    for (const auto& [name, width, background] : tracks) {
        controls.Add(
            std::string(name) + ".track", width, 6,
            [background](QPainter& p, const QRectF& box) { DrawTrack(p, box, background, false); });
        controls.Add(
            std::string(name) + ".fill", width, 6,
            [background](QPainter& p, const QRectF& box) { DrawTrack(p, box, background, true); });
    }
    controls.Add("songback", 206, 30, Flat(kStrip));
    controls.Add("positionback", 50, 20, Flat(kStrip2));
    controls.Add("searchback", 226, 22, Over(PaintList, 7, 30, [](QPainter& p, const QRectF& box) {
                     DrawPanel(p, QRectF(box.x() + 1.5, box.y() + 1.5, 223, 19), kList, 9.5);
                     DrawGlyph(p, Glyph::Search, QRectF(box.x() + 5, box.y() + 3, 16, 16), 13,
                               kMuted);
                 }));
    controls.Add("titleback", 240, 22, Flat(kBase));
    controls.Add("artistback", 240, 18, Flat(kBase));
    controls.Add("albumback", 240, 18, Flat(kBase));
    controls.Pack(256);

    // The equaliser's tracks and knob; keyed so the knob's rounded corners
    // show the track behind it.
    Sheet& eq = skin.AddSheet("eqbar", "eqbar", true);
    eq.Add("track", kEqTrackWidth, kEqTrackHeight, [](QPainter& p, const QRectF& box) {
        p.fillRect(box, kStrip2);
        p.save();
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(Qt::NoPen);
        p.setBrush(kLine);
        p.drawRoundedRect(QRectF(box.x() + 5, box.y() + 4, 4, box.height() - 8), 2, 2);
        for (int i = 0; i <= 8; ++i) {
            const double y = box.y() + 5 + i * (box.height() - 10) / 8.0;
            const bool centre = i == 4;
            p.fillRect(QRectF(box.x() + (centre ? 0 : 1), y - 0.5, centre ? 3 : 2, 1),
                       centre ? kMuted : kLine);
            p.fillRect(QRectF(box.right() - (centre ? 3 : 3), y - 0.5, centre ? 3 : 2, 1),
                       centre ? kMuted : kLine);
        }
        p.restore();
    });
    const auto knobShape = [](const QRectF& box) {
        QPainterPath path;
        path.addRoundedRect(box.adjusted(0.5, 0.5, -0.5, -0.5), 3, 3);
        return path;
    };
    eq.Add(
        "knob", kEqTrackWidth, 10,
        [knobShape](QPainter& p, const QRectF& box) {
            p.fillRect(box, kStrip2);
            p.save();
            p.setRenderHint(QPainter::Antialiasing);
            QLinearGradient face(box.topLeft(), box.bottomLeft());
            face.setColorAt(0, kText);
            face.setColorAt(1, QColor(0xC4, 0xCC, 0xD8));
            p.setPen(QPen(QColor(0x0B, 0x0E, 0x14), 0.8));
            p.setBrush(face);
            p.drawPath(knobShape(box));
            p.fillRect(QRectF(box.x() + 3, box.center().y() - 0.75, box.width() - 6, 1.5),
                       kAccentDark);
            p.restore();
        },
        [knobShape](QPainter& p, const QRectF& box) {
            p.setRenderHint(QPainter::Antialiasing);
            p.fillPath(knobShape(box), Qt::white);
        });
    eq.Pack(64);

    Sheet& dialog = skin.AddSheet("dialog", "dialog");
    dialog.Add("panel", 200, 120, [](QPainter& p, const QRectF& box) {
        p.fillRect(box, kStrip);
        p.fillRect(QRectF(box.x(), box.y(), box.width(), 3), kAccent);
        p.setPen(QPen(kLine, 1));
        p.setBrush(Qt::NoBrush);
        p.drawRect(box.adjusted(0.5, 0.5, -0.5, -0.5));
    });
    for (const auto& [name, word, primary] :
         {std::tuple{"ok", "OK", true}, std::tuple{"cancel", "Cancel", false}}) {
        for (const auto& [suffix, look] : looks) {
            dialog.Add(std::string(name) + "." + suffix, 64, 26,
                       [word, look, primary](QPainter& p, const QRectF& box) {
                           p.fillRect(box, kStrip);
                           DrawPill(p, box, QString::fromLatin1(word), look, primary);
                       });
        }
    }
    dialog.Pack(200);

    // Document order is drawing order: backgrounds first. Hit tests take the
    // first match, so nothing that must not take taps lacks "ignoreinput".
    const Rect full{0, 0, {}, {}, 0, 0};  // stretched over any screen, copied at 3:4
    skin.Add("background.main", "main", true, "back.main", "full", full);
    skin.Add("background.nowplaying", "nowplaying", true, "back.np", "full", full);
    skin.Add("background.playlist", "playlist", true, "back.list", "full", full);
    skin.Add("background.connect", "connect", true, "back.connect", "full", full);
    skin.Add("background.eq", "eq", true, "back.eq", "full", full);
    // The deck keeps to the bottom of the screen whatever its height.
    skin.Add("deck", "main,nowplaying", true, "deck", "full", Rect{0, {}, 240, {}, {}, 0});

    for (const char* state : {"playing", "paused", "stopped"}) {
        skin.Add(std::string("playingstate.") + state, "main", true, "controls",
                 std::string("state.") + state, Rect{7, 7, 16, 16});
    }
    skin.Add("songback", "main", true, "controls", "songback", Rect{28, 0, 206, 30});
    skin.Add("positionback", "main", true, "controls", "positionback", Rect{6, 32, 50, 20});
    skin.Add("positionbar.back", "main", false, "controls", "pos.track", Rect{62, 39, 170, 6});
    skin.Add("positionbar", "", false, "controls", "pos.fill", Rect{62, 39, 170, 6});

    skin.Add("playlist.searchback", "playlist", true, "controls", "searchback",
             Rect{7, 30, 226, 22});
    skin.Add("albumart.placeholder", "nowplaying", true, "noart", "full", Rect{60, 12, 120, 120});
    skin.Add("titleback", "nowplaying", true, "controls", "titleback", Rect{0, 138, 240, 22});
    skin.Add("artistback", "nowplaying", true, "controls", "artistback", Rect{0, 160, 240, 18});
    skin.Add("albumback", "nowplaying", true, "controls", "albumback", Rect{0, 178, 240, 18});
    skin.Add("positionbar.nowplaying.back", "nowplaying", false, "controls", "np.track",
             Rect{16, 201, 208, 6});
    skin.Add("positionbar.nowplaying", "", false, "controls", "np.fill", Rect{16, 201, 208, 6});

    // Transport and toggles sit on the deck, counted from the screen's bottom.
    int x = 8;
    for (const auto& [name, glyph] : transport) {
        (void)glyph;
        const std::string n = name;
        skin.Add(n, "main,nowplaying", false, "controls", n + ".norm", Rect{x, {}, 40, {}, {}, 52},
                 n + ".hover", n + ".push");
        x += 46;
    }
    skin.Add("repeat", "main,nowplaying", false, "controls", "repeat.norm",
             Rect{12, {}, 28, {}, {}, 10}, "repeat.hover", "repeat.push");
    skin.Add("shuffle", "main,nowplaying", false, "controls", "shuffle.norm",
             Rect{44, {}, 28, {}, {}, 10}, "shuffle.hover", "shuffle.push");
    skin.Add("volumebar.back", "main,nowplaying", false, "controls", "vol.track",
             Rect{100, {}, 128, {}, {}, 21});
    skin.Add("volumebar", "", false, "controls", "vol.fill", Rect{100, {}, 128, {}, {}, 21});

    skin.Add("progressbar.back", "connect", false, "controls", "prog.track", Rect{20, 266, 200, 6});
    skin.Add("progressbar", "", false, "controls", "prog.fill", Rect{20, 266, 200, 6});

    skin.Add("eq.enabled", "eq", false, "controls", "eq.enabled.norm", Rect{146, 8, 40, 20},
             "eq.enabled.hover", "eq.enabled.push");
    skin.Add("eq.autoload", "eq", false, "controls", "eq.autoload.norm", Rect{190, 8, 40, 20},
             "eq.autoload.hover", "eq.autoload.push");
    skin.Add("eq.preamp", "eq", false, "eqbar", "track",
             Rect{EqTrackX(0), kEqTop, kEqTrackWidth, kEqTrackHeight});
    for (int band = 1; band <= 10; ++band) {
        char name[16];
        std::snprintf(name, sizeof name, "eq.bar%02d", band);
        skin.Add(name, "eq", false, "eqbar", "track",
                 Rect{EqTrackX(band), kEqTop, kEqTrackWidth, kEqTrackHeight});
    }
    skin.Add("eq.position", "", false, "eqbar", "knob", Rect{0, 0, kEqTrackWidth, 10});

    skin.Add("dlg.background", "dialog", true, "dialog", "panel", Rect{0, 0, 200, 120});
    skin.Add("dlg.ok", "dialog", false, "dialog", "ok.norm", Rect{28, 84, 64, 26}, "ok.hover",
             "ok.push");
    skin.Add("dlg.cancel", "dialog", false, "dialog", "cancel.norm", Rect{108, 84, 64, 26},
             "cancel.hover", "cancel.push");

    const QColor listText(0xE2, 0xE7, 0xEF);
    skin.windows = {
        {"playlist.main", Rect{0, 54, 240, 168}, kList, listText, kAccent},
        {"medialib.tagview", Rect{0, 56, {}, {}, 0, 0}, kList, listText, kAccent},
        {"albumart", Rect{60, 12, 120, 120}, kBase, {}, {}},
        {"nowplaying.position", Rect{16, 207, 208, 14}, {}, kMuted, {}},
        {"playlist.header", Rect{0, 0, 240, 26}, kStrip, kMuted, kAccent},
        {"playlist.search", Rect{32, 32, 194, 18}, kList, kText, kAccent},
        {"eq.presets", Rect{10, 274, 220, 20}, kList, kText, kAccent},
    };
    skin.fonts = {
        {"songtitle", 10, "bold", kText},    {"title.nowplaying", 12, "bold", kText},
        {"time", 9, "normal", kAccent},      {"time.nowplaying", 8, "normal", kMuted},
        {"playlist", 9, "normal", listText}, {"medialib", 9, "normal", listText},
        {"dialog", 10, "normal", kText},
    };
    return skin;
}

// ---------------------------------------------------------------- output

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

}  // namespace
}  // namespace vantor::skingen

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
