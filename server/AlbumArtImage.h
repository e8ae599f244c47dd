#pragma once

// Cover pictures for the simulated library: a PNG per album, drawn from its
// name, so every album has art of its own and the same art every time.

#include <string>

namespace vantor::server {

// A square PNG of `size` pixels for the album.
std::string AlbumArtPng(const std::string& album, int size = 160);

}  // namespace vantor::server
