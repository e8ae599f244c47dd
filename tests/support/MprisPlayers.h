#pragma once

// Real desktop media players for tests of the MPRIS backend, on the session
// bus the test runs on: mpv with its MPRIS plugin (headless: no video, a
// null audio output) and VLC with its D-Bus control, each playing a
// playlist of tagged FLAC files made from silence, with a cover picture
// beside them. Each player is a child of the test, stopped (SIGTERM, then
// reaped) with its object.
//
// These suites run only on a session bus of their own: CTest starts them
// under dbus-run-session, and OnPrivateBus() tells a test started any other
// way to skip rather than touch the machine's bus.

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/MpdInstance.h"  // FindProgram
#include "support/Process.h"
#include "support/Wav.h"
#include "support/Wait.h"

namespace vantor::testing {

inline constexpr char kMpvMprisPlugin[] = "/usr/lib/mpv-mpris/mpris.so";

// The session bus is the test's own: dbus-run-session started it.
inline bool OnPrivateBus() {
    std::error_code error;
    const std::filesystem::path parent =
        std::filesystem::read_symlink("/proc/" + std::to_string(::getppid()) + "/exe", error);
    return !error && parent.filename() == "dbus-run-session" &&
           std::getenv("DBUS_SESSION_BUS_ADDRESS") != nullptr;
}

// The MPRIS players on the bus, as playerctl names them ("mpv",
// "mpv.instance4711", "vlc").
inline std::vector<std::string> BusPlayers() {
    Process list({FindProgram("playerctl"), "--list-all"});
    list.Wait();
    std::vector<std::string> names;
    std::string output = list.Output();
    std::size_t start = 0;
    while (start < output.size()) {
        const std::size_t end = std::min(output.find('\n', start), output.size());
        if (end > start && output.compare(start, 8, "No playe") != 0) {
            names.push_back(output.substr(start, end - start));
        }
        start = end + 1;
    }
    return names;
}

// playerctl's answer about one player, without the line's end.
inline std::string Playerctl(const std::string& player, std::vector<std::string> arguments) {
    std::vector<std::string> command = {FindProgram("playerctl"), "--player=" + player};
    command.insert(command.end(), arguments.begin(), arguments.end());
    Process ctl(command);
    ctl.Wait();
    std::string output = ctl.Output();
    while (!output.empty() && (output.back() == '\n' || output.back() == '\r')) {
        output.pop_back();
    }
    return output;
}

struct TestSong {
    const char* file;
    const char* artist;
    const char* album;
    const char* title;
};

// FLAC files of 30 s of silence with their tags, an M3U playlist of them in
// `folder`/list.m3u, and `cover` (when not empty) as cover.png beside the
// first song. False when flac failed.
inline bool WriteMusic(const std::filesystem::path& folder, const std::vector<TestSong>& songs,
                       const std::string& cover, std::string* error) {
    const std::string flac = FindProgram("flac");
    const std::filesystem::path wav = folder / "silence.wav";
    WriteSilentWav(wav, 30);
    std::ofstream list(folder / "list.m3u");
    for (const TestSong& song : songs) {
        const std::filesystem::path file = folder / "music" / song.file;
        std::filesystem::create_directories(file.parent_path());
        Process encode({flac, "--silent", "--force", "-o", file.string(),
                        std::string("--tag=ARTIST=") + song.artist,
                        std::string("--tag=ALBUM=") + song.album,
                        std::string("--tag=TITLE=") + song.title, wav.string()});
        if (encode.Wait() != 0) {
            *error = encode.Output();
            return false;
        }
        list << file.string() << "\n";
    }
    if (!cover.empty() && !songs.empty()) {
        const auto at = (folder / "music" / songs[0].file).parent_path() / "cover.png";
        std::ofstream(at, std::ios::binary) << cover;
    }
    return true;
}

// mpv, headless, with the MPRIS plugin, paused on the playlist's first song;
// its JSON IPC socket lets a test read what mpv itself says.
class Mpv {
public:
    static bool Available() {
        return !FindProgram("mpv").empty() && ::access(kMpvMprisPlugin, R_OK) == 0;
    }

    Mpv(const std::filesystem::path& playlist, std::filesystem::path socket)
        : playlist_(playlist), socket_(std::move(socket)) {}
    ~Mpv() { Stop(); }

    // Starts mpv and waits until its name is on the bus (one more player
    // than before).
    bool Start() {
        const std::size_t before = BusPlayers().size();
        process_ = std::make_unique<Process>(std::vector<std::string>{
            FindProgram("mpv"), "--no-config", std::string("--script=") + kMpvMprisPlugin,
            "--no-video", "--ao=null", "--idle=yes", "--pause", "--no-terminal",
            "--input-ipc-server=" + socket_.string(), "--playlist=" + playlist_.string()});
        return process_->Started() &&
               WaitUntil([&] { return BusPlayers().size() > before; }, std::chrono::seconds(10)) &&
               WaitUntil([&] { return !Get("metadata/by-key/title").empty(); },
                         std::chrono::seconds(10));
    }
    void Stop() {
        if (process_) {
            process_->Signal(SIGTERM);
            process_->Wait();
            process_.reset();
        }
    }
    pid_t Pid() const { return process_ ? process_->Pid() : -1; }

    // Sets a property as if a person had changed it in mpv itself.
    void Set(const std::string& property, const std::string& json) const {
        Command("{\"command\":[\"set_property\",\"" + property + "\"," + json + "]}\n");
    }

    // A property as mpv's IPC gives it ("70.000000", "true", "\"Night\""); empty
    // when mpv does not answer.
    std::string Get(const std::string& property) const {
        const std::string answer =
            Command("{\"command\":[\"get_property\",\"" + property + "\"]}\n");
        // {"data":VALUE,"request_id":0,"error":"success"}
        const std::size_t data = answer.find("\"data\":");
        const std::size_t end = answer.find(",\"request_id\"");
        if (data == std::string::npos || end == std::string::npos || end < data) {
            return {};
        }
        return answer.substr(data + 7, end - data - 7);
    }

private:
    // One IPC command and mpv's answer line.
    std::string Command(const std::string& request) const {
        const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, socket_.c_str(), sizeof address.sun_path - 1);
        std::string answer;
        if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
            (void)!::write(fd, request.data(), request.size());
            timeval wait{2, 0};
            ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
            char buffer[4096];
            ssize_t size;
            while (answer.find('\n') == std::string::npos &&
                   (size = ::read(fd, buffer, sizeof buffer)) > 0) {
                answer.append(buffer, static_cast<std::size_t>(size));
            }
        }
        ::close(fd);
        return answer;
    }

    std::filesystem::path playlist_;
    std::filesystem::path socket_;
    std::unique_ptr<Process> process_;
};

// A session bus that more than one user may join, for a player that has to
// run as another user than the test: dbus-run-session's bus admits only
// its own uid. A dbus-daemon of the test's own, from a generated session
// configuration that admits everyone, listening on a socket in `folder`;
// while it runs, DBUS_SESSION_BUS_ADDRESS names it, so the server under
// test, playerctl and the player all meet there. Stopped by its pid, and
// the address before it put back, with the object.
class SharedBus {
public:
    static std::string Unavailable() {
        return FindProgram("dbus-daemon").empty() ? "dbus-daemon is not installed" : "";
    }

    explicit SharedBus(std::filesystem::path folder) : folder_(std::move(folder)) {}
    ~SharedBus() { Stop(); }

    bool Start() {
        std::filesystem::create_directories(folder_);
        std::filesystem::permissions(folder_, std::filesystem::perms(0755));
        const std::filesystem::path config = folder_ / "bus.conf";
        const std::string address = "unix:path=" + (folder_ / "socket").string();
        std::ofstream(config)
            << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration "
               "1.0//EN\"\n"
               " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
               "<busconfig>\n"
               "  <type>session</type>\n"
               "  <listen>"
            << address
            << "</listen>\n"
               "  <auth>EXTERNAL</auth>\n"
               "  <policy context=\"default\">\n"
               "    <allow user=\"*\"/>\n"
               "    <allow own=\"*\"/>\n"
               "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
               "    <allow eavesdrop=\"true\"/>\n"
               "  </policy>\n"
               "</busconfig>\n";
        daemon_ = std::make_unique<Process>(std::vector<std::string>{
            FindProgram("dbus-daemon"), "--config-file=" + config.string(), "--nofork"});
        if (!daemon_->Started() ||
            !WaitUntil([&] { return std::filesystem::exists(folder_ / "socket"); },
                       std::chrono::seconds(10))) {
            return false;
        }
        if (const char* before = std::getenv("DBUS_SESSION_BUS_ADDRESS")) {
            saved_ = before;
        }
        ::setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
        return true;
    }
    void Stop() {
        if (daemon_) {
            if (saved_) {
                ::setenv("DBUS_SESSION_BUS_ADDRESS", saved_->c_str(), 1);
            } else {
                ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
            }
            daemon_->Signal(SIGTERM);
            daemon_->Wait();
            daemon_.reset();
        }
    }
    std::string Output() { return daemon_ ? daemon_->Output() : std::string(); }

private:
    std::filesystem::path folder_;
    std::unique_ptr<Process> daemon_;
    std::optional<std::string> saved_;
};

// VLC without its interface, with its D-Bus control. VLC refuses to run as
// root, so a test running as root starts it as `nobody` (setpriv) with a
// home of its own under `folder`; the music has to be readable by that
// user, and the bus one it may join (a SharedBus).
class Vlc {
public:
    static constexpr uid_t kUser = 65534;  // nobody
    static constexpr gid_t kGroup = 65534;

    static bool AsOtherUser() { return ::geteuid() == 0; }

    static std::string Unavailable() {
        if (FindProgram("cvlc").empty() || !HasDbusControl()) {
            return "cvlc or its D-Bus control is not installed (scripts/install-deps installs "
                   "vlc-bin and vlc-plugin-base)";
        }
        if (AsOtherUser() && FindProgram("setpriv").empty()) {
            return "VLC refuses to run as root, and setpriv (util-linux) is not installed to "
                   "start it as another user";
        }
        if (AsOtherUser()) {
            return SharedBus::Unavailable();
        }
        return {};
    }

    Vlc(std::vector<std::string> files, std::filesystem::path folder)
        : files_(std::move(files)), folder_(std::move(folder)) {}
    ~Vlc() { Stop(); }

    // Starts VLC paused on the first file and waits until its name is on
    // the bus (one more player than before).
    bool Start() {
        const std::size_t before = BusPlayers().size();
        std::vector<std::string> command;
        if (AsOtherUser()) {
            const std::filesystem::path home = folder_ / "vlc-home";
            std::filesystem::create_directories(home);
            if (::chown(home.c_str(), kUser, kGroup) != 0) {
                return false;
            }
            std::filesystem::permissions(home, std::filesystem::perms(0700));
            command = {FindProgram("setpriv"),
                       "--reuid=" + std::to_string(kUser),
                       "--regid=" + std::to_string(kGroup),
                       "--clear-groups",
                       FindProgram("env"),
                       "HOME=" + home.string(),
                       "XDG_CONFIG_HOME=" + (home / ".config").string(),
                       "XDG_CACHE_HOME=" + (home / ".cache").string(),
                       "XDG_DATA_HOME=" + (home / ".local/share").string(),
                       "XDG_RUNTIME_DIR=" + home.string()};
        }
        // Paused rather than not started: VLC lists no tracks before it
        // has started its playlist.
        const std::vector<std::string> vlc = {FindProgram("cvlc"), "--control", "dbus",
                                              "--no-video",        "-A",        "dummy",
                                              "--start-paused"};
        command.insert(command.end(), vlc.begin(), vlc.end());
        command.insert(command.end(), files_.begin(), files_.end());
        process_ = std::make_unique<Process>(command);
        return process_->Started() &&
               WaitUntil([&] { return BusPlayers().size() > before; }, std::chrono::seconds(15));
    }
    void Stop() {
        if (process_) {
            process_->Signal(SIGTERM);
            process_->Wait();
            process_.reset();
        }
    }
    std::string Output() { return process_ ? process_->Output() : std::string(); }

private:
    // vlc-plugin-base's D-Bus control module, wherever the multiarch
    // library folder is.
    static bool HasDbusControl() {
        std::error_code error;
        for (const auto& entry : std::filesystem::directory_iterator("/usr/lib", error)) {
            if (::access((entry.path() / "vlc/plugins/control/libdbus_plugin.so").c_str(), R_OK) ==
                0) {
                return true;
            }
        }
        return ::access("/usr/lib/vlc/plugins/control/libdbus_plugin.so", R_OK) == 0;
    }

    std::vector<std::string> files_;
    std::filesystem::path folder_;
    std::unique_ptr<Process> process_;
};

}  // namespace vantor::testing
