#include "ui/remote/AlbumArtCache.h"

#include <QCryptographicHash>
#include <algorithm>
#include <filesystem>
#include <vector>

#include "core/Logger.h"

namespace vantor::ui {

namespace fs = std::filesystem;

AlbumArtCache::AlbumArtCache(std::string folder, std::size_t capacity)
    : folder_(std::move(folder)), capacity_(capacity) {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
    fs::create_directories(folder_, ignored);
}

std::string AlbumArtCache::PathFor(const std::string& url) const {
    const QByteArray digest =
        QCryptographicHash::hash(QByteArray::fromStdString(url), QCryptographicHash::Sha1);
    return (fs::path(folder_) / (digest.toHex().toStdString() + ".img")).string();
}

std::string AlbumArtCache::Find(const std::string& url) const {
    if (url.empty()) {
        return {};
    }
    const std::string path = PathFor(url);
    std::error_code error;
    return fs::is_regular_file(path, error) && fs::file_size(path, error) > 0 ? path
                                                                              : std::string();
}

std::string AlbumArtCache::Keep(const std::string& url, const std::string& file) {
    const std::string path = PathFor(url);
    std::error_code error;
    fs::copy_file(file, path, fs::copy_options::overwrite_existing, error);
    if (error) {
        Log(kLogError, "Album art cannot be kept in %s: %s", path.c_str(), error.message().c_str());
        return {};
    }
    Prune();
    return path;
}

void AlbumArtCache::Prune() const {
    std::vector<std::pair<fs::file_time_type, fs::path>> kept;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder_, error)) {
        if (entry.path().extension() == ".img") {
            kept.emplace_back(entry.last_write_time(error), entry.path());
        }
    }
    if (kept.size() <= capacity_) {
        return;
    }
    std::sort(kept.begin(), kept.end());
    for (std::size_t i = 0; i + capacity_ < kept.size(); ++i) {
        fs::remove(kept[i].second, error);
    }
}

}  // namespace vantor::ui
