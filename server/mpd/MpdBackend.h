#pragma once

// A Music Player Daemon as the player behind vantor-server, through
// libmpdclient. The play queue, transport, volume, shuffle and repeat
// ("single" is repeat one) are MPD's own; outputs are the speakers; a
// song's rating is its "rating" sticker (0..100); cover pictures come from
// "albumart" (a cover file beside the song) or "readpicture" (a picture in
// the file). The library pages are MPD's database, asked a page at a time
// ("find"/"search" with a window, "list" for names), so a large database is
// never loaded whole. MPD has no equaliser and no video mode: those
// requests are answered as unsupported, and the capabilities say so.
//
// Songs are known to clients by a number: the first song the server names
// gets 1, the next 2, and so on for as long as the server runs.
//
// Changes that others make (another client, a song that ends) arrive on a
// third connection, held in "idle" by the "MPD Idle" thread, which posts
// them to the server loop; the loop compares MPD's status with the last one
// it saw and pushes the difference as events. When MPD goes away the idle
// thread posts that too: the player shows stopped, requests fail with
// kPlayerFailed, and the idle thread connects again every half second; once
// MPD is back, the loop reads its state anew.
//
// Threads and locks:
// - loop thread: every loop-thread method of PlayerBackend, and the
//   command connection with the status it last saw (no lock: only the loop
//   touches them, and Start()/Stop() run while it does not);
// - any thread (loop and HTTP workers): library pages and album art, on the
//   library connection and its caches, under libraryMutex_;
// - the song numbers are shared by both, under idsMutex_, which is taken
//   after libraryMutex_ when both are held and never the other way round;
// - "MPD Idle": its own connection and the shared IdleState only.

#include <chrono>
#include <list>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "MpdConnection.h"
#include "PlayerBackend.h"
#include "core/NamedThread.h"

struct mpd_song;
struct mpd_status;

namespace vantor::server {

struct MpdOptions {
    std::string host = "127.0.0.1";
    unsigned port = 6600;
    // How long one answer from MPD may take before the connection counts
    // as broken.
    std::chrono::milliseconds timeout{2000};
};

class MpdBackend final : public PlayerBackend {
public:
    explicit MpdBackend(MpdOptions options);
    ~MpdBackend() override;

    void Start(LoopPost post) override;
    void Stop() override;

    std::string PlayerType() const override { return "Music Player Daemon"; }
    std::string LibraryId() const override { return "mpd"; }
    PlayerCapabilities Capabilities() const override { return {false, true}; }
    PlayerStatus Status() override { return status_; }
    std::int32_t Transport(TransportCommand command, Events& events) override;
    std::int32_t SetVolume(std::int32_t volume, Events& events) override;
    std::int32_t SetPlaybackPosition(std::int32_t seconds, Events& events) override;
    std::int32_t SetQueuePosition(std::int32_t position, Events& events) override;
    std::int32_t SetShuffle(bool shuffle, Events& events) override;
    std::int32_t SetRepeat(std::int32_t repeat, Events& events) override;
    std::int32_t SetRating(std::int32_t rating, Events& events) override;
    std::int32_t GetEq(EqSettings*) override { return kUnsupported; }
    std::int32_t SetEq(const EqSettings&, Events&) override { return kUnsupported; }
    std::int32_t EqPresets(std::vector<std::string>*) override { return kUnsupported; }
    std::int32_t SetEqPreset(const std::string&, Events&) override { return kUnsupported; }
    std::int32_t GetFullScreen(bool*) override { return kUnsupported; }
    std::int32_t SetFullScreen(bool, Events&) override { return kUnsupported; }
    std::int32_t Speakers(std::vector<Speaker>* speakers) override;
    std::int32_t SelectSpeaker(const std::string& id, Events& events) override;
    std::int32_t EnableSpeaker(const std::string& id, bool enabled, Events& events) override;
    std::int32_t PlayNow(const MediaSelector& selector, std::int32_t startingItem,
                         Events& events) override;
    std::int32_t Add(const MediaSelector& selector, std::int32_t position, Events& events) override;
    std::int32_t Remove(std::int32_t position, Events& events) override;
    std::int32_t Move(std::int32_t from, std::int32_t to, Events& events) override;
    std::int32_t Clear(Events& events) override;
    std::int32_t QueuePage(std::int32_t start, std::int32_t count, ListPage* page) override;
    std::int32_t AlbumArtPath(std::string* path) override;
    std::int32_t UpdateLibrary(Events& events) override;
    void Tick(Events& events) override;

    std::int32_t Browse(const std::string& path, std::int32_t start, std::int32_t count,
                        ListPage* page) override;
    std::int32_t Search(const std::string& text, std::int32_t start, std::int32_t count,
                        ListPage* page) override;
    std::int32_t Item(std::int32_t id, const std::string& path, LibraryEntry* entry) override;
    std::int32_t AlbumArt(std::int32_t id, std::string* bytes, std::string* type) override;

    // What the idle thread posts (loop thread): the subsystems that changed
    // and, when their changes show there, MPD's status read just after, when
    // the loop had read it `reads` times; a status the loop has read since
    // is at least as new.
    void OnIdle(unsigned subsystems, const mpd_status* status, unsigned reads, Events& events);
    void OnLost(Events& events);
    void OnConnected(Events& events);

    // A filter expression's quoted value: 'text' with ' and \ escaped.
    static std::string Quote(const std::string& text);

    // What a library path or a selector names in MPD's terms.
    struct Selection {
        enum class Kind { kNothing, kSong, kFilter, kPlaylist } kind = Kind::kNothing;
        std::string value;  // the song's URI, the filter expression or the playlist's name
    };
    Selection Resolve(const MediaSelector& selector);
    Selection ResolvePath(const std::string& path);

private:
    struct IdleState;
    using Send = std::function<bool(mpd_connection*)>;

    // Sends `commands` and "status" in one command list and applies the
    // status (loop thread).
    std::int32_t Run(const char* what, const std::vector<Send>& commands, Events& events);
    void Refresh(Events& events);
    void Apply(const mpd_status* status, Events& events);
    void MarkLost(Events& events);
    void CountStatusRead();
    unsigned StatusReads() const;
    std::int32_t ReadSpeakers(std::vector<Speaker>* speakers);
    void RefreshSpeakers(Events& events);
    std::int32_t ReadRating(mpd_connection* connection, const std::string& uri);
    std::int32_t CountMatches(mpd_connection* connection, const Selection& selection,
                              std::size_t* count);
    // The songs a selection names, on the command connection: kNotFound for
    // none, kPlayerFailed (MPD marked lost) without a connection.
    std::int32_t CountSongs(const Selection& selection, std::size_t* count, Events& events);
    std::vector<Send> AddCommands(const Selection& selection, std::int32_t position);

    // Library (under libraryMutex_).
    LibraryEntry Entry(const mpd_song* song);
    std::int32_t TagList(int tag, const std::string& filter, std::vector<std::string>* names);
    std::int32_t Songs(const std::string& filter, std::int32_t start, std::int32_t count,
                       const std::string& folder, ListPage* page);
    std::int32_t PlaylistNames(std::vector<std::string>* names);
    std::int32_t ReadPicture(mpd_connection* connection, const std::string& uri, std::size_t limit,
                             std::string* bytes);
    void ForgetLibrary();

    // Song numbers (any thread).
    std::int32_t IdOf(const std::string& uri);
    std::string UriOf(std::int32_t id);

    const MpdOptions options_;

    // Loop thread.
    MpdConnection command_;
    PlayerStatus status_;
    bool connected_ = false;  // the last status was read from MPD
    bool haveStatus_ = false;
    int songId_ = -1;  // MPD's queue id of the current song
    unsigned queueVersion_ = 0;
    std::string currentUri_;
    std::vector<Speaker> speakers_;
    std::chrono::steady_clock::time_point lastPing_{};

    std::mutex libraryMutex_;  // guards library_ and the name lists below
    MpdConnection library_;
    std::list<std::pair<std::string, std::vector<std::string>>>
        names_;  // recent lists, newest first

    std::mutex idsMutex_;            // guards uris_ and ids_
    std::vector<std::string> uris_;  // by id - 1
    std::unordered_map<std::string, std::int32_t> ids_;

    std::shared_ptr<IdleState> idle_;
    NamedThread idleThread_;
};

}  // namespace vantor::server
