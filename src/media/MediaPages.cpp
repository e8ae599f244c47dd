#include "media/MediaPages.h"

#include <thrift/TConfiguration.h>
#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include <algorithm>
#include <limits>

#include "core/Logger.h"
#include "core/Text.h"

namespace vantor {

namespace {

using apache::thrift::TConfiguration;
using apache::thrift::protocol::TBinaryProtocol;
using apache::thrift::protocol::TBinaryProtocolT;
using apache::thrift::transport::TMemoryBuffer;

void CapItemTexts(std::vector<wire::MediaItem>& items) {
    for (wire::MediaItem& item : items) {
        for (std::string* text :
             {&item.title, &item.artist, &item.album, &item.genre, &item.path}) {
            CapPeerText(*text);
        }
    }
}

void CapTexts(wire::MediaList& list) {
    CapPeerText(list.path);
    CapItemTexts(list.items);
    for (wire::MediaIndexEntry& entry : list.index) {
        CapPeerText(entry.label);
    }
}

void CapTexts(wire::PlaylistPage& page) {
    CapItemTexts(page.items);
}

template <class Page>
bool Decode(const std::uint8_t* data, std::size_t size, Page* page, const char* what) {
    if (size == 0) {
        return false;
    }
    if (size > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        Log(kLogError, "ERROR: %s of %zu bytes is too large", what, size);
        return false;
    }
    try {
        // Nothing read may claim more bytes than the body holds.
        auto configuration = std::make_shared<TConfiguration>(static_cast<int>(size));
        auto buffer = std::make_shared<TMemoryBuffer>(const_cast<std::uint8_t*>(data),
                                                      static_cast<std::uint32_t>(size),
                                                      TMemoryBuffer::OBSERVE, configuration);
        // The binary protocol bound to the memory buffer: the generated
        // reader then makes no virtual call per field.
        TBinaryProtocolT<TMemoryBuffer> protocol(buffer, kMaxPageString, kMaxPageList, false, true);
        page->read(&protocol);
        CapTexts(*page);
        return true;
    } catch (const std::exception& error) {
        Log(kLogError, "ERROR: %s could not be decoded: %s", what, error.what());
        return false;
    }
}

template <class Page>
std::string Encode(const Page& page) {
    auto buffer = std::make_shared<TMemoryBuffer>();
    TBinaryProtocol protocol(buffer);
    page.write(&protocol);
    return buffer->getBufferAsString();
}

}  // namespace

bool DecodeMediaList(const std::uint8_t* data, std::size_t size, wire::MediaList* list) {
    return Decode(data, size, list, "Media list");
}

bool DecodePlaylistPage(const std::uint8_t* data, std::size_t size, wire::PlaylistPage* page) {
    return Decode(data, size, page, "Playlist page");
}

std::string EncodeMediaList(const wire::MediaList& list) {
    return Encode(list);
}

std::string EncodePlaylistPage(const wire::PlaylistPage& page) {
    return Encode(page);
}

}  // namespace vantor
