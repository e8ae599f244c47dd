#include "ui/remote/AlbumArtLoader.h"

#include "media/AlbumArt.h"
#include "media/LibraryBrowser.h"
#include "protocol/Messages.h"
#include "skin/CSkin.h"
#include "ui/remote/AlbumArtCache.h"
#include "ui/window/HandOff.h"

namespace vantor::ui {

AlbumArtLoader::AlbumArtLoader(std::string dataDir, std::uint16_t mediaPort, HandOff& handOff,
                               RequestSink& requests, std::function<std::string()> host,
                               Shown shown)
    : mediaPort_(mediaPort),
      handOff_(handOff),
      requests_(requests),
      host_(std::move(host)),
      shown_(std::move(shown)),
      download_(std::make_unique<AlbumArtDownloader>(dataDir + "albumart.jpg", mediaPort)),
      cache_(std::make_unique<AlbumArtCache>(dataDir + "art")) {}

AlbumArtLoader::~AlbumArtLoader() = default;

void AlbumArtLoader::Request(const CSkin& skin, QSize screen) {
    auto request = std::make_unique<GetAlbumArtRequest>();
    if (const SkinWinComponent* box = skin.FindWinComponent("albumart")) {
        const SkinRect rect = box->Place(screen.width(), screen.height());
        request->width = SkinClamp(rect.Width());
        request->height = SkinClamp(rect.Height());
    }
    requests_.Send(std::move(request));
}

void AlbumArtLoader::Fetch(const std::string& path) {
    const int generation = ++generation_;
    const std::string host = host_();
    const std::string url =
        path.empty() ? std::string() : "http://" + host + ":" + std::to_string(mediaPort_) + path;
    shown_.url(url);
    // A picture shown before comes from its kept copy.
    if (const std::string kept = cache_->Find(url); !kept.empty()) {
        shown_.file(kept);
        return;
    }
    if (!download_) {
        return;
    }
    download_->Fetch(
        host, path,
        [this, mailbox = handOff_.Mailbox(), generation, url](bool ok, const std::string& file) {
            mailbox->Post(FrameMessage::WorkerCall, 0, [this, generation, ok, file, url] {
                if (generation != generation_) {
                    return;
                }
                const std::string kept = ok ? cache_->Keep(url, file) : std::string();
                shown_.file(ok ? (kept.empty() ? file : kept) : std::string());
            });
        });
}

void AlbumArtLoader::Stop() {
    download_.reset();
}

}  // namespace vantor::ui
