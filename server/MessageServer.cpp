#include "MessageServer.h"

#include <openssl/evp.h>
#include <sys/socket.h>

#include <filesystem>
#include <fstream>
#include <future>

#include "MessageLoop.h"
#include "ServerSocket.h"
#include "core/Logger.h"
#include "core/Text.h"
#include "net/LocalAddressSource.h"

namespace vantor::server {

namespace {

// The MD5 of a file as 32 lower-case hexadecimal digits; empty when it
// cannot be read.
std::string FileMd5(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        Log(kLogError, "vantor-server: cannot read the update file %s", path.c_str());
        return {};
    }
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                          EVP_MD_CTX_free);
    EVP_DigestInit_ex(context.get(), EVP_md5(), nullptr);
    char block[4096];
    while (in.read(block, sizeof block) || in.gcount() > 0) {
        EVP_DigestUpdate(context.get(), block, static_cast<std::size_t>(in.gcount()));
    }
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    EVP_DigestFinal_ex(context.get(), digest, &size);
    std::string hex;
    for (unsigned int i = 0; i < size; ++i) {
        hex += Format("%02x", digest[i]);
    }
    return hex;
}

}  // namespace

MessageServer::MessageServer(ServerOptions options, ServerParts parts)
    : options_(std::move(options)), parts_(std::move(parts)), stats_(std::make_shared<Stats>()) {}

MessageServer::~MessageServer() {
    Stop();
}

bool MessageServer::Start() {
    Stop();
    Descriptor listener = Bind(SOCK_STREAM, options_.bindAddress, options_.port, "message");
    if (listener.Get() < 0) {
        return false;
    }
    if (::listen(listener.Get(), SOMAXCONN) != 0) {
        Log(kLogError, "vantor-server: cannot listen: %s", std::strerror(errno));
        return false;
    }
    Descriptor discovery;
    if (options_.discovery) {
        discovery = Bind(SOCK_DGRAM, options_.bindAddress, options_.discoveryPort, "discovery");
        if (discovery.Get() < 0) {
            return false;
        }
        discoveryPort_ = BoundPort(discovery.Get());
    }
    port_ = BoundPort(listener.Get());

    std::vector<std::string> advertised = options_.advertisedAddresses;
    if (advertised.empty()) {
        if (options_.bindAddress == "0.0.0.0") {
            advertised = InterfaceAddressSource().LocalAddresses();
        } else {
            advertised.push_back(options_.bindAddress);
        }
    }
    ServerOptions options = options_;
    if (!options.updateFile.empty()) {
        if (options.info.clientUrl.empty()) {
            options.info.clientUrl =
                "/update/" + std::filesystem::path(options.updateFile).filename().string();
        }
        if (options.info.clientChecksum.empty()) {
            options.info.clientChecksum = FileMd5(options.updateFile);
        }
    }
    player_ = parts_.makePlayer();
    auto loop =
        std::make_shared<Loop>(options, player_, parts_.speakers, stats_, std::move(listener),
                               std::move(discovery), std::move(advertised));
    const std::weak_ptr<Loop> weak(loop);
    player_->Start([weak](PlayerBackend::Task task) {
        if (const auto running = weak.lock()) {
            running->Post(std::move(task));
        }
    });
    if (parts_.speakers) {
        parts_.speakers->Start([weak](std::vector<Speaker> speakers) {
            if (const auto running = weak.lock()) {
                Loop* self = running.get();  // the task runs on the loop, which it cannot outlive
                running->PostRaw([self, speakers = std::move(speakers)]() mutable {
                    self->BroadcastSpeakers(std::move(speakers));
                });
            }
        });
    }
    if (options.startPlaying) {
        Events none;  // nobody is connected yet
        player_->Transport(TransportCommand::Play, none);
    }
    // The player stops when the loop has ended, on the loop's thread: a loop
    // that outlives Stop()'s wait goes on using it until then.
    if (thread_.Start("Server Loop", [loop, player = player_] {
            loop->Run();
            player->Stop();
        }) != 0) {
        player_->Stop();
        if (parts_.speakers) {
            parts_.speakers->Stop();
        }
        return false;
    }
    {
        std::lock_guard lock(loopMutex_);
        loop_ = std::move(loop);
    }
    // Last: its workers ask the loop for the play queue.
    if (options.mediaService) {
        MediaHttpOptions media;
        media.bindAddress = options.bindAddress;
        media.port = options.mediaPort;
        media.gzip = options.gzip;
        media.updateFile = options.updateFile;
        media.allow = options.allow;
        media.maxConnections = options.mediaMaxConnections;
        media.maxConnectionsPerAddress = options.mediaMaxConnectionsPerAddress;
        media.connectionTimeout = options.mediaTimeout;
        media_ = std::make_unique<MediaHttpServer>(
            media, player_,
            [this](std::int32_t start, std::int32_t count) { return QueuePage(start, count); });
        if (!media_->Start()) {
            media_.reset();
            Stop();
            return false;
        }
    }
    return true;
}

void MessageServer::Stop() {
    if (media_) {
        media_->Stop();
        media_.reset();
    }
    std::shared_ptr<Loop> loop;
    {
        std::lock_guard lock(loopMutex_);
        loop.swap(loop_);
    }
    if (!loop) {
        return;
    }
    loop->RequestStop();
    thread_.Stop();
    if (parts_.speakers) {
        parts_.speakers->Stop();
    }
}

std::uint16_t MessageServer::MediaPort() const {
    return media_ ? media_->Port() : 0;
}

unsigned MessageServer::MediaConnectionCount() const {
    return media_ ? media_->ConnectionCount() : 0;
}

std::vector<std::string> MessageServer::MediaRequests() const {
    return media_ ? media_->ServedPaths() : std::vector<std::string>();
}

std::optional<ListPage> MessageServer::QueuePage(std::int32_t start, std::int32_t count) {
    auto answer = std::make_shared<std::promise<std::optional<ListPage>>>();
    auto future = answer->get_future();
    Post([answer, start, count](PlayerBackend& player, Events&) {
        ListPage page;
        if (player.QueuePage(start, count, &page) == kSuccess) {
            answer->set_value(std::move(page));
        } else {
            answer->set_value(std::nullopt);
        }
    });
    if (future.wait_for(std::chrono::seconds(2)) != std::future_status::ready) {
        return std::nullopt;
    }
    try {
        return future.get();
    } catch (const std::future_error&) {
        return std::nullopt;  // the loop stopped before it got to the question
    }
}

std::vector<std::string> MessageServer::ReceivedRequests() const {
    std::lock_guard lock(stats_->mutex);
    return stats_->received;
}

void MessageServer::Post(PlayerBackend::Task task) {
    if (const auto loop = CurrentLoop()) {
        loop->Post(std::move(task));
    }
}

void MessageServer::SendRaw(std::string bytes) {
    if (const auto loop = CurrentLoop()) {
        Loop* self = loop.get();  // the task runs on the loop, which it cannot outlive
        loop->PostRaw([self, bytes = std::move(bytes)] { self->SendRawToAll(bytes); });
    }
}

void MessageServer::DropClients() {
    if (const auto loop = CurrentLoop()) {
        Loop* self = loop.get();
        loop->PostRaw([self] { self->DropAll(); });
    }
}

}  // namespace vantor::server
