// A finger flicking a play queue of 100 000 songs on a phone-sized window
// (1080 x 2160), through the real window's list (offscreen), its pages
// fetched from vantor-server as they come into view, against a plain
// QListView of the same rows held in memory with QScroller's own touch
// gesture, in the same run.
//
// Six flicks, each a finger drawn 600 pixels up in about 80 ms and let go; the
// list then runs on by itself until it stops. A frame is the work the
// window's thread does between two repaints of the window (the scroller's
// step, the rows laid out and painted, pages handed in): its p50 and p99
// are what a person sees as smooth or not (a frame every 16 ms is 60 per
// second).

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QListView>
#include <QScrollBar>
#include <QScroller>
#include <QStringListModel>
#include <QTest>
#include <QWindow>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <utility>
#include <vector>

#include "session/RegistryStore.h"
#include "session/Settings.h"
#include "support/BenchReport.h"
#include "support/Process.h"
#include "support/WindowDoubles.h"
#include "ui/lists/PlayQueueList.h"
#include "ui/screens/LibraryScreen.h"
#include "ui/window/CMainFrame.h"

namespace vantor {
namespace {

using namespace std::chrono_literals;
using bench::FixedAddress;
using bench::NoPrompts;
using bench::Pump;
using testing::Process;

constexpr int kSongs = 100000;
constexpr int kFlicks = 6;
}  // namespace

const QSize kScreen(1080, 2160);

namespace {

// Times the window thread's work, event by event, and closes a frame at
// every repaint of a window.
class TimedApplication final : public QApplication {
public:
    using QApplication::QApplication;

    bool notify(QObject* receiver, QEvent* event) override {
        if (!measuring_ || depth_ > 0) {
            return QApplication::notify(receiver, event);
        }
        ++depth_;
        clock_.start();
        const bool result = QApplication::notify(receiver, event);
        work_ += clock_.nsecsElapsed();
        --depth_;
        if (event->type() == QEvent::UpdateRequest) {
            frames_.push_back(static_cast<double>(work_) / 1e6);
            work_ = 0;
        }
        return result;
    }

    void Measure(bool on) {
        measuring_ = on;
        work_ = 0;
    }
    std::vector<double> TakeFrames() { return std::exchange(frames_, {}); }

private:
    bool measuring_ = false;
    int depth_ = 0;
    QElapsedTimer clock_;
    qint64 work_ = 0;
    std::vector<double> frames_;
};

TimedApplication& App() {
    return static_cast<TimedApplication&>(*QCoreApplication::instance());
}

QPointingDevice* TouchScreen() {
    static QPointingDevice* const screen = QTest::createTouchDevice();
    return screen;
}

// Flicks the list up, then waits for it to stop; false when it never does.
bool FlickOnce(QAbstractItemView& list) {
    QWidget* rows = list.viewport();
    const QPoint from(rows->width() / 2, rows->height() * 3 / 4);
    QTest::touchEvent(rows, TouchScreen()).press(0, from, rows);
    for (int step = 1; step <= 10; ++step) {
        QTest::qWait(8);
        QTest::touchEvent(rows, TouchScreen()).move(0, from - QPoint(0, 60 * step), rows);
    }
    QTest::touchEvent(rows, TouchScreen()).release(0, from - QPoint(0, 600), rows);
    return Pump([&] { return QScroller::scroller(rows)->state() == QScroller::Inactive; }, 60s);
}

void Flick(benchmark::State& state, QAbstractItemView& list) {
    std::vector<double> frames;
    const int top = list.verticalScrollBar()->value();
    for (auto _ : state) {
        App().Measure(true);
        for (int flick = 0; flick < kFlicks; ++flick) {
            if (!FlickOnce(list)) {
                App().Measure(false);
                state.SkipWithError("the list never stopped");
                return;
            }
        }
        App().Measure(false);
        const std::vector<double> some = App().TakeFrames();
        frames.insert(frames.end(), some.begin(), some.end());
    }
    if (frames.empty()) {
        state.SkipWithError("no frame was drawn");
        return;
    }
    std::sort(frames.begin(), frames.end());
    const auto at = [&](double share) {
        return frames[std::min(frames.size() - 1, static_cast<std::size_t>(share * frames.size()))];
    };
    state.counters["frame_p50_ms"] = at(0.50);
    state.counters["frame_p99_ms"] = at(0.99);
    state.counters["frame_max_ms"] = frames.back();
    state.counters["frames"] = static_cast<double>(frames.size());
    state.counters["rows_scrolled"] =
        (list.verticalScrollBar()->value() - top) / std::max(list.sizeHintForRow(0), 1);
    state.counters["list_height"] = list.viewport()->height();
}

void BM_FlickQueueThroughTheWindow(benchmark::State& state) {
    // The server in a process of its own, so the figures are the window's.
    Process server({VANTOR_SERVER_PATH, "--bind", "127.0.0.1", "--port", "0", "--discovery-port",
                    "0", "--media-port", "0", "--songs", std::to_string(kSongs), "--queue",
                    std::to_string(kSongs)});
    if (!server.WaitForOutput(" songs\n", 60s)) {
        state.SkipWithError("no server");
        return;
    }
    unsigned port = 0, discovery = 0, media = 0;
    const std::string output = server.Output();
    std::sscanf(output.c_str() + output.find("127.0.0.1:"),
                "127.0.0.1:%u (discovery on UDP %u), media on %u", &port, &discovery, &media);

    const std::filesystem::path dir = std::filesystem::temp_directory_path() / "vantor-flick-bench";
    std::filesystem::create_directories(dir);
    RegistryStore store((dir / "settings.reg").string());
    store.CreateKey(kSettingsKey);
    store.SetString(kSettingsKey, "InstallDir", VANTOR_SOURCE_DIR "/");
    store.SetDword(kSettingsKey, "AutoConnect", 1);
    store.Save();

    NoPrompts prompts;
    ui::FrameOptions options;
    options.configPath = (dir / "settings.reg").string();
    options.screen = kScreen;
    options.server = "127.0.0.1";
    options.port = static_cast<std::uint16_t>(port);
    options.mediaPort = static_cast<std::uint16_t>(media);
    options.dataDir = (dir / "data").string();
    ui::FrameServices services;
    services.prompter = &prompts;
    services.addresses = std::make_shared<FixedAddress>();
    services.quit = [](int) {};
    ui::CMainFrame frame(options, services);
    frame.Create();
    frame.show();
    if (!Pump([&] { return frame.Screen() == "main"; })) {
        state.SkipWithError("no session");
        return;
    }
    frame.Command(ui::WindowCommand::Library);
    frame.Library().ShowMode(ui::LibraryScreen::Mode::Queue);
    auto& queue = const_cast<ui::PlayQueueList&>(frame.Queue());
    if (!Pump([&] { return queue.RowCount() == kSongs && !queue.RowText(0).empty(); })) {
        state.SkipWithError("the queue did not come");
        return;
    }
    // From the middle, just short of a page's end: the flicks run into rows
    // whose pages are fetched as they come.
    const int start = kSongs / 2 - 500;
    queue.scrollTo(queue.model()->index(start, 0), QAbstractItemView::PositionAtTop);
    if (!Pump([&] { return !queue.RowText(start).empty(); })) {
        state.SkipWithError("the middle of the queue did not come");
        return;
    }
    Flick(state, queue);
    state.counters["pages_fetched"] = queue.PagesFetched();
    frame.Command(ui::WindowCommand::Exit);
}

void BM_FlickPlainList(benchmark::State& state) {
    QStringList titles;
    titles.reserve(kSongs);
    for (int i = 0; i < kSongs; ++i) {
        titles.push_back(QStringLiteral("Song number %1").arg(i));
    }
    QStringListModel model(titles);
    QListView list;
    list.setModel(&model);
    list.setUniformItemSizes(true);
    list.setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    QScroller::grabGesture(list.viewport(), QScroller::TouchGesture);
    list.resize(kScreen);
    list.show();
    Pump([&] { return list.windowHandle() && list.windowHandle()->isExposed(); });
    Flick(state, list);
}

BENCHMARK(BM_FlickQueueThroughTheWindow)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FlickPlainList)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace vantor

int main(int argc, char** argv) {
    // Qt's offscreen screen is 800 x 800 and a finger off the screen reaches
    // no window: a screen of the phone's size.
    const QByteArray platform = qgetenv("QT_QPA_PLATFORM");
    if (platform.isEmpty() || platform == "offscreen") {
        const std::string config =
            (std::filesystem::temp_directory_path() / "vantor-flick-screen.json").string();
        std::FILE* file = std::fopen(config.c_str(), "w");
        if (file != nullptr) {
            std::fprintf(file,
                         R"({"screens": [{"name": "phone", "x": 0, "y": 0, "width": %d, )"
                         R"("height": %d, "logicalDpi": 96, "logicalBaseDpi": 96, "dpr": 1}]})",
                         vantor::kScreen.width(), vantor::kScreen.height() + 200);
            std::fclose(file);
        }
        qputenv("QT_QPA_PLATFORM", ("offscreen:configfile=" + config).c_str());
    }
    vantor::TimedApplication application(argc, argv);
    QApplication::setStyle(QStringLiteral("Fusion"));
    vantor::bench::CompareCounter("BM_FlickQueueThroughTheWindow/iterations:1",
                                  "BM_FlickPlainList/iterations:1", "frame_p99_ms");
    return vantor::bench::Main(argc, argv);
}
