#pragma once

// The desktop's media players as the player behind vantor-server, over the
// session bus (MPRIS). Without a name it drives the player a person is
// using: the one that began playing last, or was chosen last from a client
// (the players are the speakers; SelectSpeakerRequest switches). With a
// name (see NameMatches) only the players matching it are followed. The
// client's own MPRIS service and playerctld are never driven.
//
// The play queue is the player's TrackList where it has one, otherwise the
// current track; the library is a "Playlists" folder where the player has
// the Playlists interface (its entries play with ActivatePlaylist),
// otherwise the current track. What the player's Can* properties deny is
// answered as unsupported. Album art is the picture the driven player
// names for its current track, served only when it really is one (see
// MprisArt.h).
//
// Threads and locks:
// - "MPRIS Bus": QtDBus and the MprisBus on it, in a Qt event loop of its
//   own (a QCoreApplication must exist). It posts each new view of the
//   driven player to the server loop (LoopPost).
// - commands: the loop calls the driven player itself, on the bus
//   thread's connection (QtDBus connections are thread-safe), and waits
//   for the answers. A command's calls share one wait of at most
//   `answerWait`; the loop's waits for the player, added up and counted
//   down at half the time that passes, take from it, so a slow player
//   holds the loop for one such wait, not for each command in turn. A
//   command's first call left unanswered fails it (kPlayerFailed); a later
//   one is left to the player (the command is under way). Either way
//   further commands fail at once until the player shows life: it answers
//   that call, signals a change, or answers a question sent, without
//   waiting, once the bus gave up on the call. Choosing a player is
//   handed to the bus thread.
// - loop thread: every loop-thread method of PlayerBackend, and view_ (no
//   lock: only the loop touches it).
// - any thread (loop and HTTP workers): the listing, the item numbers given
//   out and the current art URL, under sharedMutex_; the art cache guards
//   itself.

#include <QDBusPendingCall>
#include <QVariant>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "PlayerBackend.h"
#include "core/NamedThread.h"
#include "mpris/MprisArt.h"
#include "mpris/MprisView.h"

namespace vantor::server::mpris {

class MprisBus;

// The longest the start waits for the players on the bus to be read: one
// that hangs is given up on after the bus's call time-outs, well within it.
inline constexpr std::chrono::seconds kLongestStart{10};

struct MprisOptions {
    // The player to drive (see NameMatches); empty: the one in use.
    std::string name;
    // How long the loop waits at most for a player's answers to one
    // command: long enough for a player that a busy desktop slows down not
    // to be taken for one that hangs.
    std::chrono::milliseconds answerWait{2000};
};

class MprisBackend final : public PlayerBackend {
public:
    explicit MprisBackend(MprisOptions options);
    ~MprisBackend() override;

    // After Start (owner): waits until the bus thread has reached the
    // user's session bus; false, with the reason, when it could not (or did
    // not know within `wait`). Needs a QCoreApplication.
    bool WaitForBus(std::chrono::milliseconds wait, std::string* reason);
    // After WaitForBus (owner): waits until the loop has been told of the
    // players that were on the bus at the start (each read, or given up on
    // after the bus's call time-out), so that a command sent from then on
    // finds the player in use; false when that did not happen within `wait`.
    bool WaitForPlayers(std::chrono::milliseconds wait) const;

    void Start(LoopPost post) override;
    void Stop() override;
    // Once the loop has the players that were on the bus at the start, or
    // kLongestStart after it.
    bool Ready() override;

    std::string PlayerType() const override { return "Desktop media player (MPRIS)"; }
    std::string LibraryId() const override { return "mpris"; }
    PlayerCapabilities Capabilities() const override { return {false, true}; }
    PlayerStatus Status() override;
    ResultCode Transport(TransportCommand command, Events& events) override;
    ResultCode SetVolume(std::int32_t volume, Events& events) override;
    ResultCode SetPlaybackPosition(std::int32_t seconds, Events& events) override;
    ResultCode SetQueuePosition(std::int32_t position, Events& events) override;
    ResultCode SetShuffle(bool shuffle, Events& events) override;
    ResultCode SetRepeat(std::int32_t repeat, Events& events) override;
    ResultCode SetRating(std::int32_t, Events&) override { return kUnsupported; }
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
    ResultCode Add(const MediaSelector&, std::int32_t, Events&) override { return kUnsupported; }
    ResultCode Remove(std::int32_t, Events&) override { return kUnsupported; }
    ResultCode Move(std::int32_t, std::int32_t, Events&) override { return kUnsupported; }
    ResultCode Clear(Events&) override { return kUnsupported; }
    ResultCode QueuePage(std::int32_t start, std::int32_t count, ListPage* page) override;
    ResultCode AlbumArtPath(std::string* path) override;
    ResultCode UpdateLibrary(Events& events) override;
    void Tick(Events& events) override;

    ResultCode Browse(const std::string& path, std::int32_t start, std::int32_t count,
                      ListPage* page) override;
    ResultCode Search(const std::string& text, std::int32_t start, std::int32_t count,
                      ListPage* page) override;
    ResultCode Item(std::int32_t id, const std::string& path, LibraryEntry* entry) override;
    ResultCode AlbumArt(std::int32_t id, std::string* bytes, std::string* type) override;

    // What the bus thread posts (loop thread): the driven player's new view.
    void Apply(PlayerView view, Events& events);

private:
    struct Shared;
    class Budget;
    // What a number given to a client stands for.
    struct Known {
        std::string busName;
        bool playlist = false;
        std::string target;  // the track's or playlist's object path
        LibraryEntry entry;
    };
    // Calls a method of the driven player and waits for its answer, within
    // the command's wait (loop thread).
    ResultCode Command(const QString& interface, const char* method, QVariantList arguments);
    ResultCode PlayerCall(const char* method, QVariantList arguments = {});
    ResultCode SetProperty(const char* property, QVariant value);
    // Play, and Play after a Stop that emptied the player.
    ResultCode Play();
    // Asks the driven player for its PlaybackStatus until it is `status`,
    // within half of what is left of the command's wait; false when it
    // never was.
    bool AwaitPlaybackStatus(const QString& status);
    // Waits for `call`'s answer until `until`; false when it has not come.
    static bool Await(const QDBusPendingCall& call, Clock::time_point until);
    // Whether the player has left a call unanswered and shown no life
    // since; asks it again, without waiting, once the bus gave up on it.
    bool Silent();
    // Whether Play must open the stopped file again: the player the server
    // stopped shows nothing, lists nothing and can open that file.
    bool ReopenStopped() const;

    // Under sharedMutex_.
    std::int32_t NumberOf(const std::string& busName, bool playlist, const std::string& target,
                          LibraryEntry entry);
    LibraryEntry TrackEntryLocked(const Track& track);
    std::vector<LibraryEntry> QueueLocked();
    std::vector<LibraryEntry> FolderLocked(const std::string& path, bool* found);
    const Known* KnownLocked(std::int32_t id) const;
    const Known* ResolveLocked(const MediaSelector& selector, std::int32_t startingItem);

    const MprisOptions options_;
    std::shared_ptr<Shared> shared_;
    std::shared_future<std::string> reached_;
    std::shared_future<void> looked_;
    Clock::time_point startGivenUp_{};
    NamedThread thread_;

    // Loop thread.
    PlayerView view_;
    std::int32_t toldPosition_ = 0;
    // The call the player left unanswered, or the question sent since: until
    // it is answered (or the player signals) commands fail at once.
    std::optional<QDBusPendingCall> unanswered_;
    // The loop's recent waits for the player, counted down at half the
    // time that passes since lastWait_.
    Clock::duration waited_{};
    Clock::time_point lastWait_{};
    // The command under way (Budget): when its wait ends, whether a call
    // was already sent, and how deep the nested calls are.
    Clock::time_point commandEnds_{};
    bool commandSent_ = false;
    int commandDepth_ = 0;
    // The player and the file it played when a client stopped it: a player
    // whose Stop empties its playlist (mpv) is given the file again by Play.
    // Cleared once the player shows a track again or another is driven.
    std::string stoppedBus_;
    std::string stoppedUrl_;

    std::mutex sharedMutex_;    // guards listed_, known_ and numbers_
    PlayerView listed_;         // the driven player's view as last applied
    std::vector<Known> known_;  // by number - 1
    std::unordered_map<std::string, std::int32_t> numbers_;

    ArtCache art_;
};

}  // namespace vantor::server::mpris
