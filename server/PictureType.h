#pragma once

// What kind of picture some bytes are, told by their first bytes, never by a
// file's name: both players' covers are served only when they really are
// pictures, and named for the media side by their kind.

#include <string>
#include <string_view>

namespace vantor::server {

// The MIME type of a PNG, JPEG, GIF, WebP or BMP picture that starts with
// `head` (up to 18 bytes are looked at); empty when they are no picture's.
std::string PictureTypeOf(std::string_view head);
// ".png", ".jpg", ... for a MIME type; ".img" for others.
std::string PictureExtension(const std::string& type);

}  // namespace vantor::server
