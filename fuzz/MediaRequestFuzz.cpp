// Feeds arbitrary request lines to the media service: the target's parsing
// alone, then the whole answer over the simulated player (no socket), with
// the method and Accept-Encoding chosen by the first byte. Every answer is
// one of the service's statuses, and a page it sends decodes.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "MediaHttpServer.h"
#include "MediaLibrary.h"
#include "MediaRequest.h"
#include "SimulatedBackend.h"
#include "core/Logger.h"
#include "media/MediaPages.h"

namespace {

using namespace vantor;

void Check(bool condition, const char* what, std::string_view input) {
    if (!condition) {
        std::fprintf(stderr, "broken: %s\ntarget: %.*s\n", what, static_cast<int>(input.size()),
                     input.data());
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using server::MediaRequest;
    static const bool quiet = [] {
        Logger::Instance().SetThreshold(-1);
        return true;
    }();
    (void)quiet;
    static const auto player = std::make_shared<server::SimulatedBackend>(
        std::make_shared<const server::MediaLibrary>(server::MediaLibrary::Generate(80)), 12);
    static server::MediaHttpServer service(
        server::MediaHttpOptions{}, player,
        [](std::int32_t start, std::int32_t count) -> std::optional<server::ListPage> {
            server::ListPage page;
            if (player->QueuePage(start, count, &page) != server::kSuccess) {
                return std::nullopt;
            }
            return page;
        });
    if (size == 0) {
        return 0;
    }
    const std::uint8_t choice = data[0];
    const std::string_view target(reinterpret_cast<const char*>(data) + 1, size - 1);

    const MediaRequest request = server::ParseMediaTarget(target);
    Check(request.kind != MediaRequest::Kind::Playlist || request.path == "/playlist.thrift",
          "playlist path", target);
    Check(request.path.size() <= target.size(), "decoding only shortens", target);
    Check(request.kind != MediaRequest::Kind::Folder || !request.argument.empty(), "folder",
          target);

    static const char* const kMethods[] = {"GET", "HEAD", "POST", "get"};
    static const char* const kEncodings[] = {"", "gzip", "deflate, gzip;q=0.5", "identity"};
    const char* method = kMethods[choice % 4];
    const auto response = service.Serve(method, target, kEncodings[(choice / 4) % 4]);
    Check(response.status == 200 || response.status == 404 || response.status == 405 ||
              response.status == 503,
          "status", target);
    Check(std::string_view(method) == "GET" || response.status == 405, "method", target);
    if (response.status == 200 && !response.gzipped && response.type == "application/x-thrift") {
        const auto* body = reinterpret_cast<const std::uint8_t*>(response.body.data());
        if (request.kind == MediaRequest::Kind::Playlist) {
            wire::PlaylistPage page;
            Check(DecodePlaylistPage(body, response.body.size(), &page), "playlist page", target);
        } else {
            wire::MediaList list;
            Check(DecodeMediaList(body, response.body.size(), &list), "media list", target);
        }
    }
    return 0;
}
