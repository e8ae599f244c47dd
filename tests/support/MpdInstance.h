#pragma once

// A Music Player Daemon of a test's (or a benchmark's) own: its own
// configuration, database, state and sticker files in a folder the caller
// gives, bound to 127.0.0.1 on a port that was free, with a null output and
// a software mixer. It is stopped (SIGTERM, then reaped) with the object.

#include <arpa/inet.h>
#include <mpd/client.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "support/Process.h"
#include "support/Wait.h"

namespace vantor::testing {

// The program's path from PATH (and the usual folders); empty when absent.
inline std::string FindProgram(const std::string& name) {
    const char* path = std::getenv("PATH");
    const std::string folders = std::string(path ? path : "") + ":/usr/bin:/usr/sbin:/bin";
    std::size_t start = 0;
    while (start <= folders.size()) {
        const std::size_t colon = std::min(folders.find(':', start), folders.size());
        const std::filesystem::path candidate =
            std::filesystem::path(folders.substr(start, colon - start)) / name;
        if (colon > start && ::access(candidate.c_str(), X_OK) == 0) {
            return candidate.string();
        }
        start = colon + 1;
    }
    return {};
}

// A port on 127.0.0.1 that was free a moment ago.
inline std::uint16_t FreePort() {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    ::close(fd);
    return ntohs(address.sin_port);
}

using MpdConnectionPtr = std::unique_ptr<mpd_connection, decltype(&mpd_connection_free)>;

class Mpd {
public:
    // `folder` holds music/ and playlists/; the database is kept
    // uncompressed in folder/database.
    Mpd(std::string program, const std::filesystem::path& folder)
        : program_(std::move(program)), port_(FreePort()), config_(folder / "mpd.conf") {
        std::ofstream conf(config_);
        conf << "music_directory \"" << (folder / "music").string() << "\"\n"
             << "playlist_directory \"" << (folder / "playlists").string() << "\"\n"
             << "database {\n  plugin \"simple\"\n  path \"" << (folder / "database").string()
             << "\"\n  compress \"no\"\n}\n"
             << "state_file \"" << (folder / "state").string() << "\"\n"
             << "sticker_file \"" << (folder / "sticker.sql").string() << "\"\n"
             << "bind_to_address \"127.0.0.1\"\nport \"" << port_ << "\"\n"
             << "zeroconf_enabled \"no\"\nrestore_paused \"yes\"\n"
             << "audio_output {\n  type \"null\"\n  name \"Null Output\"\n"
             << "  mixer_type \"software\"\n}\n";
    }
    ~Mpd() { Stop(); }

    bool Start() {
        process_ = std::make_unique<Process>(
            std::vector<std::string>{program_, "--no-daemon", "--stderr", config_.string()});
        return process_->Started() &&
               WaitUntil([&] { return Connect() != nullptr; }, std::chrono::seconds(10));
    }
    void Stop() {
        if (process_) {
            process_->Signal(SIGTERM);
            process_->Wait();
            process_.reset();
        }
    }

    // A connection of the caller's own, to see what MPD itself says; null
    // when MPD does not answer.
    MpdConnectionPtr Connect() const {
        MpdConnectionPtr connection(mpd_connection_new("127.0.0.1", port_, 2000),
                                    mpd_connection_free);
        if (connection && mpd_connection_get_error(connection.get()) != MPD_ERROR_SUCCESS) {
            connection.reset();
        }
        return connection;
    }

    // Updates the database and waits until it holds `songs` songs.
    bool Update(unsigned songs) const {
        auto connection = Connect();
        if (!connection || mpd_run_update(connection.get(), nullptr) == 0) {
            return false;
        }
        return WaitUntil(
            [&] {
                mpd_stats* stats = mpd_run_stats(connection.get());
                const unsigned found = stats ? mpd_stats_get_number_of_songs(stats) : 0;
                if (stats) {
                    mpd_stats_free(stats);
                }
                return found == songs;
            },
            std::chrono::seconds(10));
    }

    std::uint16_t Port() const { return port_; }
    std::string Output() { return process_ ? process_->Output() : std::string(); }

private:
    std::string program_;
    std::uint16_t port_;
    std::filesystem::path config_;
    std::unique_ptr<Process> process_;
};

}  // namespace vantor::testing
