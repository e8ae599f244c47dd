#pragma once

// A vantor-server for tests and benchmarks, put together as the program
// does it: the simulated player (or an MPD, or a player the test makes),
// and the hooks that steer the simulated player from the test.

#include <memory>
#include <string>

#include "MessageServer.h"
#include "MusicFolder.h"
#include "SimulatedBackend.h"
#include "core/Logger.h"
#include "mpd/MpdBackend.h"

namespace vantor::testing {

struct SimulatedOptions : server::ServerOptions {
    int songs = 500;
    // A folder of audio files whose tags make the library instead of a
    // generated one.
    std::string musicFolder;
    int queueLength = 25;
    // A Music Player Daemon to drive instead (empty host: none).
    std::string mpdHost;
    std::uint16_t mpdPort = 6600;
    // Makes the player instead of the above; called by each Start().
    std::function<std::shared_ptr<server::PlayerBackend>()> makePlayer;
    std::shared_ptr<server::SpeakerService> speakers;
};

class SimulatedServer : public server::MessageServer {
public:
    explicit SimulatedServer(const SimulatedOptions& options)
        : SimulatedServer(options, Library(options)) {}

    // The simulated player's library (empty when it is not the player).
    const server::MediaLibrary& Library() const { return *library_; }

    using MessageServer::Post;
    // Runs `task` on the loop with the simulated player itself; logged and
    // dropped when the player is another.
    void Post(std::function<void(server::PlayerModel&, server::Events&)> task) {
        Post([task = std::move(task)](server::PlayerBackend& player, server::Events& events) {
            if (auto* simulated = dynamic_cast<server::SimulatedBackend*>(&player)) {
                task(simulated->Model(), events);
            } else {
                Log(kLogError, "test server: a task for the simulated player dropped");
            }
        });
    }

private:
    static std::shared_ptr<const server::MediaLibrary> Library(const SimulatedOptions& options) {
        if (options.makePlayer || !options.mpdHost.empty()) {
            return std::make_shared<const server::MediaLibrary>();
        }
        return std::make_shared<const server::MediaLibrary>(
            options.musicFolder.empty() ? server::MediaLibrary::Generate(options.songs)
                                        : server::ReadMusicFolder(options.musicFolder));
    }
    static server::ServerParts Parts(const SimulatedOptions& options,
                                     std::shared_ptr<const server::MediaLibrary> library) {
        server::ServerParts parts;
        parts.speakers = options.speakers;
        if (options.makePlayer) {
            parts.makePlayer = options.makePlayer;
        } else if (!options.mpdHost.empty()) {
            server::MpdOptions mpd;
            mpd.host = options.mpdHost;
            mpd.port = options.mpdPort;
            mpd.timeout = options.playerTimeout;
            parts.makePlayer = [mpd]() -> std::shared_ptr<server::PlayerBackend> {
                return std::make_shared<server::MpdBackend>(mpd);
            };
        } else {
            parts.makePlayer =
                [library,
                 length = options.queueLength]() -> std::shared_ptr<server::PlayerBackend> {
                return std::make_shared<server::SimulatedBackend>(library, length);
            };
        }
        return parts;
    }
    SimulatedServer(const SimulatedOptions& options,
                    std::shared_ptr<const server::MediaLibrary> library)
        : MessageServer(options, Parts(options, library)), library_(std::move(library)) {}

    std::shared_ptr<const server::MediaLibrary> library_;
};

}  // namespace vantor::testing
