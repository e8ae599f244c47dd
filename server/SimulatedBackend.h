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
    std::int32_t Transport(TransportCommand command, Events& events) override;
    std::int32_t SetVolume(std::int32_t volume, Events& events) override;
    std::int32_t SetPlaybackPosition(std::int32_t seconds, Events& events) override;
    std::int32_t SetQueuePosition(std::int32_t position, Events& events) override;
    std::int32_t SetShuffle(bool shuffle, Events& events) override;
    std::int32_t SetRepeat(std::int32_t repeat, Events& events) override;
    std::int32_t SetRating(std::int32_t rating, Events& events) override;
    std::int32_t GetEq(EqSettings* eq) override;
    std::int32_t SetEq(const EqSettings& eq, Events& events) override;
    std::int32_t EqPresets(std::vector<std::string>* names) override;
    std::int32_t SetEqPreset(const std::string& name, Events& events) override;
    std::int32_t GetFullScreen(bool* enabled) override;
    std::int32_t SetFullScreen(bool enabled, Events& events) override;
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
