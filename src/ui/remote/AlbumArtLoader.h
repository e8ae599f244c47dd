#pragma once

// The album art of the song playing: asking the server for it at the size
// of the skin's art box, downloading the picture it names (off the
// window's thread), and keeping each picture by its URL for the run so a
// song played again shows its art at once. A picture that comes after a
// newer one was asked for is dropped.
//
// Threads: the window's thread only; the download's result comes back
// through the hand-off.

#include <QSize>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace vantor {
class AlbumArtDownloader;
class CSkin;
class RequestSink;
}  // namespace vantor

namespace vantor::ui {

class AlbumArtCache;
class HandOff;

class AlbumArtLoader {
public:
    struct Shown {
        std::function<void(const std::string& url)> url;    // the picture's http URL, or empty
        std::function<void(const std::string& file)> file;  // the picture, or empty: none
    };

    // Pictures go to `dataDir` ("albumart.jpg", and the kept copies in "art").
    AlbumArtLoader(std::string dataDir, std::uint16_t mediaPort, HandOff& handOff,
                   RequestSink& requests, std::function<std::string()> host, Shown shown);
    ~AlbumArtLoader();

    AlbumArtLoader(const AlbumArtLoader&) = delete;
    AlbumArtLoader& operator=(const AlbumArtLoader&) = delete;

    // Asks the server for the art at the size of the skin's "albumart" box.
    void Request(const CSkin& skin, QSize screen);
    // The server named the picture (`path` on its media port; empty: none).
    void Fetch(const std::string& path);
    // Gives up every download under way, waiting for them briefly.
    void Stop();

private:
    std::uint16_t mediaPort_;
    HandOff& handOff_;
    RequestSink& requests_;
    std::function<std::string()> host_;
    Shown shown_;
    std::unique_ptr<AlbumArtDownloader> download_;
    std::unique_ptr<AlbumArtCache> cache_;
    int generation_ = 0;
};

}  // namespace vantor::ui
