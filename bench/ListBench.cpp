// Scrolling a play queue of 100 000 songs from end to end through the real
// window's list (offscreen), its pages fetched from vantor-server as they
// come into view, against the same scroll through a plain list of the same
// rows held in memory, in the same run.
//
// Each step moves 500 rows on, waits until the rows in view are there, and
// paints the list once: the step's time is what a user scrolling page by
// page waits; the paint's own time gives the frames per second the list
// draws at. The window's peak resident size is read before the plain list
// is built.

#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QListView>
#include <QStringListModel>
#include <QWindow>
#include <filesystem>
#include <thread>

#include "media/MediaService.h"
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
constexpr int kStep = 500;

double PeakRssMb() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

// Scrolls the list from top to bottom, `kStep` rows a step; `ready` says
// whether the rows in view are there. Reports the paint rate.
void Scroll(benchmark::State& state, QListView& list, const std::function<bool(int)>& ready) {
    double paintSeconds = 0;
    int frames = 0;
    for (auto _ : state) {
        for (int row = 0; row < list.model()->rowCount(); row += kStep) {
            list.scrollTo(list.model()->index(row, 0), QAbstractItemView::PositionAtTop);
            if (!Pump([&] { return ready(row); })) {
                state.SkipWithError("the rows never came");
                return;
            }
            QElapsedTimer paint;
            paint.start();
            list.viewport()->repaint();
            paintSeconds += static_cast<double>(paint.nsecsElapsed()) / 1e9;
            ++frames;
        }
    }
    state.counters["paint_fps"] = frames / paintSeconds;
    state.counters["steps"] = frames;
}

void BM_ScrollQueueThroughTheWindow(benchmark::State& state) {
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

    const std::filesystem::path dir = std::filesystem::temp_directory_path() / "vantor-list-bench";
    std::filesystem::create_directories(dir);
    RegistryStore store((dir / "settings.reg").string());
    store.CreateKey(kSettingsKey);
    store.SetString(kSettingsKey, "InstallDir", VANTOR_SOURCE_DIR "/");
    store.SetDword(kSettingsKey, "AutoConnect", 1);
    store.Save();

    NoPrompts prompts;
    ui::FrameOptions options;
    options.configPath = (dir / "settings.reg").string();
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
    if (!Pump([&] { return queue.RowCount() == kSongs; })) {
        state.SkipWithError("the queue did not come");
        return;
    }
    Scroll(state, queue, [&](int row) { return !queue.RowText(row).empty(); });
    state.counters["pages_fetched"] = queue.PagesFetched();
    state.counters["peak_rss_mb"] = PeakRssMb();
    frame.Command(ui::WindowCommand::Exit);
}

void BM_ScrollPlainList(benchmark::State& state) {
    QStringList titles;
    titles.reserve(kSongs);
    for (int i = 0; i < kSongs; ++i) {
        titles.push_back(QStringLiteral("Song number %1").arg(i));
    }
    QStringListModel model(titles);
    QListView list;
    list.setModel(&model);
    list.setUniformItemSizes(true);
    list.resize(480, 560);
    list.show();
    Pump([&] { return list.windowHandle() && list.windowHandle()->isExposed(); });
    Scroll(state, list, [](int) { return true; });
}

BENCHMARK(BM_ScrollQueueThroughTheWindow)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ScrollPlainList)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace vantor

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication application(argc, argv);
    QApplication::setStyle(QStringLiteral("Fusion"));
    vantor::bench::CompareTo("BM_ScrollQueueThroughTheWindow/iterations:1",
                             "BM_ScrollPlainList/iterations:1");
    vantor::bench::CompareCounter("BM_ScrollQueueThroughTheWindow/iterations:1",
                                  "BM_ScrollPlainList/iterations:1", "paint_fps");
    return vantor::bench::Main(argc, argv);
}
