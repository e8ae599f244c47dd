#pragma once

// The simulated library read from a folder of audio files: every file below
// it that TagLib can read becomes a song with its title, artist, album,
// genre and length. A file without tags is still a song, named after the
// file, by "Unknown Artist" on "Unknown Album"; a file TagLib cannot read is
// left out. Each such file is named in the log, and a summary line says how
// many there were.

#include <string>

#include "MediaLibrary.h"

namespace vantor::server {

// Songs in the order of their artist, album, track number and file name.
MediaLibrary ReadMusicFolder(const std::string& folder);

}  // namespace vantor::server
