#pragma once

// The player behind vantor-server, as the request handler and the media
// HTTP side see it: transport, play queue, positions, volume, shuffle and
// repeat, ratings, equaliser, speakers, library pages and album art. Two
// players stand behind it: the simulated one (SimulatedBackend) and a Music
// Player Daemon (MpdBackend).
//
// Every operation returns a ResultCode (ResultCode.h); what it changed is
// appended to `events` as the protocol's events, which the server pushes to
// every client. A player may also change on its own (a song ends, another
// program turns the volume up): such changes reach the server loop through
// the LoopPost handed to Start(), or on a descriptor the loop waits on for
// the backend (Watched()).
//
// Threads: Start() and Stop() belong to the owner, before the server loop
// runs and after it has ended. The "loop thread" methods are called only on
// the server's loop thread. The "any thread" methods (library pages, album
// art) are called from the loop and from the HTTP workers at once; each
// backend guards what they share.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "MediaLibrary.h"
#include "ResultCode.h"
#include "protocol/Messages.h"

namespace vantor::server {

using Events = std::vector<std::unique_ptr<Message>>;

struct PlayerStatus {
    std::int32_t playingState = PlayingState::Stopped;
    std::int32_t volume = -1;  // -1: the player has no volume control
    std::int32_t queuePosition = 0;
    std::int32_t queueLength = 0;
    std::int32_t playbackPosition = 0;  // seconds
    bool shuffle = false;
    std::int32_t repeat = RepeatState::Off;
    // The song playing or to play, with its rating; nothing when the queue
    // is empty.
    std::optional<LibraryEntry> current;
};

struct PlayerCapabilities {
    bool eq = false;
    bool multipleSpeakers = false;
};

// A jump label of a long list: the row where names with `label` begin.
struct IndexLabel {
    std::string label;
    std::int32_t position = 0;
};

// A page of a longer list: a folder, a search or the play queue.
struct ListPage {
    std::vector<LibraryEntry> entries;
    std::size_t total = 0;  // entries in the whole list
    // Jump labels over the whole list, given with its first page only.
    std::vector<IndexLabel> index;
};

enum class TransportCommand { Play, Pause, PlayPause, Stop, FastForward, Rewind, Next, Previous };

class PlayerBackend {
public:
    // Runs a task on the server loop; the events it adds go to every client.
    // Safe to call from any thread; a task posted after the loop has ended
    // is dropped.
    using Task = std::function<void(PlayerBackend&, Events&)>;
    using LoopPost = std::function<void(Task)>;

    virtual ~PlayerBackend() = default;

    // A descriptor the loop waits on beside its own, for a backend that
    // talks to its player without a thread of its own. The backend may
    // close it in any call: the loop waits on a copy of its own.
    struct LoopWatch {
        int fd = -1;            // none
        bool writable = false;  // wait for room to write as well
        // Another descriptor, even one with the same number, comes with
        // another generation.
        unsigned generation = 0;
    };

    // --- owner
    virtual void Start(LoopPost post) { (void)post; }
    virtual void Stop() {}

    // --- loop thread, before each wait: false while the player is still
    // being found at the start. Until then the loop takes no client and
    // answers no discovery (both wait in the kernel's queues), so a first
    // command finds the player. A task posted when it turns true wakes the
    // loop.
    virtual bool Ready() { return true; }

    // --- loop thread, before each wait, and when the descriptor is ready
    virtual LoopWatch Watched() { return {}; }
    virtual void OnWatched(Events& events) { (void)events; }

    // --- loop thread
    virtual std::string PlayerType() const = 0;
    // Names the library in GetMediaItemResponse.
    virtual std::string LibraryId() const = 0;
    virtual PlayerCapabilities Capabilities() const = 0;
    virtual PlayerStatus Status() = 0;
    virtual ResultCode Transport(TransportCommand command, Events& events) = 0;
    virtual ResultCode SetVolume(std::int32_t volume, Events& events) = 0;  // 0..100
    virtual ResultCode SetPlaybackPosition(std::int32_t seconds, Events& events) = 0;
    // Plays the queue's entry at `position`, stopped, paused or playing.
    virtual ResultCode SetQueuePosition(std::int32_t position, Events& events) = 0;
    virtual ResultCode SetShuffle(bool shuffle, Events& events) = 0;
    virtual ResultCode SetRepeat(std::int32_t repeat, Events& events) = 0;
    virtual ResultCode SetRating(std::int32_t rating, Events& events) = 0;  // 0..100
    virtual ResultCode GetEq(EqSettings* eq) = 0;
    virtual ResultCode SetEq(const EqSettings& eq, Events& events) = 0;
    virtual ResultCode EqPresets(std::vector<std::string>* names) = 0;
    virtual ResultCode SetEqPreset(const std::string& name, Events& events) = 0;
    virtual ResultCode GetFullScreen(bool* enabled) = 0;
    virtual ResultCode SetFullScreen(bool enabled, Events& events) = 0;
    virtual ResultCode Speakers(std::vector<Speaker>* speakers) = 0;
    virtual ResultCode SelectSpeaker(const std::string& id, Events& events) = 0;
    virtual ResultCode EnableSpeaker(const std::string& id, bool enabled, Events& events) = 0;
    // Replaces the queue with what `selector` names and plays from
    // `startingItem`.
    virtual ResultCode PlayNow(const MediaSelector& selector, std::int32_t startingItem,
                               Events& events) = 0;
    // Inserts what `selector` names at `position` (-1: at the end).
    virtual ResultCode Add(const MediaSelector& selector, std::int32_t position,
                           Events& events) = 0;
    virtual ResultCode Remove(std::int32_t position, Events& events) = 0;
    virtual ResultCode Move(std::int32_t from, std::int32_t to, Events& events) = 0;
    virtual ResultCode Clear(Events& events) = 0;
    // count -1: to the end.
    virtual ResultCode QueuePage(std::int32_t start, std::int32_t count, ListPage* page) = 0;
    // The media side's URL path of the current song's cover picture.
    virtual ResultCode AlbumArtPath(std::string* path) = 0;
    virtual ResultCode UpdateLibrary(Events& events) = 0;
    // Once a second: what moved on its own (the playing position).
    virtual void Tick(Events& events) = 0;

    // --- any thread
    // A page of a library folder by its path (see MediaLibrary.h); count -1:
    // to the end. kNotFound when the path names no folder.
    virtual ResultCode Browse(const std::string& path, std::int32_t start, std::int32_t count,
                              ListPage* page) = 0;
    virtual ResultCode Search(const std::string& text, std::int32_t start, std::int32_t count,
                              ListPage* page) = 0;
    // One song by its id or, when the id is -1, by its library path.
    virtual ResultCode Item(std::int32_t id, const std::string& path, LibraryEntry* entry) = 0;
    // The cover picture of the song with this id, and its MIME type.
    virtual ResultCode AlbumArt(std::int32_t id, std::string* bytes, std::string* type) = 0;
};

// The slice [start, start + count) of a list (count -1: to the end), with
// jump labels when it starts at 0.
ListPage PageOf(const std::vector<LibraryEntry>& all, std::int32_t start, std::int32_t count);

// Jump labels for a list of folders in name order: the first row of each
// initial letter ("#" for the rest). None for short lists or lists with
// songs in them.
std::vector<IndexLabel> JumpLabels(const std::vector<LibraryEntry>& entries);

// A song row of a library page: its path is its folder's and its id.
LibraryEntry SongEntry(const std::string& parent, LibraryEntry song);

}  // namespace vantor::server
