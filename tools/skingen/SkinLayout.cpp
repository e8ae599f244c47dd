#include <QLinearGradient>
#include <QPainterPath>
#include <QString>
#include <cstdio>
#include <string>
#include <tuple>
#include <utility>

#include "SkinArt.h"
#include "SkinScreens.h"
#include "SkinSpec.h"

namespace vantor::skingen {

using namespace palette;

Skin BuildSkin() {
    Skin skin;
    skin.sheets.reserve(16);  // the components keep pointers to the sheets

    // Each screen's picture is the handheld's whole screen, copied at its
    // own height from the top, so at the handheld's screen every component
    // lies where it always has; a strip of its last rows stretches below it
    // to any taller screen. What must follow the screen's bottom (the deck,
    // the panels, the bars) is a component of its own, not in the picture.
    const struct {
        const char* bitmap;
        const char* file;
        void (*paint)(QPainter&);
        const char* screen;
        int fillFrom;  // the rows the strip repeats
    } screens[] = {{"back.main", "back-main", PaintMain, "main", 100},
                   {"back.np", "back-nowplaying", PaintNowPlaying, "nowplaying", kScreenHeight - 2},
                   {"back.list", "back-list", PaintList, "playlist", kScreenHeight - 2},
                   {"back.connect", "back-connect", PaintConnect, "connect", kScreenHeight - 2},
                   {"back.eq", "back-eq", PaintEq, "eq", kScreenHeight - 2}};
    for (const auto& screen : screens) {
        Sheet& sheet = skin.AddSheet(screen.bitmap, screen.file);
        sheet.Add("full", kScreenWidth, kScreenHeight,
                  [paint = screen.paint](QPainter& p, const QRectF&) { paint(p); });
        sheet.Add("fill", kScreenWidth, 2, Over(screen.paint, 0, screen.fillFrom));
        sheet.Pack(kScreenWidth);
    }

    Sheet& deck = skin.AddSheet("deck", "deck");
    deck.Add("full", kScreenWidth, kDeckHeight,
             [](QPainter& p, const QRectF&) { PaintDeck(p, 0); });
    deck.Add("edge", 2, kDeckHeight,
             Over([](QPainter& p) { PaintDeck(p, 0); }, kScreenWidth - 2, 0));
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
    controls.Add("eqpanel", 228, 8, Flat(kStrip2));
    controls.Add("eqrule", 1, 8, Flat(kLine));
    controls.Add("eqlabels", 228, 14, PaintEqLabels);
    controls.Add("eqpresets", 224, 24, Over(PaintEq, 8, 272, [](QPainter& p, const QRectF& box) {
                     DrawPanel(p, QRectF(box.x() + 0.5, box.y() + 0.5, 223, 23), kList, 6);
                 }));
    controls.Add("connectpanel", 224, 8, Flat(kStrip));
    controls.Add("titleback", 240, 22, Flat(kBase));
    controls.Add("npmargin", 240, 6, Over(PaintNowPlaying, 0, kDeckTop - 8));
    controls.Add("nptime", 208, 14, Over(PaintNowPlaying, 16, kDeckTop - 16));
    controls.Add("artistback", 240, 18, Flat(kBase));
    controls.Add("albumback", 240, 18, Flat(kBase));
    // The bands' tracks stretch to the screen's height, so their sheet
    // has no key.
    controls.Add("eqtrack", kEqTrackWidth, kEqTrackHeight, [](QPainter& p, const QRectF& box) {
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
    controls.Pack(256);

    // The equaliser's tracks and knob; keyed so the knob's rounded corners
    // show the track behind it.
    Sheet& eq = skin.AddSheet("eqbar", "eqbar", true);
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
    for (const auto& screen : screens) {
        const std::string name = std::string("background.") + screen.screen;
        skin.Add(name, screen.screen, true, screen.bitmap, "full",
                 Rect{0, 0, {}, kScreenHeight, 0, {}});
        skin.Add(name + ".fill", screen.screen, true, screen.bitmap, "fill",
                 Rect{0, kScreenHeight, {}, {}, 0, 0});
    }
    // The deck keeps to the bottom of the screen whatever its height, at
    // the handheld's width; its edge carries it on to the screen's right
    // wherever the screen is wider than the skin's 240 units (320 pixels at
    // the handheld's 125 dpi). The strips behind texts keep the handheld's
    // widths too: the pictures beside them are of their colour.
    skin.Add("deck", "main,nowplaying", true, "deck", "full", Rect{0, {}, kScreenWidth, {}, {}, 0});
    skin.Add("deck.edge", "main,nowplaying", true, "deck", "edge",
             Rect{kScreenWidth, {}, {}, {}, 0, 0});

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
    // The now-playing texts and bar keep to the deck: each is counted from
    // the screen's bottom by its distance from the handheld's; the art's
    // box reaches from its top down to the margin above them, and the
    // program draws the square that fits it (and the placeholder there too).
    skin.Add("albumart.placeholder", "", true, "noart", "full", Rect{60, 12, 120, 120});
    const auto fromBottom = [](int top) { return kScreenHeight - top; };
    skin.Add("albumart.margin", "nowplaying", true, "controls", "npmargin",
             Rect{0, {}, kScreenWidth, {}, {}, fromBottom(138)});
    skin.Add("titleback", "nowplaying", true, "controls", "titleback",
             Rect{0, {}, kScreenWidth, {}, {}, fromBottom(160)});
    skin.Add("artistback", "nowplaying", true, "controls", "artistback",
             Rect{0, {}, kScreenWidth, {}, {}, fromBottom(178)});
    skin.Add("albumback", "nowplaying", true, "controls", "albumback",
             Rect{0, {}, kScreenWidth, {}, {}, fromBottom(196)});
    skin.Add("positionbar.nowplaying.back", "nowplaying", false, "controls", "np.track",
             Rect{16, {}, 208, {}, {}, fromBottom(207)});
    skin.Add("positionbar.nowplaying", "", false, "controls", "np.fill",
             Rect{16, {}, 208, {}, {}, fromBottom(207)});
    skin.Add("nowplaying.position", "nowplaying", true, "controls", "nptime",
             Rect{16, {}, 208, {}, {}, fromBottom(221)});

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

    // The connect screen's panel keeps its top and stretches to its
    // distance from the bottom; the progress bar keeps to the bottom, and
    // the program's list of servers takes the height between them.
    skin.Add("connect.panel", "connect", true, "controls", "connectpanel",
             Rect{8, 120, {}, {}, 8, fromBottom(280)});
    skin.Add("progressbar.back", "connect", false, "controls", "prog.track",
             Rect{20, {}, 200, {}, {}, fromBottom(272)});
    skin.Add("progressbar", "", false, "controls", "prog.fill",
             Rect{20, {}, 200, {}, {}, fromBottom(272)});

    skin.Add("eq.enabled", "eq", false, "controls", "eq.enabled.norm", Rect{146, 8, 40, 20},
             "eq.enabled.hover", "eq.enabled.push");
    skin.Add("eq.autoload", "eq", false, "controls", "eq.autoload.norm", Rect{190, 8, 40, 20},
             "eq.autoload.hover", "eq.autoload.push");
    // The bands' panel, the preamplifier's rule and the bands keep their
    // tops and their distances from the bottom, so they stretch; their
    // names and the presets below them keep to the bottom.
    skin.Add("eq.panel", "eq", true, "controls", "eqpanel",
             Rect{6, kEqTop - 4, {}, {}, 6, kEqBottom - 26});
    skin.Add("eq.rule", "eq", true, "controls", "eqrule",
             Rect{EqTrackX(0) + 23, kEqTop + 4, 1, {}, {}, kEqBottom + 4});
    skin.Add("eq.labels", "eq", true, "controls", "eqlabels",
             Rect{6, {}, 228, {}, {}, kEqBottom - 18});
    skin.Add("eq.presetsback", "eq", true, "controls", "eqpresets",
             Rect{8, {}, 224, {}, {}, kEqBottom - 52});
    skin.Add("eq.preamp", "eq", false, "controls", "eqtrack",
             Rect{EqTrackX(0), kEqTop, kEqTrackWidth, {}, {}, kEqBottom});
    for (int band = 1; band <= 10; ++band) {
        char name[16];
        std::snprintf(name, sizeof name, "eq.bar%02d", band);
        skin.Add(name, "eq", false, "controls", "eqtrack",
                 Rect{EqTrackX(band), kEqTop, kEqTrackWidth, {}, {}, kEqBottom});
    }
    skin.Add("eq.position", "", false, "eqbar", "knob", Rect{0, 0, kEqTrackWidth, 10});

    skin.Add("dlg.background", "dialog", true, "dialog", "panel", Rect{0, 0, 200, 120});
    skin.Add("dlg.ok", "dialog", false, "dialog", "ok.norm", Rect{28, 84, 64, 26}, "ok.hover",
             "ok.push");
    skin.Add("dlg.cancel", "dialog", false, "dialog", "cancel.norm", Rect{108, 84, 64, 26},
             "cancel.hover", "cancel.push");

    // The lists reach the screen's right and bottom edges; the program
    // stops a list anchored to the bottom above the deck, so it takes the
    // height the controls leave.
    const QColor listText(0xE2, 0xE7, 0xEF);
    skin.windows = {
        {"playlist.main", Rect{0, 54, {}, {}, 0, 0}, kList, listText, kAccent},
        {"medialib.tagview", Rect{0, 56, {}, {}, 0, 0}, kList, listText, kAccent},
        {"albumart", Rect{0, 12, {}, {}, 0, 0}, kBase, {}, {}},
        {"playlist.header", Rect{0, 0, kScreenWidth, 26}, kStrip, kMuted, kAccent},
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

}  // namespace vantor::skingen
