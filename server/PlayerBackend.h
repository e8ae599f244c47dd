#pragma once

// The player behind vantor-server, as the request handler and the media
// HTTP side see it: transport, play queue, positions, volume, shuffle and
// repeat, ratings, equaliser, speakers, library pages and album art. Two
// players stand behind it: the simulated one (SimulatedBackend) and a Music
// Player Daemon (MpdBackend).
//
// Every operation returns one of the result codes below; what it changed is
// appended to `events` as the protocol's events, which the server pushes to
// every client. A player may also change on its own (a song ends, another
// program turns the volume up): such changes reach the server loop through
// the LoopPost handed to Start().
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
#include "protocol/Messages.h"

namespace vantor::server {

using Events = std::vector<std::unique_ptr<Message>>;

// Result codes the server puts in returnCode.
inline constexpr std::int32_t kSuccess = 0;
inline constexpr std::int32_t kUnsupported = 1;
inline constexpr std::int32_t kBadParameter = 2;
inline constexpr std::int32_t kNotFound = 3;
// The player could not be reached, or failed to carry out the request.
inline constexpr std::int32_t kPlayerFailed = 4;

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

    // --- owner
    virtual void Start(LoopPost post) { (void)post; }
    virtual void Stop() {}

    // --- loop thread
    virtual std::string PlayerType() const = 0;
    // Names the library in GetMediaItemResponse.
    virtual std::string LibraryId() const = 0;
    virtual PlayerCapabilities Capabilities() const = 0;
    virtual PlayerStatus Status() = 0;
    virtual std::int32_t Transport(TransportCommand command, Events& events) = 0;
    virtual std::int32_t SetVolume(std::int32_t volume, Events& events) = 0;  // 0..100
    virtual std::int32_t SetPlaybackPosition(std::int32_t seconds, Events& events) = 0;
    virtual std::int32_t SetQueuePosition(std::int32_t position, Events& events) = 0;
    virtual std::int32_t SetShuffle(bool shuffle, Events& events) = 0;
    virtual std::int32_t SetRepeat(std::int32_t repeat, Events& events) = 0;
    virtual std::int32_t SetRating(std::int32_t rating, Events& events) = 0;  // 0..100
    virtual std::int32_t GetEq(EqSettings* eq) = 0;
    virtual std::int32_t SetEq(const EqSettings& eq, Events& events) = 0;
    virtual std::int32_t EqPresets(std::vector<std::string>* names) = 0;
    virtual std::int32_t SetEqPreset(const std::string& name, Events& events) = 0;
    virtual std::int32_t GetFullScreen(bool* enabled) = 0;
    virtual std::int32_t SetFullScreen(bool enabled, Events& events) = 0;
    virtual std::int32_t Speakers(std::vector<Speaker>* speakers) = 0;
    virtual std::int32_t SelectSpeaker(const std::string& id, Events& events) = 0;
    virtual std::int32_t EnableSpeaker(const std::string& id, bool enabled, Events& events) = 0;
    // Replaces the queue with what `selector` names and plays from
    // `startingItem`.
    virtual std::int32_t PlayNow(const MediaSelector& selector, std::int32_t startingItem,
                                 Events& events) = 0;
    // Inserts what `selector` names at `position` (-1: at the end).
    virtual std::int32_t Add(const MediaSelector& selector, std::int32_t position,
                             Events& events) = 0;
    virtual std::int32_t Remove(std::int32_t position, Events& events) = 0;
    virtual std::int32_t Move(std::int32_t from, std::int32_t to, Events& events) = 0;
    virtual std::int32_t Clear(Events& events) = 0;
    // count -1: to the end.
    virtual std::int32_t QueuePage(std::int32_t start, std::int32_t count, ListPage* page) = 0;
    // The media side's URL path of the current song's cover picture.
    virtual std::int32_t AlbumArtPath(std::string* path) = 0;
    virtual std::int32_t UpdateLibrary(Events& events) = 0;
    // Once a second: what moved on its own (the playing position).
    virtual void Tick(Events& events) = 0;

    // --- any thread
    // A page of a library folder by its path (see MediaLibrary.h); count -1:
    // to the end. kNotFound when the path names no folder.
    virtual std::int32_t Browse(const std::string& path, std::int32_t start, std::int32_t count,
                                ListPage* page) = 0;
    virtual std::int32_t Search(const std::string& text, std::int32_t start, std::int32_t count,
                                ListPage* page) = 0;
    // One song by its id or, when the id is -1, by its library path.
    virtual std::int32_t Item(std::int32_t id, const std::string& path, LibraryEntry* entry) = 0;
    // The cover picture of the song with this id, and its MIME type.
    virtual std::int32_t AlbumArt(std::int32_t id, std::string* bytes, std::string* type) = 0;
};

// The slice [start, start + count) of a list (count -1: to the end), with
// jump labels when it starts at 0.
ListPage PageOf(const std::vector<LibraryEntry>& all, std::int32_t start, std::int32_t count);

// Jump labels for a list of folders in name order: the first row of each
// initial letter ("#" for the rest). None for short lists or lists with
// songs in them.
std::vector<IndexLabel> JumpLabels(const std::vector<LibraryEntry>& entries);

// A folder row and a song row of a library page; a song's path is its
// folder's and its id.
LibraryEntry FolderEntry(const std::string& parent, const std::string& title, MediaType type);
LibraryEntry SongEntry(const std::string& parent, LibraryEntry song);

}  // namespace vantor::server
