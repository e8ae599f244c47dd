// The window as a user's machine sees it, each figure beside a bare Qt
// Widgets window (an empty QMainWindow) measured in the same run:
//
//   start-up   the program started until its window first paints, and until
//              the playing title shows on the main screen, against the
//              bare window's first paint;
//   idle CPU   the share of one core the client takes while a song plays
//              and nobody touches it (its 30 ms animation step, the
//              position thread, the network watch and the server's
//              position events all included);
//   memory     the peak resident size over a session that visits every
//              screen (the tour);
//   click      a tap on a skinned button until the server has the request,
//              against the same request sent without the window.
//
// The programs run on Qt's offscreen platform against vantor-server in
// this process on loopback. VANTOR_BENCH_IDLE_SECONDS sets the idle
// measurement's length (10 s by default).

#include <benchmark/benchmark.h>
#include <dirent.h>
#include <time.h>

#include <QApplication>
#include <QMainWindow>
#include <QMouseEvent>
#include <QPaintEvent>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "BenchServer.h"
#include "protocol/Messages.h"
#include "session/ConnectionManager.h"
#include "session/RegistryStore.h"
#include "session/Settings.h"
#include "support/BenchReport.h"
#include "support/Process.h"
#include "support/WindowDoubles.h"
#include "ui/window/CMainFrame.h"

namespace vantor {
namespace {

using namespace std::chrono_literals;
using bench::FixedAddress;
using bench::NoPrompts;
using bench::Pump;
using testing::Process;

double MonotonicMs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1000.0 + static_cast<double>(now.tv_nsec) / 1e6;
}

// The time a program printed for a milestone ("<what> at <ms> ms").
double MilestoneMs(const std::string& output, const std::string& what) {
    const std::size_t at = output.find(what + " at ");
    return at == std::string::npos ? -1 : std::atof(output.c_str() + at + what.size() + 4);
}

// CPU time all of a process's threads have used, in nanoseconds.
double CpuNs(pid_t pid) {
    const std::string tasks = "/proc/" + std::to_string(pid) + "/task";
    double total = 0;
    DIR* folder = opendir(tasks.c_str());
    if (folder == nullptr) {
        return -1;
    }
    while (const dirent* entry = readdir(folder)) {
        if (entry->d_name[0] == '.') {
            continue;
        }
        std::ifstream stat(tasks + "/" + entry->d_name + "/schedstat");
        double ns = 0;
        if (stat >> ns) {
            total += ns;
        }
    }
    closedir(folder);
    return total;
}

std::chrono::seconds IdleSeconds() {
    const char* text = std::getenv("VANTOR_BENCH_IDLE_SECONDS");
    return std::chrono::seconds(text ? std::max(std::atoi(text), 1) : 10);
}

// vantor-server playing, and a settings file for a client of it.
class Session {
public:
    Session() {
        server::ServerOptions options = bench::QuietServerOptions(2000, true);
        options.tick = 1s;  // a song plays: position events every second
        options.startPlaying = true;
        server_ = std::make_unique<server::MessageServer>(options);
        server_->Start();
        std::string pattern =
            (std::filesystem::temp_directory_path() / "vantor-bench-XXXXXX").string();
        dir_ = mkdtemp(pattern.data());
        // The clients stay off the machine's session bus.
        setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + (dir_ / "no-bus").string()).c_str(), 1);
        RegistryStore store(Settings());
        store.CreateKey(kSettingsKey);
        store.SetString(kSettingsKey, "InstallDir", VANTOR_SOURCE_DIR "/");
        store.SetDword(kSettingsKey, "AutoConnect", 1);
        store.Save();
    }
    ~Session() {
        server_->Stop();
        std::error_code ignored;
        std::filesystem::remove_all(dir_, ignored);
    }

    std::string Settings() const { return (dir_ / "settings.reg").string(); }
    server::MessageServer& Server() { return *server_; }

    // The client's command line against this server.
    std::vector<std::string> Client(std::vector<std::string> more = {}) const {
        std::vector<std::string> arguments = {VANTOR_PATH,
                                              "--config",
                                              Settings(),
                                              "--server",
                                              "127.0.0.1",
                                              "--port",
                                              std::to_string(server_->Port()),
                                              "--media-port",
                                              std::to_string(server_->MediaPort()),
                                              "--broadcast",
                                              "127.0.0.1",
                                              "--log-level",
                                              "3"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }
    std::filesystem::path Folder() const { return dir_; }

private:
    std::unique_ptr<server::MessageServer> server_;
    std::filesystem::path dir_;
};

std::vector<std::string> BareWindow() {
    char self[4096] = {};
    const ssize_t size = readlink("/proc/self/exe", self, sizeof self - 1);
    return {std::string(self, size > 0 ? static_cast<std::size_t>(size) : 0), "--bare-window"};
}

// The window at a size (a handheld's, a phone's in device pixels).
void BM_StartToTitle(benchmark::State& state, const char* geometry) {
    Session session;
    double mapped = 0;
    double title = 0;
    for (auto _ : state) {
        const double start = MonotonicMs();
        Process client(session.Client({"--geometry", geometry}));
        if (!client.WaitForOutput("title shown", 10s)) {
            state.SkipWithError("the client showed no title");
            return;
        }
        mapped += MilestoneMs(client.Output(), "window mapped") - start;
        const double shown = MilestoneMs(client.Output(), "title shown") - start;
        title += shown;
        state.SetIterationTime(shown / 1000.0);
    }
    const auto runs = static_cast<double>(state.iterations());
    state.counters["mapped_ms"] = mapped / runs;
    state.counters["title_ms"] = title / runs;
}

void BM_BareWindowStart(benchmark::State& state) {
    double mapped = 0;
    for (auto _ : state) {
        const double start = MonotonicMs();
        Process window(BareWindow());
        if (!window.WaitForOutput("window mapped", 10s)) {
            state.SkipWithError("the bare window never painted");
            return;
        }
        const double shown = MilestoneMs(window.Output(), "window mapped") - start;
        mapped += shown;
        state.SetIterationTime(shown / 1000.0);
    }
    state.counters["mapped_ms"] = mapped / static_cast<double>(state.iterations());
}

// The share of a core (in percent) a process takes over the idle time,
// once it has settled.
double IdleCpuPercent(Process& process) {
    std::this_thread::sleep_for(1s);
    const double before = CpuNs(process.Pid());
    const auto start = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(IdleSeconds());
    const double used = CpuNs(process.Pid()) - before;
    const double elapsed =
        std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
    return 100.0 * used / elapsed;
}

void BM_IdleWhilePlaying(benchmark::State& state) {
    Session session;
    for (auto _ : state) {
        Process client(session.Client());
        if (!client.WaitForOutput("title shown", 10s)) {
            state.SkipWithError("the client showed no title");
            return;
        }
        state.counters["cpu_percent"] = IdleCpuPercent(client);
    }
}

void BM_BareWindowIdle(benchmark::State& state) {
    for (auto _ : state) {
        Process window(BareWindow());
        if (!window.WaitForOutput("window mapped", 10s)) {
            state.SkipWithError("the bare window never painted");
            return;
        }
        state.counters["cpu_percent"] = IdleCpuPercent(window);
    }
}

void BM_SessionPeakRss(benchmark::State& state) {
    Session session;
    for (auto _ : state) {
        Process client(session.Client({"--tour", (session.Folder() / "tour").string()}));
        if (client.Wait(30s) != 0) {
            state.SkipWithError("the tour failed");
            return;
        }
        state.counters["peak_rss_mb"] = static_cast<double>(client.PeakRssKb()) / 1024.0;
    }
}

void BM_BareWindowPeakRss(benchmark::State& state) {
    for (auto _ : state) {
        Process window(BareWindow());
        window.WaitForOutput("window mapped", 10s);
        window.Signal(SIGTERM);
        window.Wait();
        state.counters["peak_rss_mb"] = static_cast<double>(window.PeakRssKb()) / 1024.0;
    }
}

// --- The click, in this process -----------------------------------------------------

// The server has received one more request than it had.
// Spins (the figure is in microseconds) until the server has counted one
// more request; false when none came within two seconds.
bool AwaitRequest(server::MessageServer& server, int before) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (server.RequestCount() == before) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
    }
    return true;
}

void BM_ClickToServer(benchmark::State& state) {
    Session session;
    NoPrompts prompts;
    ui::FrameOptions options;
    options.configPath = session.Settings();
    options.server = "127.0.0.1";
    options.port = session.Server().Port();
    options.mediaPort = session.Server().MediaPort();
    options.dataDir = (session.Folder() / "data").string();
    ui::FrameServices services;
    services.prompter = &prompts;
    services.addresses = std::make_shared<FixedAddress>();
    services.quit = [](int) {};
    ui::CMainFrame frame(options, services);
    frame.Create();
    frame.show();
    Pump([&] { return frame.Screen() == "main" && !frame.View().Content().songTitle.empty(); });
    QWidget* screen = frame.findChild<QWidget*>(QStringLiteral("Skinned Screen"));
    const QPointF at = frame.View().ComponentRect("play").center();
    for (auto _ : state) {
        const int before = session.Server().RequestCount();
        const auto start = std::chrono::steady_clock::now();
        QMouseEvent press(QEvent::MouseButtonPress, at, screen->mapToGlobal(at), Qt::LeftButton,
                          Qt::LeftButton, Qt::NoModifier);
        QMouseEvent release(QEvent::MouseButtonRelease, at, screen->mapToGlobal(at), Qt::LeftButton,
                            Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(screen, &press);
        QApplication::sendEvent(screen, &release);
        if (!AwaitRequest(session.Server(), before)) {
            state.SkipWithError("the click reached no server");
            break;
        }
        state.SetIterationTime(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        state.PauseTiming();
        QCoreApplication::processEvents();  // the answer and its redraws
        state.ResumeTiming();
    }
    frame.Command(ui::WindowCommand::Exit);
}

void BM_RequestToServer(benchmark::State& state) {
    Session session;
    ConnectionManager manager(std::make_shared<FixedAddress>());
    manager.ConnectToHost("127.0.0.1", session.Server().Port());
    for (auto _ : state) {
        const int before = session.Server().RequestCount();
        const auto start = std::chrono::steady_clock::now();
        if (manager.SendRequest(std::make_unique<PlayRequest>()) != SendResult::Sent ||
            !AwaitRequest(session.Server(), before)) {
            state.SkipWithError("the request reached no server");
            break;
        }
        state.SetIterationTime(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
}

BENCHMARK_CAPTURE(BM_StartToTitle, handheld, "480x640")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);
BENCHMARK_CAPTURE(BM_StartToTitle, phone, "1080x2160")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);
BENCHMARK(BM_BareWindowStart)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_IdleWhilePlaying)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(BM_BareWindowIdle)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(BM_SessionPeakRss)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(BM_BareWindowPeakRss)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(BM_ClickToServer)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RequestToServer)->UseManualTime()->Unit(benchmark::kMicrosecond);

// The baseline program: an empty main window that says when it first
// paints.
class BareWindowContent final : public QWidget {
protected:
    void paintEvent(QPaintEvent*) override {
        if (!told_) {
            told_ = true;
            std::printf("window mapped at %.3f ms\n", MonotonicMs());
            std::fflush(stdout);
        }
    }

private:
    bool told_ = false;
};

int RunBareWindow(int argc, char** argv) {
    QApplication application(argc, argv);
    QMainWindow window;
    window.setCentralWidget(new BareWindowContent);
    window.resize(480, 640);
    window.show();
    return QApplication::exec();
}

}  // namespace
}  // namespace vantor

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    if (argc > 1 && std::strcmp(argv[1], "--bare-window") == 0) {
        return vantor::RunBareWindow(argc, argv);
    }
    QApplication application(argc, argv);
    QApplication::setStyle(QStringLiteral("Fusion"));
    vantor::bench::CompareCounter("BM_StartToTitle/iterations:5", "BM_BareWindowStart/iterations:5",
                                  "mapped_ms");
    vantor::bench::CompareCounter("BM_SessionPeakRss/iterations:1",
                                  "BM_BareWindowPeakRss/iterations:1", "peak_rss_mb");
    vantor::bench::CompareTo("BM_ClickToServer", "BM_RequestToServer");
    return vantor::bench::Main(argc, argv);
}
