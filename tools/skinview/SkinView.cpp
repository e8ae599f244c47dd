// vantor-skinview: renders one screen of a skin offscreen.
//
//   vantor-skinview SKIN.xml SCREEN WIDTHxHEIGHT OUT.png [--dpi N] [--bare]
//                   [--hover NAME]... [--push NAME]...
//
// SCREEN is "main", "nowplaying", "playlist", "connect", "eq" or "dialog".
// The device's pixels per inch are 96 x the display scale the program uses
// for that width (2.0 from 480, 1.3 from 320, else 1.0) unless --dpi says
// otherwise. Unless --bare, the screen is shown with sample content (titles,
// bar values, list rows) drawn the way the screens draw theirs, so a skin
// author sees the skin as it will look in use. --hover and --push show the
// named components in those states, as under a hovering or pressing stylus.

#include <QFontMetrics>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QString>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "skin/CSkin.h"
#include "skin/HeaderBar.h"
#include "skin/SkinBar.h"
#include "skin/SkinDrawing.h"
#include "skin/SkinFallback.h"
#include "skin/SkinMessageDialog.h"
#include "skin/SkinScreen.h"

namespace vantor {
namespace {

QRect ToQRect(const SkinRect& rect) {
    return QRect(rect.left, rect.top, SkinClamp(rect.Width()), SkinClamp(rect.Height()));
}

// Sample content, drawn the way the screens will draw theirs.
class Sample {
public:
    Sample(const CSkin& skin, QImage& target, std::string_view screen)
        : skin_(skin), target_(target), screen_(screen) {}

    QRect Component(std::string_view name) const {
        const SkinComponent* component = skin_.FindComponent(name);
        return component ? ToQRect(component->norm.destination) : QRect();
    }
    QRect Window(std::string_view name) const {
        const SkinWinComponent* window = skin_.FindWinComponent(name);
        return window ? ToQRect(window->Place(target_.width(), target_.height())) : QRect();
    }
    QFont Font(std::string_view name) const {
        const SkinFont* font = skin_.FindFont(name);
        return font ? font->font : QFont();
    }
    QColor FontColor(std::string_view name) const {
        const SkinFont* font = skin_.FindFont(name);
        return font ? font->color.ToQColor() : QColor(Qt::black);
    }
    int X(int units) const { return skin_.Scale().X(units); }

    void Text(const QRect& box, std::string_view font, const QString& text, int flags,
              QColor color = QColor()) {
        if (box.isEmpty()) {
            return;
        }
        QPainter painter(&target_);
        painter.setFont(Font(font));
        painter.setPen(color.isValid() ? color : FontColor(font));
        const QFontMetrics metrics(painter.font());
        painter.drawText(box, flags, metrics.elidedText(text, Qt::ElideRight, box.width()));
    }

    void Bar(SkinBarNames names, double fraction, std::string_view front) {
        const SkinComponent* component = skin_.FindComponent(front);
        const std::int32_t width = component ? SkinClamp(component->norm.destination.Width()) : 0;
        const SkinDrawGuard lock;
        DrawBar(lock, skin_, target_, names, VolumeToPixels(fraction * 100.0, width), false,
                screen_);
    }

    void Pushed(std::string_view name) {
        if (const SkinComponent* component = skin_.FindComponent(name)) {
            DrawComponentState(skin_, target_, *component, true);
        }
    }

    // Rows of a list window: the first `selected` one highlighted.
    void List(std::string_view window, std::string_view font,
              const std::vector<std::pair<QString, QString>>& rows, int selected) {
        const SkinWinComponent* record = skin_.FindWinComponent(window);
        const QRect area = Window(window);
        if (record == nullptr || area.isEmpty()) {
            return;
        }
        QPainter painter(&target_);
        painter.setClipRect(area);
        const QColor back = record->backColor ? record->backColor->ToQColor() : QColor(Qt::white);
        const QColor fore = record->foreColor ? record->foreColor->ToQColor() : QColor(Qt::black);
        const QColor select =
            record->selectColor ? record->selectColor->ToQColor() : QColor(Qt::darkBlue);
        painter.fillRect(area, back);
        painter.setFont(Font(font));
        const QFontMetrics metrics(painter.font());
        const int rowHeight = metrics.height() * 2;
        const int pad = X(8);
        int y = area.top();
        for (std::size_t i = 0; i < rows.size() && y < area.bottom(); ++i, y += rowHeight) {
            const QRect row(area.left(), y, area.width(), rowHeight);
            const bool isSelected = static_cast<int>(i) == selected;
            if (isSelected) {
                painter.fillRect(row, select);
            } else {
                painter.fillRect(QRect(row.left() + pad, row.bottom(), row.width() - 2 * pad, 1),
                                 back.lighter(150));
            }
            painter.setPen(isSelected ? back : fore);
            const QRect text = row.adjusted(pad, 0, -pad, 0);
            painter.drawText(text, Qt::AlignLeft | Qt::AlignVCenter, rows[i].first);
            QColor secondary = isSelected ? back : fore;
            secondary.setAlpha(isSelected ? 255 : 150);
            painter.setPen(secondary);
            painter.drawText(text, Qt::AlignRight | Qt::AlignVCenter, rows[i].second);
        }
    }

    void Knob(int track, std::int32_t gain) {
        const SkinComponent* back = skin_.FindComponent(EqTrackName(track));
        if (back == nullptr) {
            return;
        }
        const auto height = SkinClamp(back->norm.destination.Height());
        const SkinDrawGuard lock;
        DrawBar(lock, skin_, target_, back, skin_.FindComponent(kEqKnob),
                EqGainToPixels(gain, height), true, screen_);
    }

private:
    const CSkin& skin_;
    QImage& target_;
    std::string_view screen_;
};

const int kMargin = 8;

void SampleMain(Sample& s, const CSkin& skin, QImage& target) {
    {
        const SkinDrawGuard lock;
        DrawPlayerState(lock, skin, target, 1, kScreenMain);
    }
    s.Text(s.Component("songback").adjusted(s.X(4), 0, -s.X(4), 0), "songtitle",
           QStringLiteral("Mira Solen - Night Drive (2:53)"), Qt::AlignLeft | Qt::AlignVCenter);
    s.Text(s.Component("positionback"), "time", QStringLiteral("01:12"), Qt::AlignCenter);
    s.Bar(kPositionBar, 72.0 / 173.0, "positionbar");
    s.Bar(kVolumeBar, 0.7, "volumebar");
    s.Pushed("repeat");
    s.List("playlist.main", "playlist",
           {{QStringLiteral("Harbour Lights"), QStringLiteral("10:19")},
            {QStringLiteral("Night Drive"), QStringLiteral("2:53")},
            {QStringLiteral("Paper Satellites"), QStringLiteral("2:58")},
            {QStringLiteral("Slow Summer"), QStringLiteral("4:06")},
            {QStringLiteral("Silent Rivers"), QStringLiteral("2:36")},
            {QStringLiteral("Echo Line"), QStringLiteral("6:58")},
            {QStringLiteral("Home Away"), QStringLiteral("4:02")},
            {QStringLiteral("Rain on Distant Streets"), QStringLiteral("3:38")}},
           1);
}

void SampleNowPlaying(Sample& s) {
    s.Text(s.Component("titleback"), "title.nowplaying", QStringLiteral("Night Drive"),
           Qt::AlignCenter);
    s.Text(s.Component("artistback"), "songtitle", QStringLiteral("Mira Solen"), Qt::AlignCenter,
           s.FontColor("time"));
    s.Text(s.Component("albumback"), "time.nowplaying", QStringLiteral("Silent Rivers"),
           Qt::AlignCenter);
    s.Bar(kNowPlayingPositionBar, 72.0 / 173.0, "positionbar.nowplaying");
    const QRect position = s.Window("nowplaying.position");
    s.Text(position, "time.nowplaying", QStringLiteral("01:12"), Qt::AlignLeft | Qt::AlignVCenter);
    s.Text(position, "time.nowplaying", QStringLiteral("-01:41"),
           Qt::AlignRight | Qt::AlignVCenter);
    s.Bar(kVolumeBar, 0.7, "volumebar");
}

void SamplePlaylist(Sample& s, const CSkin& skin, QImage& target) {
    const SkinWinComponent* header = skin.FindWinComponent("playlist.header");
    if (header != nullptr) {
        const SkinRect area = header->Place(target.width(), target.height());
        HeaderBar bar(SkinClamp(area.Width()), s.Font("medialib"));
        bar.AddButton("Library");
        bar.AddButton("Queue");
        bar.AddButton("Search");
        bar.SetButtonOn(0, true);
        bar.Paint(target, area);
    }
    s.Text(s.Window("playlist.search"), "medialib", QStringLiteral("Search"),
           Qt::AlignLeft | Qt::AlignVCenter, QColor(0x8A, 0x96, 0xAB));
    const QString more = QStringLiteral("\u203A");
    s.List("medialib.tagview", "medialib",
           {{QStringLiteral("Albums"), more},
            {QStringLiteral("Artists"), more},
            {QStringLiteral("Genres"), more},
            {QStringLiteral("Songs"), more},
            {QStringLiteral("Playlists"), more},
            {QStringLiteral("Podcasts"), more},
            {QStringLiteral("Music Videos"), more},
            {QStringLiteral("Radio"), more},
            {QStringLiteral("Recently Added"), more},
            {QStringLiteral("Folders"), more},
            {QStringLiteral("Audiobooks"), more},
            {QStringLiteral("Years"), more}},
           -1);
}

void SampleConnect(Sample& s, const CSkin& skin, QImage& target) {
    const SkinScale& scale = skin.Scale();
    const auto box = [&](int x, int y, int w, int h) {
        return QRect(scale.X(x), scale.Y(y), scale.Width(w), scale.Height(h));
    };
    s.Text(box(18, 124, 200, 20), "songtitle", QStringLiteral("Select a server:"),
           Qt::AlignLeft | Qt::AlignVCenter);
    QPainter painter(&target);
    painter.setFont(s.Font("playlist"));
    const char* servers[] = {"(Find Automatically)", "studio-desktop", "192.168.1.20"};
    for (int i = 0; i < 3; ++i) {
        const QRect row = box(16, 146 + i * 26, 208, 24);
        painter.fillRect(row, i == 0 ? QColor(0x2E, 0xC4, 0xB6) : QColor(0x15, 0x1A, 0x24));
        painter.setPen(i == 0 ? QColor(0x12, 0x16, 0x1F) : s.FontColor("playlist"));
        painter.drawText(row.adjusted(scale.X(kMargin), 0, 0, 0), Qt::AlignLeft | Qt::AlignVCenter,
                         QString::fromLatin1(servers[i]));
    }
    painter.end();
    s.Text(box(16, 244, 208, 18), "time.nowplaying", QStringLiteral("Connecting..."),
           Qt::AlignLeft | Qt::AlignVCenter);
    s.Bar(kProgressBar, 0.6, "progressbar");
}

void SampleEq(Sample& s) {
    s.Pushed("eq.enabled");
    const std::int32_t gains[kEqTracks] = {30, 45, 20, 0, -15, -25, -10, 15, 35, 50, 0};
    for (int track = 0; track < kEqTracks; ++track) {
        s.Knob(track, gains[track]);
    }
}

// The skinned dialog over the main screen, dimmed.
void SampleDialog(const CSkin& skin, QImage& target) {
    {
        Sample main(skin, target, kScreenMain);
        SampleMain(main, skin, target);
    }
    QPainter dim(&target);
    dim.fillRect(target.rect(), QColor(0, 0, 0, 150));
    dim.end();
    SkinMessageDialog dialog(skin, std::string(kSkinErrorText), std::string(kSkinErrorCaption));
    QImage popup(dialog.PreferredSize(), QImage::Format_RGB32);
    {
        const SkinDrawGuard lock;
        dialog.Paint(lock, popup, Qt::white);
    }
    QPainter painter(&target);
    painter.drawImage((target.width() - popup.width()) / 2, (target.height() - popup.height()) / 2,
                      popup);
}

int Usage() {
    std::fprintf(stderr,
                 "usage: vantor-skinview SKIN.xml SCREEN WIDTHxHEIGHT OUT.png [--dpi N] [--bare]\n"
                 "                       [--hover NAME]... [--push NAME]...\n"
                 "  SCREEN: main, nowplaying, playlist, connect, eq or dialog\n");
    return 2;
}

int Run(int argc, char** argv) {
    if (argc < 5) {
        return Usage();
    }
    const std::string path = argv[1];
    const std::string screen = argv[2];
    int width = 0, height = 0;
    if (std::sscanf(argv[3], "%dx%d", &width, &height) != 2 || width <= 0 || height <= 0 ||
        width > 8192 || height > 8192) {
        std::fprintf(stderr, "vantor-skinview: bad size %s\n", argv[3]);
        return 2;
    }
    const double scale = width >= 480 ? 2.0 : width >= 320 ? 1.3 : 1.0;
    int dpi = static_cast<int>(std::lround(96 * scale));
    bool bare = false;
    std::vector<std::pair<std::string, bool>> states;  // name, pushed (else hover)
    for (int i = 5; i < argc; ++i) {
        if (std::strcmp(argv[i], "--bare") == 0) {
            bare = true;
        } else if ((std::strcmp(argv[i], "--hover") == 0 || std::strcmp(argv[i], "--push") == 0) &&
                   i + 1 < argc) {
            states.emplace_back(argv[i + 1], std::strcmp(argv[i], "--push") == 0);
            ++i;
        } else if (std::strcmp(argv[i], "--dpi") == 0 && i + 1 < argc) {
            dpi = std::atoi(argv[++i]);
        } else {
            return Usage();
        }
    }

    CSkin skin;
    skin.SetScale(SkinScale{dpi, dpi});
    if (!skin.LoadSkin(path, SkinRect{0, 0, width, height})) {
        std::fprintf(stderr, "vantor-skinview: cannot load %s\n", path.c_str());
        return 1;
    }
    QImage target(width, height, QImage::Format_RGB32);
    target.fill(Qt::black);
    const bool dialog = screen == kScreenDialog;
    {
        const SkinDrawGuard lock;
        PaintScreen(lock, skin, target, dialog ? kScreenMain : std::string_view(screen));
    }
    if (!bare) {
        Sample sample(skin, target, screen);
        if (screen == kScreenMain) {
            SampleMain(sample, skin, target);
        } else if (screen == kScreenNowPlaying) {
            SampleNowPlaying(sample);
        } else if (screen == kScreenPlaylist) {
            SamplePlaylist(sample, skin, target);
        } else if (screen == kScreenConnect) {
            SampleConnect(sample, skin, target);
        } else if (screen == kScreenEq) {
            SampleEq(sample);
        } else if (dialog) {
            SampleDialog(skin, target);
        }
    }
    for (const auto& [name, pushed] : states) {
        const SkinComponent* component = skin.FindComponent(name);
        if (component == nullptr) {
            std::fprintf(stderr, "vantor-skinview: no component %s\n", name.c_str());
            return 1;
        }
        DrawState(skin, target, pushed ? component->push : component->hover);
    }
    if (!target.save(QString::fromLocal8Bit(argv[4]), "PNG")) {
        std::fprintf(stderr, "vantor-skinview: cannot write %s\n", argv[4]);
        return 1;
    }
    return 0;
}

}  // namespace
}  // namespace vantor

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QGuiApplication application(argc, argv);
    return vantor::Run(argc, argv);
}
