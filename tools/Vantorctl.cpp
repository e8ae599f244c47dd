// vantorctl: a command-line remote for a Vantor server, built on the
// client's own session core.

#include <signal.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "core/Logger.h"
#include "core/Text.h"
#include "media/LibraryBrowser.h"
#include "media/MediaService.h"
#include "net/LocalAddressSource.h"
#include "protocol/Messages.h"
#include "session/ConnectionManager.h"
#include "session/NowPlaying.h"

namespace {

using namespace vantor;

// Exit statuses.
constexpr int kOk = 0;
constexpr int kUsage = 1;
constexpr int kNoServer = 2;
constexpr int kNoAnswer = 3;
constexpr int kRefused = 4;

const char kHelp[] =
    "usage: vantorctl [OPTION...] COMMAND [ARGUMENT]\n"
    "\n"
    "Controls the player behind a Vantor server.\n"
    "\n"
    "Commands:\n"
    "  status            the player's state and the song playing\n"
    "  play, pause       start or pause playback\n"
    "  toggle            pause when playing, play otherwise\n"
    "  stop              stop playback\n"
    "  next, prev        the next or previous song\n"
    "  volume N          set the volume, 0 to 100\n"
    "  seek SECONDS      jump to a position in the song\n"
    "  shuffle on|off    shuffle the play queue or not\n"
    "  repeat off|all    repeat the play queue or not\n"
    "  rate N            rate the song, 0 to 100 (20 a star)\n"
    "  eq                show the equaliser\n"
    "  speakers          list the speakers: ID, name, on or off\n"
    "  speaker ID        play on that speaker alone\n"
    "  speaker ID on|off switch that speaker on or off, leaving the others as they are\n"
    "  watch             print every change the server reports until interrupted\n"
    "  discover          list the servers that answer discovery\n"
    "  queue [START [COUNT]]  the play queue from START (default 0), COUNT entries\n"
    "                    (default 1000)\n"
    "  browse PATH       a library folder, such as / or /Music/Artists\n"
    "  search TEXT       artists, albums, playlists, shows and songs matching TEXT\n"
    "  play-path PATH    play what is at a library path (a folder or one item)\n"
    "  add PATH          add what is at a library path to the end of the queue\n"
    "  play-entry N      play the queue's entry N (counting from 0)\n"
    "\n"
    "Options:\n"
    "  --server HOST     the server (name or address); without it, discovery finds one\n"
    "  --port N          its message port (default 3567)\n"
    "  --broadcast ADDR  where discovery probes go (default 255.255.255.255)\n"
    "  --discovery-port N  the port they go to (default 3568)\n"
    "  --peer HOST       the cable-link host discovery tries last (default ppp_peer)\n"
    "  --media-port N    the server's media service port (default 3569)\n"
    "  --timeout SECONDS how long to wait for an answer (default 5)\n"
    "  --seconds N       watch: stop after N seconds\n"
    "  --help            this text\n"
    "\n"
    "Exit status: 0 done; 1 bad usage; 2 no server (cannot connect, none found, or the\n"
    "connection was lost); 3 no answer in time; 4 the server refused the request (its\n"
    "return code and reason are printed).\n";

struct Options {
    std::string server;
    std::uint16_t port = 0;
    std::uint16_t mediaPort = 3569;
    DiscoveryOptions discovery;
    std::chrono::milliseconds timeout{5000};
    int seconds = 0;
    std::string command;
    std::vector<std::string> arguments;
    std::string argument;  // the first one, or empty
};

bool ParseNumber(const std::string& text, long low, long high, long* value) {
    char* end = nullptr;
    *value = std::strtol(text.c_str(), &end, 10);
    return !text.empty() && *end == '\0' && *value >= low && *value <= high;
}

class LoopbackAddress final : public LocalAddressSource {
public:
    std::vector<std::string> LocalAddresses() override { return {"127.0.0.1"}; }
};

std::shared_ptr<LocalAddressSource> AddressesFor(const DiscoveryOptions& discovery) {
    // Probes for a server on this machine go out from loopback too.
    if (discovery.broadcastAddress.rfind("127.", 0) == 0) {
        return std::make_shared<LoopbackAddress>();
    }
    return std::make_shared<InterfaceAddressSource>();
}

// The protocol's word for a state; its names are literals, so terminated.
const char* StateName(std::int32_t state) {
    return PlayingStateName(state).data();
}

const char* RepeatName(std::int32_t repeat) {
    return repeat == RepeatState::All ? "all" : repeat == RepeatState::One ? "one" : "off";
}

std::string EqText(const EqSettings& eq) {
    std::string text = Format("%s, preamp %d, bands", eq.enabled ? "on" : "off", eq.preamp);
    for (const std::int32_t band : eq.bands) {
        text += Format(" %d", band);
    }
    return text;
}

std::string SpeakersText(const std::vector<Speaker>& speakers) {
    std::string text;
    for (const Speaker& speaker : speakers) {
        text += Format("%s%s (%s)", text.empty() ? "" : ", ", speaker.name.c_str(),
                       speaker.enabled ? "on" : "off");
    }
    return text.empty() ? "none" : text;
}

// Prints every change as the client's rules report it.
class Printer final : public PlayerListener {
public:
    void OnCurrentMediaChanged(const CurrentMedia& media) override {
        Line("now playing: " + TitleLine(media.artist, media.title, media.length, true));
    }
    void OnVolumeChanged(std::int32_t volume, std::int32_t) override {
        Line(Format("volume %d", volume));
    }
    void OnShuffleChanged(bool shuffle) override { Line(shuffle ? "shuffle on" : "shuffle off"); }
    void OnRepeatChanged(std::int32_t repeat) override {
        Line(std::string("repeat ") + RepeatName(repeat));
    }
    void OnPlayingStateChanged(std::int32_t state) override {
        Line(std::string("state ") + StateName(state));
    }
    void OnPlaylistPositionChanged(std::int32_t position) override {
        Line(Format("queue position %d", position));
    }
    void OnPlayPositionChanged(std::int32_t seconds) override {
        Line("position " + FormatPlayTime(seconds));
    }
    void OnPlaylistChanged(const PlaylistChangedEvent&) override { Line("queue changed"); }
    void OnEqChanged(const EqSettings& eq) override { Line("equaliser " + EqText(eq)); }
    void OnSpeakerListChanged(const std::vector<Speaker>& speakers) override {
        Line("speakers " + SpeakersText(speakers));
    }
    void OnAlbumArtChanged(const AlbumArtChangedEvent&) override { Line("album art changed"); }
    void OnMediaLibraryChanged(const MediaLibraryChangedEvent&) override {
        Line("library changed");
    }
    void OnChannelLost() override {
        Line("connection lost");
        lost_ = true;
        ::kill(::getpid(), SIGTERM);  // ends the wait in Watch
    }

    bool Lost() const { return lost_; }

private:
    void Line(const std::string& text) {
        std::lock_guard lock(mutex_);
        std::printf("%s\n", text.c_str());
        std::fflush(stdout);
    }
    std::mutex mutex_;
    std::atomic<bool> lost_{false};
};

class Session {
public:
    explicit Session(const Options& options)
        : options_(options), manager_(AddressesFor(options.discovery), options.discovery) {}

    ConnectionManager& Manager() { return manager_; }

    int Connect() {
        std::string host = options_.server;
        if (host.empty()) {
            host = manager_.Discover();
            if (host.empty()) {
                std::fprintf(stderr, "vantorctl: no Vantor server answered discovery\n");
                return kNoServer;
            }
        }
        if (!manager_.ConnectToHost(host, options_.port)) {
            std::fprintf(stderr, "vantorctl: cannot connect to %s:%u\n", host.c_str(),
                         options_.port == 0 ? 3567u : options_.port);
            return kNoServer;
        }
        return kOk;
    }

    // Sends and waits; the response, or null with the exit status in *status.
    std::unique_ptr<Message> Ask(std::unique_ptr<Message> request, int* status) {
        const std::string name(request->TypeName());
        SendResult result = SendResult::Sent;
        auto response = manager_.SendAndWait(std::move(request), options_.timeout, &result);
        if (result != SendResult::Sent) {
            std::fprintf(stderr, "vantorctl: %s could not be sent (%s)\n", name.c_str(),
                         SendResultText(result));
            *status = kNoServer;
            return nullptr;
        }
        if (!response) {
            std::fprintf(stderr, "vantorctl: no answer to %s\n", name.c_str());
            *status = kNoAnswer;
            return nullptr;
        }
        if (response->returnCode != 0) {
            auto details = std::make_unique<GetErrorDetailsRequest>();
            details->returnCode = response->returnCode;
            auto reason = manager_.SendAndWait(std::move(details), options_.timeout);
            const auto* text = reason ? As<GetErrorDetailsResponse>(*reason) : nullptr;
            std::fprintf(stderr, "vantorctl: the server refused %s: %d%s%s\n", name.c_str(),
                         response->returnCode, text ? " " : "",
                         text ? text->description.c_str() : "");
            *status = kRefused;
            return nullptr;
        }
        *status = kOk;
        return response;
    }

private:
    const Options& options_;
    ConnectionManager manager_;
};

int Status(Session& session) {
    int status = kOk;
    const auto info = session.Ask(std::make_unique<GetServerInfoRequest>(), &status);
    if (!info) {
        return status;
    }
    const auto current = session.Ask(std::make_unique<GetCurrentStateRequest>(), &status);
    if (!current) {
        return status;
    }
    const auto& response = *As<GetCurrentStateResponse>(*current);
    const auto& server = *As<GetServerInfoResponse>(*info);
    std::printf("server:    %s %s (%s)\n", server.name.c_str(), server.version.c_str(),
                server.playerType.c_str());
    std::printf("state:     %s\n", StateName(response.playingState));
    const std::string title = TitleLine(response.artist, response.title, response.length, true);
    std::printf("playing:   %s\n", title.empty() ? "-" : title.c_str());
    std::printf("album:     %s\n", response.album.empty() ? "-" : response.album.c_str());
    std::printf("position:  %s of %s\n", FormatPlayTime(response.playbackPosition).c_str(),
                response.length > 0 ? FormatPlayTime(response.length).c_str() : "--:--");
    std::printf("volume:    %d\n", response.volume);
    std::printf("shuffle:   %s\n", response.shuffleState ? "on" : "off");
    std::printf("repeat:    %s\n", RepeatName(response.repeatState));
    std::printf("rating:    %s\n",
                response.rating >= 0 ? std::to_string(response.rating).c_str() : "-");
    std::printf("queue:     position %d\n", response.playlistPosition);
    return kOk;
}

// The signals that end a watch; blocked in every thread so that sigwait
// takes them.
sigset_t WatchSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGALRM);
    return signals;
}

int Watch(Session& session, int seconds) {
    const sigset_t signals = WatchSignals();
    auto printer = std::make_shared<Printer>();
    session.Manager().SetListener(printer);
    // A server drops a connection that says nothing in its first seconds, as
    // it does any silent peer; a watch greets it as the window does.
    int greeted = kOk;
    if (!session.Ask(std::make_unique<GetClientVersionRequest>(), &greeted)) {
        session.Manager().SetListener(nullptr);
        return greeted;
    }
    if (seconds > 0) {
        alarm(static_cast<unsigned>(seconds));
    }
    std::printf("watching; interrupt to stop\n");
    std::fflush(stdout);
    int received = 0;
    sigwait(&signals, &received);
    session.Manager().SetListener(nullptr);
    session.Manager().Disconnect();
    return printer->Lost() ? kNoServer : kOk;
}

int Discover(const Options& options) {
    ConnectionManager manager(AddressesFor(options.discovery), options.discovery);
    if (manager.Discover().empty()) {
        std::fprintf(stderr, "vantorctl: no Vantor server answered discovery\n");
        return kNoServer;
    }
    for (int i = 0; i < manager.DiscoveredCount(); ++i) {
        std::printf("%s\n", manager.DiscoveredServer(i).c_str());
    }
    return kOk;
}

const char* TypeName(wire::MediaItemType::type type) {
    const std::string_view name = MediaTypeName(static_cast<MediaType>(type));
    return name.empty() ? "?" : name.data();  // the names are literals, so terminated
}

// One row of a media list: its kind, title, and where it leads.
void PrintItem(int row, const wire::MediaItem& item, const std::string& path) {
    std::printf("%5d  %-15s %s%s", row, TypeName(item.type), item.title.c_str(),
                item.container ? "/" : "");
    if (!item.artist.empty() && !item.container) {
        std::printf(" - %s", item.artist.c_str());
    }
    if (item.length > 0) {
        std::printf(" (%s)", FormatPlayTime(item.length).c_str());
    }
    std::printf("\t%s\n", path.c_str());
}

int MediaCommand(const Options& options, const std::string& host) {
    MediaService media(options.mediaPort);
    media.SetHost(host);
    if (options.command == "queue") {
        long start = 0;
        long count = 1000;
        if ((options.arguments.size() > 0 &&
             !ParseNumber(options.arguments[0], 0, 10'000'000, &start)) ||
            (options.arguments.size() > 1 &&
             !ParseNumber(options.arguments[1], 1, 100000, &count))) {
            std::fprintf(stderr, "vantorctl: queue [START [COUNT]] takes numbers\n");
            return kUsage;
        }
        const auto page =
            media.FetchPlaylistPage(static_cast<int>(start), static_cast<int>(count), true);
        if (!page) {
            std::fprintf(stderr, "vantorctl: the play queue could not be fetched\n");
            return kNoAnswer;
        }
        std::printf("queue: %d entries\n", page->totalCount);
        for (std::size_t i = 0; i < page->items.size(); ++i) {
            const auto& item = page->items[i];
            std::printf("%5d  %s", page->start + static_cast<int>(i), item.title.c_str());
            if (!item.artist.empty()) {
                std::printf(" - %s", item.artist.c_str());
            }
            if (item.length > 0) {
                std::printf(" (%s)", FormatPlayTime(item.length).c_str());
            }
            std::printf("\n");
        }
        return kOk;
    }
    const bool search = options.command == "search";
    const auto list = search ? media.Search(options.argument, 0, -1)
                             : media.FetchFolderPage(options.argument, 0, -1, true);
    if (!list) {
        std::fprintf(stderr, "vantorctl: %s could not be fetched\n",
                     search ? "the search" : options.argument.c_str());
        return kNoAnswer;
    }
    if (!search) {
        std::printf("%s: %d entries\n", list->path.c_str(), list->totalCount);
    }
    for (std::size_t i = 0; i < list->items.size(); ++i) {
        const auto& item = list->items[i];
        PrintItem(static_cast<int>(i), item, LibraryItemPath(item, options.argument, search));
    }
    return kOk;
}

// A command that sends one request and prints nothing on success.
std::unique_ptr<Message> CommandRequest(const Options& options, bool* known, bool* badArgument) {
    *known = true;
    *badArgument = false;
    const std::string& command = options.command;
    const std::string& argument = options.argument;
    long number = 0;
    if (command == "play") {
        return std::make_unique<PlayRequest>();
    }
    if (command == "pause") {
        return std::make_unique<PauseRequest>();
    }
    if (command == "toggle") {
        return std::make_unique<PlayPauseRequest>();
    }
    if (command == "stop") {
        return std::make_unique<StopRequest>();
    }
    if (command == "next") {
        return std::make_unique<NextItemRequest>();
    }
    if (command == "prev") {
        return std::make_unique<PreviousItemRequest>();
    }
    if (command == "volume") {
        if (!ParseNumber(argument, 0, 100, &number)) {
            *badArgument = true;
            return nullptr;
        }
        auto request = std::make_unique<SetVolumeRequest>();
        request->volume = static_cast<std::int32_t>(number);
        return request;
    }
    if (command == "seek") {
        if (!ParseNumber(argument, 0, 24 * 3600, &number)) {
            *badArgument = true;
            return nullptr;
        }
        auto request = std::make_unique<SetPlayPositionRequest>();
        request->position = static_cast<std::int32_t>(number);
        return request;
    }
    if (command == "play-entry") {
        if (!ParseNumber(argument, 0, 10'000'000, &number)) {
            *badArgument = true;
            return nullptr;
        }
        auto request = std::make_unique<SetPlaylistPositionRequest>();
        request->position = static_cast<std::int32_t>(number);
        return request;
    }
    if (command == "rate") {
        if (!ParseNumber(argument, 0, 100, &number)) {
            *badArgument = true;
            return nullptr;
        }
        auto request = std::make_unique<SetTrackRatingRequest>();
        request->rating = static_cast<std::int32_t>(number);
        return request;
    }
    if (command == "shuffle") {
        if (argument != "on" && argument != "off") {
            *badArgument = true;
            return nullptr;
        }
        auto request = std::make_unique<SetShuffleStateRequest>();
        request->shuffleState = argument == "on";
        return request;
    }
    if (command == "play-path" || command == "add") {
        if (argument.empty() || argument[0] != '/') {
            *badArgument = true;
            return nullptr;
        }
        MediaSelector selector;
        selector.libPath = argument;
        if (command == "add") {
            auto request = std::make_unique<PlaylistAddRequest>();
            request->selector = selector;
            return request;
        }
        auto request = std::make_unique<PlayMediaRequest>();
        request->selector = selector;
        request->startingItem = 0;
        return request;
    }
    if (command == "speaker") {
        if (options.arguments.empty() || options.arguments[0].empty()) {
            *badArgument = true;
            return nullptr;
        }
        if (options.arguments.size() == 1) {
            auto request = std::make_unique<SelectSpeakerRequest>();
            request->id = options.arguments[0];
            return request;
        }
        const std::string& state = options.arguments[1];
        if (state != "on" && state != "off") {
            *badArgument = true;
            return nullptr;
        }
        auto request = std::make_unique<EnableSpeakerRequest>();
        request->id = options.arguments[0];
        request->enabled = state == "on";
        return request;
    }
    if (command == "repeat") {
        if (argument != "off" && argument != "all") {
            *badArgument = true;
            return nullptr;
        }
        auto request = std::make_unique<SetRepeatStateRequest>();
        request->repeatState = argument == "all" ? RepeatState::All : RepeatState::Off;
        return request;
    }
    *known = false;
    return nullptr;
}

int Usage(const char* problem) {
    std::fprintf(stderr, "vantorctl: %s\n(vantorctl --help tells more)\n", problem);
    return kUsage;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    std::vector<std::string> words;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const auto value = [&]() -> std::string {
            if (i + 1 >= argc) {
                return {};
            }
            return argv[++i];
        };
        long number = 0;
        if (word == "--help" || word == "-h") {
            std::fputs(kHelp, stdout);
            return kOk;
        } else if (word == "--server") {
            options.server = value();
            if (options.server.empty()) {
                return Usage("--server needs a host");
            }
        } else if (word == "--port" || word == "--discovery-port") {
            if (!ParseNumber(value(), 1, 65535, &number)) {
                return Usage("a port is a number from 1 to 65535");
            }
            (word == "--port" ? options.port : options.discovery.discoveryPort) =
                static_cast<std::uint16_t>(number);
        } else if (word == "--broadcast") {
            options.discovery.broadcastAddress = value();
        } else if (word == "--media-port") {
            if (!ParseNumber(value(), 1, 65535, &number)) {
                return Usage("a port is a number from 1 to 65535");
            }
            options.mediaPort = static_cast<std::uint16_t>(number);
        } else if (word == "--peer") {
            options.discovery.peerHost = value();
        } else if (word == "--timeout") {
            if (!ParseNumber(value(), 1, 3600, &number)) {
                return Usage("--timeout takes seconds, 1 to 3600");
            }
            options.timeout = std::chrono::seconds(number);
        } else if (word == "--seconds") {
            if (!ParseNumber(value(), 1, 86400, &number)) {
                return Usage("--seconds takes a number of seconds");
            }
            options.seconds = static_cast<int>(number);
        } else if (word.rfind("--", 0) == 0) {
            return Usage(("unknown option " + word).c_str());
        } else {
            words.push_back(word);
        }
    }
    if (words.empty()) {
        return Usage("no command given");
    }
    options.command = words[0];
    options.arguments.assign(words.begin() + 1, words.end());
    if (options.arguments.size() >
        (options.command == "queue" || options.command == "speaker" ? 2u : 1u)) {
        return Usage("too many arguments");
    }
    if (!options.arguments.empty()) {
        options.argument = options.arguments[0];
    }
    if (options.port != 0) {
        options.discovery.messagePort = options.port;
    }

    if (options.command == "discover") {
        return Discover(options);
    }
    bool known = false;
    bool badArgument = false;
    auto request = CommandRequest(options, &known, &badArgument);
    const bool media =
        options.command == "queue" || options.command == "browse" || options.command == "search";
    if (media && options.command != "queue" && options.argument.empty()) {
        return Usage((options.command + " needs an argument").c_str());
    }
    const bool query = media || options.command == "status" || options.command == "watch" ||
                       options.command == "eq" || options.command == "speakers";
    if (!known && !query) {
        return Usage(("unknown command " + options.command).c_str());
    }
    if (badArgument) {
        return Usage(("bad argument for " + options.command).c_str());
    }

    if (options.command == "watch") {
        // Before any thread starts, so that every thread inherits the mask.
        const sigset_t signals = WatchSignals();
        pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    }
    Session session(options);
    if (const int connected = session.Connect(); connected != kOk) {
        return connected;
    }
    int status = kOk;
    if (media) {
        // Pages come from the media service of the server just reached.
        return MediaCommand(options, session.Manager().Host());
    }
    if (request) {
        session.Ask(std::move(request), &status);
        return status;
    }
    if (options.command == "status") {
        return Status(session);
    }
    if (options.command == "watch") {
        return Watch(session, options.seconds);
    }
    if (options.command == "eq") {
        const auto eq = session.Ask(std::make_unique<GetEqRequest>(), &status);
        if (eq) {
            std::printf("equaliser %s\n", EqText(As<GetEqResponse>(*eq)->eq).c_str());
        }
        return status;
    }
    const auto speakers = session.Ask(std::make_unique<GetSpeakerListRequest>(), &status);
    if (speakers) {
        for (const Speaker& speaker : As<GetSpeakerListResponse>(*speakers)->speakers) {
            std::printf("%s\t%s\t%s\n", speaker.id.c_str(), speaker.name.c_str(),
                        speaker.enabled ? "on" : "off");
        }
    }
    return status;
}
