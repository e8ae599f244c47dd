#pragma once

// MPD's database as the library's pages: asked a page at a time
// ("find"/"search" with a window, "list" for names), so a large database
// is never loaded whole. The lists of names asked for last are kept until
// the database changes.
//
// Any thread (the loop and the HTTP workers): the library connection is
// used under mutex_, the kept name lists under namesMutex_ (taken after
// mutex_, never before), the song numbers last.

#include <list>
#include <mutex>
#include <string>
#include <vector>

#include "MpdConnection.h"
#include "MpdSongs.h"
#include "PlayerBackend.h"

namespace vantor::server {

class MpdLibrary {
public:
    MpdLibrary(const MpdOptions& options, MpdSongs& songs);

    ResultCode Browse(const std::string& path, std::int32_t start, std::int32_t count,
                      ListPage* page);
    // Artists, albums and playlists whose names hold the text come first,
    // then the songs whose titles do; any case.
    ResultCode Search(const std::string& text, std::int32_t start, std::int32_t count,
                      ListPage* page);
    // One song by its URI.
    ResultCode Item(const std::string& uri, LibraryEntry* entry);

    // The database changed: the kept name lists are stale.
    void Forget();
    // Keeps the connection open while nothing uses it (MPD closes a silent
    // one); skipped while a page is being read.
    void Ping();
    void Close();

private:
    ResultCode TagList(int tag, const std::string& filter, std::vector<std::string>* names);
    ResultCode Songs(const std::string& filter, std::int32_t start, std::int32_t count,
                     const std::string& folder, ListPage* page);
    ResultCode PlaylistNames(std::vector<std::string>* names);
    ResultCode PlaylistSongs(const std::string& name, const std::string& folder,
                             std::vector<LibraryEntry>* entries);

    MpdSongs& songs_;
    std::mutex mutex_;  // guards connection_
    MpdConnection connection_;
    std::mutex namesMutex_;                                              // guards names_
    std::list<std::pair<std::string, std::vector<std::string>>> names_;  // newest first
};

}  // namespace vantor::server
