#pragma once

// The simulated player as a PlayerBackend: PlayerModel over a MediaLibrary
// (generated, or read from a music folder). Every change is answered with
// its events at once; nothing changes on its own except the playing
// position, once a tick.
//
// Threads: as PlayerBackend says. The library is immutable; the folders
// listed last are kept under cacheMutex_ for the HTTP workers.

#include <list>
#include <mutex>

#include "PlayerBackend.h"
#include "PlayerModel.h"

namespace vantor::server {

class SimulatedBackend final : public PlayerBackend {
public:
    SimulatedBackend(std::shared_ptr<const MediaLibrary> library, int queueLength);

    // The simulated player itself, for tests that steer it (loop thread).
    PlayerModel& Model() { return player_; }

    std::string PlayerType() const override { return "Simulated Player"; }
    std::string LibraryId() const override { return "simulated"; }
    PlayerCapabilities Capabilities() const override { return {true, true}; }
    PlayerStatus Status() override;
    ResultCode Transport(TransportCommand command, Events& events) override;
    ResultCode SetVolume(std::int32_t volume, Events& events) override;
    ResultCode SetPlaybackPosition(std::int32_t seconds, Events& events) override;
    ResultCode SetQueuePosition(std::int32_t position, Events& events) override;
    ResultCode SetShuffle(bool shuffle, Events& events) override;
    ResultCode SetRepeat(std::int32_t repeat, Events& events) override;
    ResultCode SetRating(std::int32_t rating, Events& events) override;
    ResultCode GetEq(EqSettings* eq) override;
    ResultCode SetEq(const EqSettings& eq, Events& events) override;
    ResultCode EqPresets(std::vector<std::string>* names) override;
    ResultCode SetEqPreset(const std::string& name, Events& events) override;
    ResultCode GetFullScreen(bool* enabled) override;
    ResultCode SetFullScreen(bool enabled, Events& events) override;
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

    ResultCode Browse(const std::string& path, std::int32_t start, std::int32_t count,
                      ListPage* page) override;
    ResultCode Search(const std::string& text, std::int32_t start, std::int32_t count,
                      ListPage* page) override;
    ResultCode Item(std::int32_t id, const std::string& path, LibraryEntry* entry) override;
    ResultCode AlbumArt(std::int32_t id, std::string* bytes, std::string* type) override;

private:
    std::vector<std::int32_t> Select(const MediaSelector& selector) const;
    std::shared_ptr<const std::vector<LibraryEntry>> Folder(const std::string& path);

    const std::shared_ptr<const MediaLibrary> library_;
    PlayerModel player_;

    // Recently listed folders, so that paging through a large one lists it
    // once. Most recent first.
    std::mutex cacheMutex_;  // guards cache_
    std::list<std::pair<std::string, std::shared_ptr<const std::vector<LibraryEntry>>>> cache_;
};

}  // namespace vantor::server
