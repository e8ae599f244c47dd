// How soon a screen reader hears what the player did: the real window on a
// display of its own with Qt's AT-SPI bridge on, the assistive technology
// bus, and a reader process built as Orca is (python3 with pyatspi). Each
// figure runs from the server's loop handing the change to the wire to the
// reader's callback for it, both stamped with CLOCK_MONOTONIC:
//
//   song     Next on the player until the reader is told the title line's
//            new name (the client shows the title from the event itself);
//   volume   the player's volume set until the reader is told the volume
//            slider's new value.
//
// p50_ms and p99_ms are over the run's iterations (a frame is 16.7 ms);
// bus_p50_ms and bus_p99_ms the same until a plain Gio subscription in the
// reader sees the signal, on a connection of its own and apart from
// libatspi; Gio reads on a worker thread and hands the signal to the main
// loop, so this one may come after the reader's callback.
// Run under dbus-run-session (the suite does); skipped, saying what is
// missing, without a session bus, Xvfb, at-spi2-core or python3-pyatspi.

#include <benchmark/benchmark.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "BenchServer.h"
#include "session/RegistryStore.h"
#include "session/Settings.h"
#include "support/BenchReport.h"
#include "support/Process.h"

namespace vantor {
namespace {

using namespace std::chrono_literals;
using testing::Process;

// Prints one line per event it hears: "<kind>\t<ns>\t<what>", the time
// taken first, before the reader asks the window anything. Beside the
// reader's own callbacks ("name", "value": what Orca gets), the same signals
// as they arrive on the assistive technology bus ("bus"), so that the time
// Qt's bridge takes and the time the reader's library takes show apart.
constexpr const char* kReader = R"py(
import sys, time
import pyatspi
from gi.repository import Gio, GLib

def heard(event):
    at = time.monotonic_ns()
    kind = "name" if event.type.endswith("accessible-name") else "value"
    try:
        what = event.source.name
    except Exception:
        what = ""
    print("%s\t%d\t%s" % (kind, at, str(what).replace("\n", " ")), flush=True)

def on_bus(connection, sender, path, interface, member, parameters):
    at = time.monotonic_ns()
    print("bus\t%d\t%s" % (at, parameters.unpack()[0]), flush=True)

session = Gio.bus_get_sync(Gio.BusType.SESSION, None)
address = session.call_sync("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress",
                            None, GLib.VariantType.new("(s)"), 0, -1, None).unpack()[0]
bus = Gio.DBusConnection.new_for_address_sync(
    address, Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT |
    Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION, None, None)
bus.signal_subscribe(None, "org.a11y.atspi.Event.Object", "PropertyChange", None, None, 0,
                     on_bus)

pyatspi.Registry.registerEventListener(
    heard, "object:property-change:accessible-name",
    "object:property-change:accessible-value")

def find():
    desktop = pyatspi.Registry.getDesktop(0)
    for i in range(desktop.childCount):
        app = desktop.getChildAtIndex(i)
        if app is not None and app.get_process_id() == int(sys.argv[1]):
            return app
    return None

end = time.monotonic() + 20
while find() is None and time.monotonic() < end:
    time.sleep(0.05)
print("ready" if find() is not None else "no window", flush=True)
# Orca starts the registry with gil=False. The default adds an idle callback
# that sleeps 10 ms on every turn of the loop (for other python threads,
# which neither has): a signal then waits out the sleep in progress before
# Gio hands it over, and libatspi's deferred event, queued at the same idle
# priority, a second sleep before the callback.
pyatspi.Registry.start(gil=False)
)py";

double MonotonicNs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

bool Installed(const char* path) {
    return access(path, X_OK) == 0;
}

// The window, its reader and everything they need, once per run.
class ReaderRig {
public:
    static ReaderRig& Instance() {
        static ReaderRig rig;
        return rig;
    }
    const std::string& Why() const { return why_; }
    testing::SimulatedServer& Server() { return *server_; }
    Process& Reader() { return *reader_; }

    ~ReaderRig() {
        // Ended in the order they were started, the bus's launcher asked to
        // go so that it takes its bus along.
        reader_.reset();
        client_.reset();
        if (launcher_) {
            launcher_->Signal(SIGTERM);
            launcher_->Wait(5s);
            launcher_.reset();
        }
        if (display_) {
            display_->Signal(SIGTERM);  // it takes its lock and socket away
            display_->Wait(5s);
            display_.reset();
        }
        if (server_) {
            server_->Stop();
        }
        std::error_code ignored;
        std::filesystem::remove_all(dir_, ignored);
    }

private:
    ReaderRig() {
        const char* launcher = "/usr/libexec/at-spi-bus-launcher";
        if (std::getenv("DBUS_SESSION_BUS_ADDRESS") == nullptr) {
            why_ = "no session bus (run under dbus-run-session)";
        } else if (!Installed("/usr/bin/Xvfb")) {
            why_ = "Xvfb is not installed (Debian package xvfb)";
        } else if (!Installed(launcher)) {
            why_ = "at-spi-bus-launcher is not installed (Debian package at-spi2-core)";
        } else if (Process({"/usr/bin/python3", "-c", "import pyatspi"}).Wait() != 0) {
            why_ = "pyatspi is not installed (Debian package python3-pyatspi)";
        }
        if (!why_.empty()) {
            return;
        }
        std::string pattern =
            (std::filesystem::temp_directory_path() / "vantor-reader-XXXXXX").string();
        dir_ = mkdtemp(pattern.data());

        // Xvfb picks a free display and writes its number once it takes
        // connections.
        display_ = std::make_unique<Process>(std::vector<std::string>{
            "/usr/bin/Xvfb", "-displayfd", "1", "-screen", "0", "800x800x24", "-nolisten", "tcp"});
        std::string number;
        const auto deadline = std::chrono::steady_clock::now() + 10s;
        while (number.empty() && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(10ms);
            const std::string& output = display_->Output();
            for (std::size_t at = 0; at < output.size();) {
                const std::size_t end = output.find('\n', at);
                if (end == std::string::npos) {
                    break;
                }
                const std::string line = output.substr(at, end - at);
                if (!line.empty() && line.find_first_not_of("0123456789") == std::string::npos) {
                    number = line;
                }
                at = end + 1;
            }
        }
        if (number.empty()) {
            why_ = "Xvfb did not start: " + display_->Output();
            return;
        }
        const std::string display = ":" + number;
        setenv("DISPLAY", display.c_str(), 1);
        launcher_ =
            std::make_unique<Process>(std::vector<std::string>{launcher, "--launch-immediately"});

        testing::SimulatedOptions options = bench::QuietServerOptions(200, true);
        options.startPlaying = true;
        server_ = std::make_unique<testing::SimulatedServer>(options);
        server_->Start();
        const std::string settings = (dir_ / "settings.reg").string();
        RegistryStore store(settings);
        store.CreateKey(kSettingsKey);
        store.SetString(kSettingsKey, "InstallDir", VANTOR_SOURCE_DIR "/");
        store.SetDword(kSettingsKey, "AutoConnect", 1);
        store.Save();
        setenv("QT_QPA_PLATFORM", "xcb", 1);
        setenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1", 1);
        client_ = std::make_unique<Process>(std::vector<std::string>{
            VANTOR_PATH, "--config", settings, "--server", "127.0.0.1", "--port",
            std::to_string(server_->Port()), "--media-port", std::to_string(server_->MediaPort()),
            "--broadcast", "127.0.0.1", "--log-level", "3", "--geometry", "480x640"});
        if (!client_->WaitForOutput("title shown", 15s)) {
            why_ = "the window showed no title: " + client_->Output();
            return;
        }
        const std::string script = (dir_ / "reader.py").string();
        std::ofstream(script) << kReader;
        reader_ = std::make_unique<Process>(
            std::vector<std::string>{"/usr/bin/python3", script, std::to_string(client_->Pid())});
        if (!reader_->WaitForOutput("ready", 25s)) {
            why_ = "the reader found no window on the bus: " + reader_->Output();
        }
    }

    std::string why_;
    std::filesystem::path dir_;
    std::unique_ptr<Process> display_;
    std::unique_ptr<Process> launcher_;
    std::unique_ptr<testing::SimulatedServer> server_;
    std::unique_ptr<Process> client_;
    std::unique_ptr<Process> reader_;
};

// The time of the first line of `kind` after `from` in the reader's output
// whose text holds `what`, or -1.
double HeardNs(Process& reader, std::size_t from, const std::string& kind, const std::string& what,
               std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    do {
        const std::string& output = reader.Output();
        std::size_t line = from;
        while (line < output.size()) {
            const std::size_t end = output.find('\n', line);
            if (end == std::string::npos) {
                break;
            }
            const std::string text = output.substr(line, end - line);
            line = end + 1;
            const std::size_t tab = text.find('\t');
            const std::size_t tab2 = text.find('\t', tab + 1);
            if (tab == std::string::npos || tab2 == std::string::npos ||
                text.compare(0, tab, kind) != 0 || text.find(what, tab2) == std::string::npos) {
                continue;
            }
            return std::atof(text.c_str() + tab + 1);
        }
        std::this_thread::sleep_for(1ms);
    } while (std::chrono::steady_clock::now() < deadline);
    return -1;
}

void Percentiles(benchmark::State& state, const std::string& prefix, std::vector<double> ms) {
    if (ms.empty()) {
        return;
    }
    std::sort(ms.begin(), ms.end());
    const auto at = [&](double share) {
        return ms[std::min(ms.size() - 1, static_cast<std::size_t>(share * ms.size()))];
    };
    state.counters[prefix + "p50_ms"] = at(0.5);
    state.counters[prefix + "p99_ms"] = at(0.99);
}

// `change` runs on the server's loop and says what the reader should hear.
using Change = std::function<std::string(server::PlayerBackend&, server::Events&)>;

void Measure(benchmark::State& state, const std::string& kind, const Change& change) {
    ReaderRig& rig = ReaderRig::Instance();
    if (!rig.Why().empty()) {
        state.SkipWithError(rig.Why().c_str());
        return;
    }
    std::vector<double> ms;
    std::vector<double> busMs;
    for (auto _ : state) {
        std::this_thread::sleep_for(50ms);  // the last change's echoes die down
        const std::size_t from = rig.Reader().Output().size();
        auto sent = std::make_shared<std::promise<std::pair<std::string, double>>>();
        auto told = sent->get_future();
        rig.Server().Post([&change, sent](server::PlayerBackend& player, server::Events& events) {
            std::string what = change(player, events);
            // The loop writes the events out as soon as this returns.
            sent->set_value({std::move(what), MonotonicNs()});
        });
        const auto [what, at] = told.get();
        const double heard = HeardNs(rig.Reader(), from, kind, what, 5s);
        if (heard < 0) {
            state.SkipWithError(("the reader never heard " + kind + " " + what + ": " +
                                 rig.Reader().Output().substr(from))
                                    .c_str());
            return;
        }
        const double took = (heard - at) / 1e6;
        const double onBus = HeardNs(rig.Reader(), from, "bus",
                                     kind == "name" ? "accessible-name" : "accessible-value", 0ms);
        if (onBus >= 0) {
            busMs.push_back((onBus - at) / 1e6);
        }
        ms.push_back(took);
        state.SetIterationTime(took / 1000.0);
    }
    Percentiles(state, "", std::move(ms));
    Percentiles(state, "bus_", std::move(busMs));
}

void BM_SongChangeToReader(benchmark::State& state) {
    Measure(state, "name", [](server::PlayerBackend& player, server::Events& events) {
        player.Transport(server::TransportCommand::Next, events);
        const server::PlayerStatus status = player.Status();
        return status.current ? status.current->title : std::string();
    });
}

void BM_VolumeChangeToReader(benchmark::State& state) {
    Measure(state, "value", [](server::PlayerBackend& player, server::Events& events) {
        player.SetVolume(player.Status().volume == 30 ? 70 : 30, events);
        return std::string("Volume");
    });
}

BENCHMARK(BM_SongChangeToReader)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_VolumeChangeToReader)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace vantor

VANTOR_BENCHMARK_MAIN()
