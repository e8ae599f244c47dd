// vantor-server: the desktop side of Vantor, over a simulated player, a
// Music Player Daemon or the desktop's media players (MPRIS), with the
// speakers of that player or the rooms of a Snapcast server. The player and
// the rooms are chosen and made here, and handed to the server.

#include <QCoreApplication>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include "MessageServer.h"
#include "MusicFolder.h"
#include "SimulatedBackend.h"
#include "core/Logger.h"
#include "mpd/MpdBackend.h"
#include "mpris/MprisBackend.h"
#include "snapcast/SnapcastRooms.h"

namespace {

using vantor::server::MessageServer;
using vantor::server::ServerOptions;

const char kUsage[] =
    "usage: vantor-server [OPTION...]\n"
    "\n"
    "Serves the Vantor remote control protocol over a simulated player, over a\n"
    "Music Player Daemon with --mpd, or over a desktop media player with --mpris.\n"
    "\n"
    "  --bind ADDR            address to listen on (default 0.0.0.0, every interface;\n"
    "                         use 127.0.0.1 to stay on this machine)\n"
    "  --port N               TCP port of the message protocol (default 3567; 0: any)\n"
    "  --discovery-port N     UDP port of discovery (default 3568; 0: any)\n"
    "  --no-discovery         do not answer discovery probes\n"
    "  --media-port N         TCP port of the media service over HTTP (default 3569; 0: any)\n"
    "  --no-gzip              never compress media pages\n"
    "  --advertise A[,B...]   addresses named in discovery replies\n"
    "  --allow CIDR[,CIDR...] who may connect and gets discovery replies (default\n"
    "                         loopback, 10.0.0.0/8, 172.16.0.0/12, 192.168.0.0/16,\n"
    "                         fc00::/7 and link-local; the rest is refused and\n"
    "                         logged). \"0.0.0.0/0,::/0\" allows everyone, \"127.0.0.1\"\n"
    "                         this machine alone\n"
    "  --max-clients N        message connections at most (default 64)\n"
    "  --max-clients-per-address N\n"
    "                         message connections from one address at most\n"
    "                         (default 8)\n"
    "  --songs N              size of the generated library (default 500, at most\n"
    "                         100000)\n"
    "  --music DIR            the simulated library from the tags of the audio files\n"
    "                         below DIR instead of a generated one\n"
    "  --queue N              songs in the play queue at start (default 25)\n"
    "  --mpd HOST[:PORT]      drive the Music Player Daemon at HOST (port 6600 unless\n"
    "                         given; a path is its local socket) instead of the\n"
    "                         simulated player\n"
    "  --mpd-timeout MS       how long MPD may take to answer (default 2000; whole\n"
    "                         seconds)\n"
    "  --mpris [NAME]         drive a media player on the desktop's session bus\n"
    "                         (MPRIS): the one in use, or the one NAME names (mpv,\n"
    "                         vlc, spotify, or a bus name such as\n"
    "                         org.mpris.MediaPlayer2.vlc.instance4711)\n"
    "  --snapcast HOST[:PORT] the speakers are the rooms of the Snapcast server at\n"
    "                         HOST (control port 1705 unless given): each connected\n"
    "                         snapclient is a speaker, on when it is not muted and\n"
    "                         plays this player's stream; an IPv6 address in\n"
    "                         brackets when a port follows ([::1]:1705)\n"
    "  --snapcast-stream NAME the Snapcast stream that carries this player's sound;\n"
    "                         without it the only stream, else the one named like\n"
    "                         the player: \"MPD\" with --mpd, NAME with --mpris NAME\n"
    "                         (\"MPRIS\" without), \"Vantor\" for the simulated one\n"
    "  --play                 start playing\n"
    "  --name TEXT            the server's name\n"
    "  --offer-version V      offer client version V for update (with the three below)\n"
    "  --offer-url URL        where the offered client is fetched from\n"
    "  --offer-parameters P   parameters for the offered installer\n"
    "  --offer-checksum MD5   its MD5 digest, 32 lower-case hexadecimal digits\n"
    "  --offer-file FILE      serve FILE as the offered client (the URL and checksum\n"
    "                         are taken from it unless given)\n"
    "  --log FILE             also append log lines to FILE\n"
    "  --log-level N          0 errors only (default), 2 more, 3 everything\n"
    "  --help                 this text\n"
    "\n"
    "On start it prints \"vantor-server: listening on ADDR:PORT\" and runs until\n"
    "interrupted (SIGINT or SIGTERM).\n";

bool ParsePort(const char* text, std::uint16_t* port) {
    char* end = nullptr;
    const long value = std::strtol(text, &end, 10);
    if (end == text || *end != '\0' || value < 0 || value > 65535) {
        return false;
    }
    *port = static_cast<std::uint16_t>(value);
    return true;
}

// HOST, HOST:PORT, [IPV6] or [IPV6]:PORT; a bare IPv6 address (two colons
// or more) has no port. `port` is kept when none is given.
bool ParseHostPort(const std::string& address, std::string* host, std::uint16_t* port) {
    std::string rest;
    if (!address.empty() && address[0] == '[') {
        const std::size_t close = address.find(']');
        if (close == std::string::npos) {
            return false;
        }
        *host = address.substr(1, close - 1);
        rest = address.substr(close + 1);
        if (!rest.empty() && rest[0] != ':') {
            return false;
        }
    } else if (const std::size_t colon = address.find(':');
               colon == std::string::npos || address.find(':', colon + 1) != std::string::npos) {
        *host = address;
    } else {
        *host = address.substr(0, colon);
        rest = address.substr(colon);
    }
    if (!rest.empty() && (!ParsePort(rest.c_str() + 1, port) || *port == 0)) {
        return false;
    }
    return !host->empty();
}

bool ParseCount(const char* text, int* count) {
    char* end = nullptr;
    const long value = std::strtol(text, &end, 10);
    if (end == text || *end != '\0' || value < 0 || value > 10'000'000) {
        return false;
    }
    *count = static_cast<int>(value);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    ServerOptions options;
    int songs = 500;
    std::string musicFolder;
    int queueLength = 25;
    vantor::server::MpdOptions mpd;
    mpd.host.clear();  // none unless --mpd names one
    bool mpris = false;
    std::string mprisName;
    bool snapcast = false;
    vantor::server::snapcast::SnapcastOptions rooms;
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        const auto value = [&]() -> const char* {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "vantor-server: %s needs a value\n", option.c_str());
                std::exit(2);
            }
            return argv[++i];
        };
        bool ok = true;
        if (option == "--help" || option == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        } else if (option == "--bind") {
            options.bindAddress = value();
        } else if (option == "--port") {
            ok = ParsePort(value(), &options.port);
        } else if (option == "--discovery-port") {
            ok = ParsePort(value(), &options.discoveryPort);
        } else if (option == "--no-discovery") {
            options.discovery = false;
        } else if (option == "--media-port") {
            ok = ParsePort(value(), &options.mediaPort);
        } else if (option == "--no-gzip") {
            options.gzip = false;
        } else if (option == "--advertise") {
            std::string list = value();
            std::size_t start = 0;
            while (start <= list.size()) {
                const std::size_t comma = std::min(list.find(',', start), list.size());
                if (comma > start) {
                    options.advertisedAddresses.push_back(list.substr(start, comma - start));
                }
                start = comma + 1;
            }
        } else if (option == "--allow") {
            std::string bad;
            auto allow = vantor::server::AddressFilter::Parse(value(), &bad);
            if (!allow) {
                std::fprintf(stderr, "vantor-server: --allow: \"%s\" is not an address range\n",
                             bad.c_str());
                return 2;
            }
            options.allow = std::move(*allow);
        } else if (option == "--max-clients" || option == "--max-clients-per-address") {
            int count = 0;
            ok = ParseCount(value(), &count) && count > 0;
            (option == "--max-clients" ? options.maxClients : options.maxClientsPerAddress) =
                static_cast<std::size_t>(count);
        } else if (option == "--songs") {
            ok = ParseCount(value(), &songs) && songs <= 100000;
        } else if (option == "--music") {
            musicFolder = value();
            std::error_code error;
            if (!std::filesystem::is_directory(musicFolder, error)) {
                std::fprintf(stderr, "vantor-server: %s is not a folder\n", musicFolder.c_str());
                return 2;
            }
        } else if (option == "--mpd") {
            const std::string address = value();
            const std::size_t colon = address.rfind(':');
            mpd.host = address;
            if (colon != std::string::npos && address[0] != '/') {
                mpd.host = address.substr(0, colon);
                std::uint16_t port = 0;
                ok = ParsePort(address.c_str() + colon + 1, &port);
                mpd.port = port;
            }
            ok = ok && !mpd.host.empty();
        } else if (option == "--mpd-timeout") {
            int milliseconds = 0;
            ok = ParseCount(value(), &milliseconds) && milliseconds > 0;
            mpd.timeout = std::chrono::milliseconds(milliseconds);
            options.playerTimeout = mpd.timeout;
        } else if (option == "--snapcast") {
            snapcast = true;
            ok = ParseHostPort(value(), &rooms.host, &rooms.port);
        } else if (option == "--snapcast-stream") {
            rooms.stream = value();
            ok = !rooms.stream.empty();
        } else if (option == "--mpris") {
            mpris = true;
            if (i + 1 < argc && argv[i + 1][0] != '-') {
                mprisName = argv[++i];
            }
        } else if (option == "--queue") {
            ok = ParseCount(value(), &queueLength);
        } else if (option == "--play") {
            options.startPlaying = true;
        } else if (option == "--name") {
            options.info.name = value();
        } else if (option == "--offer-version") {
            options.info.clientVersion = value();
        } else if (option == "--offer-url") {
            options.info.clientUrl = value();
        } else if (option == "--offer-parameters") {
            options.info.clientParameters = value();
        } else if (option == "--offer-checksum") {
            options.info.clientChecksum = value();
        } else if (option == "--offer-file") {
            options.updateFile = value();
        } else if (option == "--log") {
            const char* path = value();
            auto sink = vantor::FileSink::Open(path);
            if (!sink) {
                std::fprintf(stderr, "vantor-server: cannot open %s\n", path);
                return 2;
            }
            vantor::Logger::Instance().SetSink(1, std::move(sink));
        } else if (option == "--log-level") {
            int level = 0;
            ok = ParseCount(value(), &level);
            vantor::Logger::Instance().SetThreshold(level);
        } else {
            std::fprintf(stderr, "vantor-server: unknown option %s\n%s", option.c_str(), kUsage);
            return 2;
        }
        if (!ok) {
            std::fprintf(stderr, "vantor-server: bad value for %s\n", option.c_str());
            return 2;
        }
    }

    // Signals are taken by sigwait below, never by a handler; blocked before
    // any thread starts (QtDBus starts one), so every thread inherits it.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    if (!snapcast && !rooms.stream.empty()) {
        std::fprintf(stderr, "vantor-server: --snapcast-stream needs --snapcast\n");
        return 2;
    }
    if (mpris && !mpd.host.empty()) {
        std::fprintf(stderr, "vantor-server: --mpd and --mpris cannot be given together\n");
        return 2;
    }
    // QtDBus wants an application object; it is never run, the bus has a
    // thread and an event loop of its own.
    int qtArgc = 1;
    std::unique_ptr<QCoreApplication> application;
    std::shared_ptr<vantor::server::mpris::MprisBackend> mprisBackend;
    std::shared_ptr<const vantor::server::MediaLibrary> library;
    vantor::server::ServerParts parts;
    if (mpris) {
        application = std::make_unique<QCoreApplication>(qtArgc, argv);
        parts.makePlayer = [&mprisBackend, mprisName] {
            vantor::server::mpris::MprisOptions player;
            player.name = mprisName;
            mprisBackend = std::make_shared<vantor::server::mpris::MprisBackend>(player);
            return mprisBackend;
        };
        rooms.player = mprisName.empty() ? "MPRIS" : mprisName;
    } else if (!mpd.host.empty()) {
        parts.makePlayer = [mpd]() -> std::shared_ptr<vantor::server::PlayerBackend> {
            return std::make_shared<vantor::server::MpdBackend>(mpd);
        };
        rooms.player = "MPD";
    } else {
        library = std::make_shared<const vantor::server::MediaLibrary>(
            musicFolder.empty() ? vantor::server::MediaLibrary::Generate(songs)
                                : vantor::server::ReadMusicFolder(musicFolder));
        parts.makePlayer = [library,
                            queueLength]() -> std::shared_ptr<vantor::server::PlayerBackend> {
            return std::make_shared<vantor::server::SimulatedBackend>(library, queueLength);
        };
        rooms.player = "Vantor";
    }
    if (snapcast) {
        parts.speakers = std::make_shared<vantor::server::snapcast::SnapcastRooms>(rooms);
    }

    MessageServer server(options, std::move(parts));
    if (!server.Start()) {
        return 1;
    }
    if (std::string reason;
        mprisBackend && !mprisBackend->WaitForBus(std::chrono::seconds(30), &reason)) {
        std::fprintf(stderr,
                     "vantor-server: --mpris needs the session bus of the desktop's user, and it "
                     "cannot be reached (%s)\n",
                     reason.c_str());
        server.Stop();
        return 1;
    }
    // The loop takes clients and answers discovery only once the player in
    // use is known (those that come sooner wait for it); the server says it
    // is listening then as well.
    if (mprisBackend && !mprisBackend->WaitForPlayers(vantor::server::mpris::kLongestStart)) {
        vantor::Log(vantor::kLogError,
                    "vantor-server: the MPRIS players on the bus are still being read");
    }
    std::printf("vantor-server: listening on %s:%u", options.bindAddress.c_str(),
                static_cast<unsigned>(server.Port()));
    if (options.discovery) {
        std::printf(" (discovery on UDP %u)", static_cast<unsigned>(server.DiscoveryPort()));
    }
    std::printf(", media on %u", static_cast<unsigned>(server.MediaPort()));
    if (mpris) {
        std::printf(", MPRIS player %s\n", mprisName.empty() ? "in use" : mprisName.c_str());
    } else if (!mpd.host.empty()) {
        std::printf(", MPD at %s:%u\n", mpd.host.c_str(), static_cast<unsigned>(mpd.port));
    } else {
        std::printf(", %d songs\n", library->SongCount());
    }
    std::fflush(stdout);

    int received = 0;
    sigwait(&signals, &received);
    server.Stop();
    std::printf("vantor-server: stopped\n");
    return 0;
}
