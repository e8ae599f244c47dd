#pragma once

// Cover pictures from MPD: "albumart" (a cover file beside the song) or
// "readpicture" (a picture inside the file), read in chunks.
//
// A picture may be large (up to 16 MiB), so the HTTP workers read them on a
// connection of their own under a lock of their own: the loop and the
// library pages never wait behind one.

#include <cstdint>
#include <mutex>
#include <string>

#include "MpdConnection.h"
#include "ResultCode.h"

namespace vantor::server {

// Reads up to `limit` bytes of the song's picture on `connection`:
// kNotFound when the song has none.
ResultCode ReadMpdPicture(MpdConnection& connection, const std::string& uri, std::size_t limit,
                          std::string* bytes);

class MpdPictures {
public:
    explicit MpdPictures(const MpdOptions& options);

    // The whole picture of the song at `uri` and its MIME type (any thread).
    ResultCode Picture(const std::string& uri, std::string* bytes, std::string* type);

    // Keeps the connection open while nothing uses it; skipped while a
    // picture is being read.
    void Ping();
    void Close();

private:
    std::mutex mutex_;  // guards connection_; held while a picture is read
    MpdConnection connection_;
};

}  // namespace vantor::server
