// MpdBackend against a scripted MPD peer on loopback, for what a real MPD
// does only when something goes wrong: errors inside a command list, a
// broken greeting, a connection cut in the middle of an answer.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "mpd/MpdBackend.h"
#include "support/LogCapture.h"
#include "support/LoopbackListener.h"
#include "support/Wait.h"

namespace vantor::server {
namespace {

// Answers every connection on a thread of its own: the greeting, then each command (or
// whole command list) with what `answer` returns for its lines; an answer
// of "CLOSE" closes the connection instead. "idle" is held, as MPD holds
// it, until something is announced or "noidle" comes.
class FakeMpd {
public:
    using Answer = std::function<std::string(const std::vector<std::string>& lines)>;

    FakeMpd(std::string greeting, Answer answer)
        : greeting_(std::move(greeting)), answer_(std::move(answer)) {
        listener_ = testing::ListenOnLoopback(4, &port_);
        thread_ = std::thread([this] { Serve(); });
    }
    ~FakeMpd() {
        stop_ = true;
        thread_.join();
        ::close(listener_);
    }

    unsigned Port() const { return port_; }
    // Tells a connection in "idle" (now, or at its next "idle") that
    // `subsystem` changed.
    void Announce(std::string subsystem) {
        std::lock_guard lock(mutex_);
        announced_ = std::move(subsystem);
        ++announcements_;
    }
    std::vector<std::string> Received() {
        std::lock_guard lock(mutex_);
        return received_;
    }

private:
    void Serve() {
        while (!stop_) {
            pollfd polled{listener_, POLLIN, 0};
            if (::poll(&polled, 1, 20) <= 0) {
                continue;
            }
            const int fd = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd >= 0) {
                talkers_.emplace_back([this, fd] {
                    Talk(fd);
                    ::close(fd);
                });
            }
        }
        for (std::thread& talker : talkers_) {
            talker.join();
        }
    }
    void Talk(int fd) {
        (void)!::write(fd, greeting_.data(), greeting_.size());
        std::string input;
        std::vector<std::string> list;
        bool inList = false;
        bool idle = false;
        int told = Announcements();
        char buffer[4096];
        while (!stop_) {
            if (idle && Announcements() != told) {
                std::string changed;
                {
                    std::lock_guard lock(mutex_);
                    changed = "changed: " + announced_ + "\nOK\n";
                    told = announcements_;
                }
                idle = false;
                (void)!::write(fd, changed.data(), changed.size());
            }
            pollfd polled{fd, POLLIN, 0};
            if (::poll(&polled, 1, 20) <= 0) {
                continue;
            }
            const ssize_t size = ::read(fd, buffer, sizeof buffer);
            if (size <= 0) {
                return;
            }
            input.append(buffer, static_cast<std::size_t>(size));
            std::size_t end;
            while ((end = input.find('\n')) != std::string::npos) {
                const std::string line = input.substr(0, end);
                input.erase(0, end + 1);
                {
                    std::lock_guard lock(mutex_);
                    received_.push_back(line);
                }
                if (line.rfind("command_list", 0) == 0 && line != "command_list_end") {
                    inList = true;
                    list.clear();
                    continue;
                }
                if (inList && line != "command_list_end") {
                    list.push_back(line);
                    continue;
                }
                if (!inList && line.rfind("idle", 0) == 0) {
                    idle = true;
                    continue;
                }
                if (line == "noidle") {
                    if (idle) {
                        idle = false;
                        (void)!::write(fd, "OK\n", 3);
                    }
                    continue;
                }
                const std::string reply = answer_(inList ? list : std::vector<std::string>{line});
                inList = false;
                if (reply == "CLOSE") {
                    return;
                }
                (void)!::write(fd, reply.data(), reply.size());
            }
        }
    }

    int Announcements() {
        std::lock_guard lock(mutex_);
        return announcements_;
    }

    const std::string greeting_;
    const Answer answer_;
    int listener_ = -1;
    std::uint16_t port_ = 0;
    std::atomic<bool> stop_{false};
    std::mutex mutex_;  // guards received_, announced_ and announcements_
    std::vector<std::string> received_;
    std::string announced_;
    int announcements_ = 0;
    std::vector<std::thread> talkers_;  // the serving thread's own
    std::thread thread_;
};

constexpr const char* kGreeting = "OK MPD 0.23.0\n";
std::string PlayingStatus(int volume) {
    return "volume: " + std::to_string(volume) +
           "\nrepeat: 0\nrandom: 0\nsingle: 0\nconsume: 0\nplaylist: 7\n"
           "playlistlength: 2\nstate: play\nsong: 0\nsongid: 1\nelapsed: 3.5\n";
}
constexpr const char* kSong = "file: a/b.flac\nTitle: Night Drive\nArtist: Mira Solen\nTime: 30\n";

MpdOptions Options(unsigned port) {
    MpdOptions options;
    options.port = port;
    options.timeout = std::chrono::milliseconds(1000);
    return options;
}

// The usual answers of a healthy MPD, playing at `volume`.
std::string Healthy(const std::vector<std::string>& lines, int volume = 40) {
    std::string reply;
    for (const std::string& line : lines) {
        if (line == "status") {
            reply += PlayingStatus(volume);
        } else if (line == "currentsong") {
            reply += kSong;
        } else if (line.rfind("sticker get", 0) == 0) {
            return "ACK [50@0] {sticker} no such sticker\n";
        } else if (line.rfind("count", 0) == 0) {
            reply += "songs: 2\nplaytime: 60\n";
        }
        reply += lines.size() > 1 ? "list_OK\n" : "";
    }
    return reply + "OK\n";
}

std::vector<std::string> Names(const Events& events) {
    std::vector<std::string> names;
    for (const auto& event : events) {
        names.emplace_back(event->TypeName());
    }
    return names;
}

TEST(MpdBackendTest, AnErrorInsideACommandListIsTheClientsCodeAndTheStateIsReadAgain) {
    FakeMpd mpd(kGreeting, [](const std::vector<std::string>& lines) {
        if (lines.size() > 1 && lines[1].rfind("findadd", 0) == 0) {
            return std::string("list_OK\nACK [50@1] {findadd} No such directory\n");
        }
        return Healthy(lines);
    });
    MpdBackend backend(Options(mpd.Port()));
    Events events;
    testing::LogCapture log(kLogError);

    MediaSelector selector;
    selector.libPath = "/Music/Artists/Mira Solen";
    EXPECT_EQ(backend.PlayNow(selector, 0, events), kNotFound);
    ASSERT_FALSE(log.Lines().empty());
    EXPECT_NE(log.Lines().back().find("MPD refused play now (command 1 of its list): No such "
                                      "directory"),
              std::string::npos)
        << log.Lines().back();
    // Part of the list ran, so the state was read again and the clients hear
    // of it: playing "Night Drive".
    EXPECT_EQ(backend.Status().playingState, PlayingState::Playing);
    ASSERT_TRUE(backend.Status().current.has_value());
    EXPECT_EQ(backend.Status().current->title, "Night Drive");
    EXPECT_EQ(backend.Status().current->rating, -1) << "no sticker: unrated";

    // The connection is still good for the next command.
    events.clear();
    EXPECT_EQ(backend.SetVolume(40, events), kSuccess);
    const auto received = mpd.Received();
    EXPECT_NE(std::find(received.begin(), received.end(), "count \"(artist == 'Mira Solen')\""),
              received.end());
}

TEST(MpdBackendTest, ErrorsMapToTheProtocolsCodes) {
    struct Case {
        const char* ack;
        std::int32_t code;
    };
    const Case cases[] = {
        {"ACK [2@0] {setvol} Invalid volume\n", kBadParameter},
        {"ACK [50@0] {setvol} No such song\n", kNotFound},
        {"ACK [5@0] {setvol} unknown command\n", kUnsupported},
        {"ACK [4@0] {setvol} you don't have permission\n", kUnsupported},
        {"ACK [52@0] {setvol} problems setting volume\n", kPlayerFailed},
    };
    for (const Case& test : cases) {
        FakeMpd mpd(kGreeting, [&](const std::vector<std::string>& lines) {
            return lines.size() > 1 && lines[0].rfind("setvol", 0) == 0 ? std::string(test.ack)
                                                                        : Healthy(lines);
        });
        MpdBackend backend(Options(mpd.Port()));
        Events events;
        testing::LogCapture log(kLogError);
        EXPECT_EQ(backend.SetVolume(50, events), test.code) << test.ack;
    }
}

// (An MPD that cannot be reached at all is the e2e MpdAbsentTest's.)
TEST(MpdBackendTest, ACutAnswerShowsThePlayerStopped) {
    std::atomic<bool> cut{false};
    FakeMpd mpd(kGreeting, [&](const std::vector<std::string>& lines) {
        return cut && lines.size() > 1 ? std::string("CLOSE") : Healthy(lines);
    });
    MpdBackend backend(Options(mpd.Port()));
    Events events;
    testing::LogCapture log(kLogError);
    backend.Tick(events);  // not yet connected: nothing happens
    EXPECT_EQ(backend.Transport(TransportCommand::Play, events), kSuccess);
    EXPECT_EQ(backend.Status().playingState, PlayingState::Playing);
    cut = true;
    events.clear();
    EXPECT_EQ(backend.Transport(TransportCommand::Next, events), kPlayerFailed);
    EXPECT_EQ(backend.Status().playingState, PlayingState::Stopped);
    EXPECT_EQ(Names(events), std::vector<std::string>{"PlayingStateChangedEvent"});
    // MPD answers again: the next status is news in full.
    cut = false;
    events.clear();
    MpdIdleNotice back;
    back.kind = MpdIdleNotice::Kind::kConnected;
    backend.OnIdle(back, events);
    const auto names = Names(events);
    for (const char* name : {"PlaylistChangedEvent", "PlayingStateChangedEvent",
                             "CurrentMediaChangedEvent", "VolumeChangedEvent"}) {
        EXPECT_NE(std::find(names.begin(), names.end(), name), names.end()) << name;
    }
}

// What the backend posts to the server loop, run when the test says, as
// the loop would run it.
class PostedTasks {
public:
    PlayerBackend::LoopPost Post() {
        return [shared = shared_](PlayerBackend::Task task) {
            std::lock_guard lock(shared->mutex);
            shared->tasks.push_back(std::move(task));
        };
    }
    bool Any() {
        std::lock_guard lock(shared_->mutex);
        return !shared_->tasks.empty();
    }
    void Run(PlayerBackend& player, Events& events) {
        std::vector<PlayerBackend::Task> tasks;
        {
            std::lock_guard lock(shared_->mutex);
            tasks.swap(shared_->tasks);
        }
        for (auto& task : tasks) {
            task(player, events);
        }
    }

private:
    struct Shared {
        std::mutex mutex;
        std::vector<PlayerBackend::Task> tasks;
    };
    std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
};

std::vector<std::int32_t> Volumes(const Events& events) {
    std::vector<std::int32_t> volumes;
    for (const auto& event : events) {
        if (const auto* changed = As<VolumeChangedEvent>(*event)) {
            volumes.push_back(changed->volume);
        }
    }
    return volumes;
}

// Waits until MPD has said something on the idle connection, and reads it
// as the loop would.
bool ReadIdle(MpdBackend& backend, Events& events) {
    const PlayerBackend::LoopWatch watch = backend.Watched();
    pollfd polled{watch.fd, POLLIN, 0};
    if (watch.fd < 0 || ::poll(&polled, 1, 5000) <= 0) {
        return false;
    }
    backend.OnWatched(events);
    return true;
}

// A backend started as the server starts it, with its idle connection held
// in "idle".
void StartConnected(MpdBackend& backend, PostedTasks& loop, FakeMpd& mpd) {
    backend.Start(loop.Post());
    Events events;
    ASSERT_TRUE(testing::WaitUntil([&] { return loop.Any(); }));
    loop.Run(backend, events);
    ASSERT_GE(backend.Watched().fd, 0);
    ASSERT_TRUE(testing::WaitUntil([&] {
        const auto received = mpd.Received();
        return std::any_of(received.begin(), received.end(),
                           [](const std::string& line) { return line.starts_with("idle"); });
    }));
}

// Another program turns the volume up while a client reads a page of the
// queue: the page reads MPD's status too, and the change is still told.
TEST(MpdBackendTest, AChangeSeenWhileAQueuePageIsReadIsToldOnce) {
    std::atomic<int> volume{40};
    FakeMpd mpd(kGreeting,
                [&](const std::vector<std::string>& lines) { return Healthy(lines, volume); });
    MpdBackend backend(Options(mpd.Port()));
    PostedTasks loop;
    StartConnected(backend, loop, mpd);
    ASSERT_EQ(backend.Status().volume, 40);

    volume = 60;
    mpd.Announce("mixer");
    Events events;
    ASSERT_TRUE(ReadIdle(backend, events));  // the change; the status is asked for
    ListPage page;
    EXPECT_EQ(backend.QueuePage(0, -1, &page), kSuccess);
    EXPECT_EQ(page.total, 2u);
    ASSERT_TRUE(ReadIdle(backend, events));  // the status
    backend.Tick(events);
    EXPECT_EQ(Volumes(events), std::vector<std::int32_t>{60});
    EXPECT_EQ(backend.Status().volume, 60);
    backend.Stop();
}

// The client's volume: one command list with the status, and for MPD's
// notice of it the status and the next idle in one write. Nothing is told
// twice.
TEST(MpdBackendTest, AVolumeChangeCostsOneCommandListAndOneStatusBeforeTheNextIdle) {
    std::atomic<int> volume{40};
    FakeMpd mpd(kGreeting, [&](const std::vector<std::string>& lines) {
        if (lines.size() > 1 && lines[0].rfind("setvol ", 0) == 0) {
            volume = std::stoi(lines[0].substr(lines[0].find_first_of("0123456789")));
        }
        return Healthy(lines, volume);
    });
    MpdBackend backend(Options(mpd.Port()));
    PostedTasks loop;
    StartConnected(backend, loop, mpd);
    const std::size_t before = mpd.Received().size();

    Events events;
    EXPECT_EQ(backend.SetVolume(30, events), kSuccess);
    mpd.Announce("mixer");
    ASSERT_TRUE(ReadIdle(backend, events));
    ASSERT_TRUE(ReadIdle(backend, events));
    EXPECT_EQ(Volumes(events), std::vector<std::int32_t>{30});
    // (The idle comes after the status MPD has answered.)
    EXPECT_TRUE(testing::WaitUntil([&] { return mpd.Received().size() >= before + 6; }));
    std::vector<std::string> commands;
    const auto received = mpd.Received();
    for (std::size_t i = before; i < received.size(); ++i) {
        commands.push_back(received[i].substr(0, received[i].find(' ')));
    }
    EXPECT_EQ(commands, (std::vector<std::string>{"command_list_ok_begin", "setvol", "status",
                                                  "command_list_end", "status", "idle"}));
    backend.Stop();
}

// A worker reading a large cover holds only the pictures' connection: the
// loop's status and commands, the library's pages and the loop's question
// for the cover's kind all go on meanwhile. MPD here holds the worker's
// first picture chunk until the test lets it go (or a watchdog does, so a
// regression fails instead of hanging).
TEST(MpdBackendTest, APictureBeingReadHoldsUpNeitherTheLoopNorThePages) {
    std::mutex mutex;
    std::condition_variable changed;
    bool release = false;
    std::atomic<int> pictureAsks{0};
    FakeMpd mpd(kGreeting, [&](const std::vector<std::string>& lines) {
        if (lines.size() == 1 && lines[0].rfind("albumart", 0) == 0) {
            const std::string& ask = lines[0];
            const bool first = ask.ends_with(" 0") || ask.ends_with(" \"0\"");
            if (!first) {
                return std::string("size: 8\nbinary: 0\n\nOK\n");  // past the end
            }
            if (pictureAsks++ == 0) {
                std::unique_lock lock(mutex);
                changed.wait(lock, [&] { return release; });
            }
            // A PNG file's signature: covers are served only when they are pictures.
            return std::string("size: 8\nbinary: 8\n\x89PNG\r\n\x1a\n\nOK\n");
        }
        return Healthy(lines);
    });
    MpdOptions options = Options(mpd.Port());
    options.timeout = std::chrono::minutes(1);  // the held answer is no broken connection
    MpdBackend backend(options);
    Events events;
    ASSERT_EQ(backend.Transport(TransportCommand::Play, events), kSuccess);
    ASSERT_TRUE(backend.Status().current.has_value());
    const std::int32_t song = backend.Status().current->id;

    std::atomic<bool> pictureDone{false};
    std::string bytes;
    std::string type;
    std::int32_t pictureCode = -1;
    std::thread worker([&] {
        pictureCode = backend.AlbumArt(song, &bytes, &type);
        pictureDone = true;
    });
    std::thread watchdog([&] {
        std::unique_lock lock(mutex);
        changed.wait_for(lock, std::chrono::seconds(30), [&] { return release; });
        release = true;
        changed.notify_all();
    });
    const auto finish = [&] {
        {
            std::lock_guard lock(mutex);
            release = true;
        }
        changed.notify_all();
        worker.join();
        watchdog.join();
    };
    if (!testing::WaitUntil([&] { return pictureAsks.load() == 1; })) {
        finish();
        FAIL() << "the picture was never asked for";
    }

    ListPage page;
    EXPECT_EQ(backend.Browse("/Music/Artists", 0, -1, &page), kSuccess);
    EXPECT_EQ(backend.SetVolume(30, events), kSuccess);
    std::string path;
    EXPECT_EQ(backend.AlbumArtPath(&path), kSuccess);
    EXPECT_EQ(path, "/art/" + std::to_string(song) + ".png");
    EXPECT_FALSE(pictureDone) << "the page and the loop waited for the picture";

    finish();
    EXPECT_EQ(pictureCode, kSuccess);
    EXPECT_EQ(bytes, "\x89PNG\r\n\x1a\n");
    EXPECT_EQ(type, "image/png");
}

// An MPD that greets each connection and resets it a moment later, unread:
// an MPD that goes between the idle connection's connect and the loop
// taking it. It counts the connections made to it.
class ResettingMpd {
public:
    ResettingMpd() {
        listener_ = testing::ListenOnLoopback(8, &port_);
        thread_ = std::thread([this] {
            while (!stop_) {
                pollfd polled{listener_, POLLIN, 0};
                if (::poll(&polled, 1, 20) <= 0) {
                    continue;
                }
                const int fd = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
                if (fd < 0) {
                    continue;
                }
                ++accepted_;
                const char greeting[] = "OK MPD 0.23.5\n";
                (void)!::write(fd, greeting, sizeof greeting - 1);
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
                const linger reset{1, 0};
                ::setsockopt(fd, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
                ::close(fd);
            }
        });
    }
    ~ResettingMpd() {
        stop_ = true;
        thread_.join();
        ::close(listener_);
    }
    unsigned Port() const { return port_; }
    int Accepted() const { return accepted_; }

private:
    int listener_ = -1;
    std::uint16_t port_ = 0;
    std::atomic<bool> stop_{false};
    std::atomic<int> accepted_{0};
    std::thread thread_;
};

// The idle connection is reset before the loop takes it: the backend
// connects again, as it does whenever the idle connection breaks.
TEST(MpdBackendTest, AnIdleConnectionResetBeforeTheLoopTakesItIsMadeAgain) {
    ResettingMpd mpd;
    MpdBackend backend(Options(mpd.Port()));
    PostedTasks loop;
    backend.Start(loop.Post());
    ASSERT_TRUE(testing::WaitUntil([&] { return loop.Any(); }));  // the idle connection
    std::this_thread::sleep_for(std::chrono::milliseconds(400));  // and its reset
    Events events;
    loop.Run(backend, events);
    // Every half second the thread should connect again and hand the loop
    // a new connection.
    EXPECT_TRUE(testing::WaitUntil([&] { return loop.Any(); }, std::chrono::seconds(3)))
        << "the idle connection was never made again; MPD saw " << mpd.Accepted() << " connections";
    backend.Stop();
}

}  // namespace
}  // namespace vantor::server
