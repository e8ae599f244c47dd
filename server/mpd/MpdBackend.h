#pragma once

// A Music Player Daemon as the player behind vantor-server, through
// libmpdclient. The play queue, transport, volume, shuffle and repeat
// ("single" is repeat one) are MPD's own; outputs are the speakers; a
// song's rating is its "rating" sticker (0..100). MPD has no equaliser and
// no video mode: those requests are answered as unsupported, and the
// capabilities say so.
//
// The rooms, one job each:
//   MpdBackend (this file, MpdQueue.cpp)   the player on the loop thread: commands
//                                          and the status they leave
//   MpdStatus      status -> state, and two states -> the events (pure)
//   MpdIdle        the idle connection in the loop's poll, and reconnection
//   MpdLibrary     library pages and search
//   MpdPictures    cover pictures
//   MpdSelection   what a path or selector names in MPD's terms
//   MpdFilter      filter expressions and their quoting
//   MpdSongs       the song numbers clients know songs by
//   MpdConnection  one connection that comes back by itself
//
// Changes that others make arrive on the idle connection, which the loop
// waits on with its clients (Watched/OnWatched); the loop compares the
// status read after each with the last one it saw and pushes the difference
// as events. When MPD goes away the player shows stopped, requests fail
// with kPlayerFailed, and the "MPD Idle" thread connects again every half
// second; once MPD is back, the loop reads its state anew.
//
// Threads, connections and locks:
// - loop thread: every loop-thread method of PlayerBackend, on the command
//   connection and the idle connection, with the status it last saw (no
//   lock: only the loop touches them, and Start()/Stop() run while it does
//   not);
// - any thread: library pages on the library connection (MpdLibrary's
//   locks), pictures on the pictures connection (MpdPictures' lock); the
//   loop never waits for a picture, and waits for a page only to ping;
// - the song numbers are shared by all, under MpdSongs' lock, taken last;
// - "MPD Idle": connecting only; it hands the connection to the loop.

#include <chrono>
#include <string>
#include <vector>

#include "MpdConnection.h"
#include "MpdIdle.h"
#include "MpdLibrary.h"
#include "MpdPictures.h"
#include "MpdSelection.h"
#include "MpdSongs.h"
#include "MpdStatus.h"
#include "PlayerBackend.h"

namespace vantor::server {

class MpdBackend final : public PlayerBackend {
public:
    explicit MpdBackend(MpdOptions options);
    ~MpdBackend() override;

    void Start(LoopPost post) override;
    void Stop() override;

    std::string PlayerType() const override { return "Music Player Daemon"; }
    std::string LibraryId() const override { return "mpd"; }
    PlayerCapabilities Capabilities() const override { return {false, true}; }
    PlayerStatus Status() override { return state_.player; }
    ResultCode Transport(TransportCommand command, Events& events) override;
    ResultCode SetVolume(std::int32_t volume, Events& events) override;
    ResultCode SetPlaybackPosition(std::int32_t seconds, Events& events) override;
    ResultCode SetQueuePosition(std::int32_t position, Events& events) override;
    ResultCode SetShuffle(bool shuffle, Events& events) override;
    ResultCode SetRepeat(std::int32_t repeat, Events& events) override;
    ResultCode SetRating(std::int32_t rating, Events& events) override;
    ResultCode GetEq(EqSettings*) override { return kUnsupported; }
    ResultCode SetEq(const EqSettings&, Events&) override { return kUnsupported; }
    ResultCode EqPresets(std::vector<std::string>*) override { return kUnsupported; }
    ResultCode SetEqPreset(const std::string&, Events&) override { return kUnsupported; }
    ResultCode GetFullScreen(bool*) override { return kUnsupported; }
    ResultCode SetFullScreen(bool, Events&) override { return kUnsupported; }
    ResultCode Speakers(std::vector<Speaker>* speakers) override;
    ResultCode SelectSpeaker(const std::string& id, Events& events) override;
    ResultCode EnableSpeaker(const std::string& id, bool enabled, Events& events) override;
    ResultCode PlayNow(const MediaSelector& selector, std::int32_t startingItem,
                       Events& events) override;
    ResultCode Add(const MediaSelector& selector, std::int32_t position, Events& events) override;
    ResultCode Remove(std::int32_t position, Events& events) override;
    ResultCode Move(std::int32_t from, std::int32_t to, Events& events) override;
    ResultCode Clear(Events& events) override;
    ResultCode QueuePage(std::int32_t start, std::int32_t count, ListPage* page) override;
    ResultCode AlbumArtPath(std::string* path) override;
    ResultCode UpdateLibrary(Events& events) override;
    void Tick(Events& events) override;
    LoopWatch Watched() override;
    void OnWatched(Events& events) override;

    ResultCode Browse(const std::string& path, std::int32_t start, std::int32_t count,
                      ListPage* page) override;
    ResultCode Search(const std::string& text, std::int32_t start, std::int32_t count,
                      ListPage* page) override;
    ResultCode Item(std::int32_t id, const std::string& path, LibraryEntry* entry) override;
    ResultCode AlbumArt(std::int32_t id, std::string* bytes, std::string* type) override;

    // What the idle connection tells (loop thread).
    void OnIdle(const MpdIdleNotice& notice, Events& events);

private:
    using Send = std::function<bool(mpd_connection*)>;

    // The command connection; null (and MPD marked lost) when MPD cannot be
    // reached.
    mpd_connection* Commands(Events& events);
    // Sends `commands` and "status" in one command list and applies the
    // status.
    ResultCode Run(const char* what, const std::vector<Send>& commands, Events& events);
    void Refresh(Events& events);
    void Apply(const mpd_status* status, Events& events);
    void OnChanged(unsigned subsystems, const mpd_status* status, unsigned reads, Events& events);
    void MarkLost(Events& events);
    std::int32_t ReadRating(const std::string& uri);
    ResultCode ReadSpeakers(std::vector<Speaker>* speakers);
    void RefreshSpeakers(Events& events);
    // Makes the queue's entry current, playing or not as before.
    ResultCode Cue(std::int32_t position, Events& events);
    // The songs a selection names: kNotFound for none.
    ResultCode CountSongs(const MpdSelection& selection, std::size_t* count, Events& events);
    static std::vector<Send> AddCommands(const MpdSelection& selection, std::int32_t position);

    const MpdOptions options_;
    MpdSongs songs_;
    MpdLibrary library_;
    MpdPictures pictures_;

    // Loop thread.
    MpdConnection command_;
    mpd::State state_;
    bool connected_ = false;  // the last status was read from MPD
    bool haveStatus_ = false;
    std::string currentUri_;
    std::vector<Speaker> speakers_;
    std::chrono::steady_clock::time_point lastPing_{};
    // The status reads on the command connection: an idle status asked for
    // before the last of them may be older than the state it left.
    unsigned statusReads_ = 0;

    MpdIdleWatch idle_;
};

}  // namespace vantor::server
