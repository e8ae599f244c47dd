#include "media/AlbumArt.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "core/Text.h"
#include "media/HttpClient.h"

namespace vantor {

namespace {

// How long closing waits for downloads that were given up, all together.
constexpr auto kClosingWait = std::chrono::milliseconds(300);

}  // namespace

AlbumArtDownloader::AlbumArtDownloader(std::string file, std::uint16_t port, Transfer transfer)
    : file_(std::move(file)), port_(port), transfer_(std::move(transfer)) {
    if (!transfer_) {
        transfer_ = [](const std::string& url, const std::string& path,
                       const HttpOptions& options) {
            return HttpDownloadToFile(url, path, kDownloadDirect, options);
        };
    }
}

AlbumArtDownloader::~AlbumArtDownloader() {
    GiveUp();
    const auto deadline = std::chrono::steady_clock::now() + kClosingWait;
    for (const std::unique_ptr<NamedThread>& thread : leaving_) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        thread->Stop(std::max<int>(1, static_cast<int>(left.count())));
    }
}

void AlbumArtDownloader::GiveUp() {
    if (abort_) {
        std::lock_guard lock(*publish_);
        *abort_ = true;
    }
    if (thread_) {
        leaving_.push_back(std::move(thread_));
    }
    // Those that have ended are let go of at once (they only have their
    // last log line to write); the others stay until they end.
    std::erase_if(leaving_, [](const std::unique_ptr<NamedThread>& thread) {
        if (thread->IsRunning()) {
            return false;
        }
        thread->Stop();
        return true;
    });
}

void AlbumArtDownloader::Fetch(const std::string& host, const std::string& artPath, Done done) {
    // Whatever this song has, the last song's picture is no longer wanted.
    GiveUp();
    if (artPath.empty()) {
        done(false, file_);
        return;
    }
    const std::string url = Format("http://%s:%d%s", host.c_str(), port_, artPath.c_str());
    if (url.find('.') == std::string::npos) {
        return;
    }
    abort_ = std::make_shared<std::atomic<bool>>(false);
    const std::string part = Format("%s.part%u", file_.c_str(), ++downloads_);
    thread_ = std::make_unique<NamedThread>();
    thread_->Start("Download Thread", [url, part, file = file_, transfer = transfer_,
                                       done = std::move(done), abort = abort_, publish = publish_] {
        HttpOptions options;
        options.abort = abort.get();
        options.maxBodyBytes = kMaxArtBytes;
        const bool ok = transfer(url, part, options) == 0;
        std::lock_guard lock(*publish);
        if (*abort) {
            std::remove(part.c_str());
            return;  // a newer picture is wanted
        }
        const bool placed = ok && std::rename(part.c_str(), file.c_str()) == 0;
        if (!placed) {
            std::remove(part.c_str());
        }
        done(placed, file);
    });
}

}  // namespace vantor
