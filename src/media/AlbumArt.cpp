#include "media/AlbumArt.h"

#include <climits>

#include "core/Text.h"
#include "media/HttpClient.h"

namespace vantor {

AlbumArtDownloader::AlbumArtDownloader(std::string file, std::uint16_t port)
    : file_(std::move(file)), port_(port) {}

AlbumArtDownloader::~AlbumArtDownloader() {
    if (abort_) {
        *abort_ = true;
    }
    thread_.Stop();
}

void AlbumArtDownloader::Fetch(const std::string& host, const std::string& artPath, Done done) {
    if (artPath.empty()) {
        done(false, file_);
        return;
    }
    const std::string url = Format("http://%s:%d%s", host.c_str(), port_, artPath.c_str());
    if (url.find('.') == std::string::npos) {
        return;
    }
    if (abort_) {
        *abort_ = true;
    }
    thread_.Stop(INT_MAX);  // the transfer notices the abort at once
    abort_ = std::make_shared<std::atomic<bool>>(false);
    thread_.Start("Download Thread", [url, file = file_, done = std::move(done), abort = abort_] {
        HttpOptions options;
        options.abort = abort.get();
        done(HttpDownloadToFile(url, file, kDownloadDirect, options) == 0, file);
    });
}

}  // namespace vantor
