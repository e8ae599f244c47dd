#include "MpdPictures.h"

#include <mpd/client.h>

#include <vector>

#include "PictureType.h"
#include "PlayerBackend.h"

namespace vantor::server {

namespace {

constexpr std::size_t kMaxPicture = 16 * 1024 * 1024;

}  // namespace

ResultCode ReadMpdPicture(MpdConnection& connection, const std::string& uri, std::size_t limit,
                          std::string* bytes) {
    std::vector<char> chunk(64 * 1024);
    // A cover file beside the song first, then a picture inside it.
    for (const bool embedded : {false, true}) {
        bytes->clear();
        mpd_connection* mpd = connection.Get(true);
        if (mpd == nullptr) {
            return kPlayerFailed;
        }
        while (bytes->size() < limit) {
            const auto offset = static_cast<unsigned>(bytes->size());
            const int read =
                embedded ? mpd_run_readpicture(mpd, uri.c_str(), offset, chunk.data(), chunk.size())
                         : mpd_run_albumart(mpd, uri.c_str(), offset, chunk.data(), chunk.size());
            if (read <= 0) {
                break;
            }
            bytes->append(chunk.data(), static_cast<std::size_t>(read));
        }
        const ResultCode code =
            connection.Check(embedded ? "readpicture" : "albumart", /*quiet=*/true);
        if (code == kPlayerFailed || code == kUnsupported) {
            return code;
        }
        if (!bytes->empty()) {
            return kSuccess;
        }
        if (!connection.IsOpen()) {
            return kPlayerFailed;
        }
    }
    return kNotFound;
}

MpdPictures::MpdPictures(const MpdOptions& options) : connection_(options, "pictures") {}

ResultCode MpdPictures::Picture(const std::string& uri, std::string* bytes, std::string* type) {
    std::lock_guard lock(mutex_);
    const ResultCode code = ReadMpdPicture(connection_, uri, kMaxPicture, bytes);
    if (code == kSuccess) {
        *type = PictureTypeOf(*bytes);
        if (type->empty()) {
            *type = "application/octet-stream";
        }
    }
    return code;
}

void MpdPictures::Ping() {
    std::unique_lock lock(mutex_, std::try_to_lock);
    if (lock && connection_.IsOpen()) {
        mpd_send_command(connection_.Get(), "ping", nullptr);
        connection_.Finish("ping");
    }
}

void MpdPictures::Close() {
    std::lock_guard lock(mutex_);
    connection_.Close();
}

}  // namespace vantor::server
