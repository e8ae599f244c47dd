#pragma once

// Fetches the media service's pages off the window's thread. One worker
// ("Page Fetch") takes the requests newest first, since the rows in view
// now matter more than the ones scrolled past, and hands each page (null
// when the fetch failed) to its `deliver` on the window's thread through
// the mailbox.
//
// Threads: the Fetch functions and the destructor on the window's thread;
// `deliver` runs there too. The destructor gives up a transfer under way
// and waits for the worker, bounded.

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "core/NamedThread.h"
#include "media/MediaService.h"
#include "ui/window/FrameMessages.h"

namespace vantor::ui {

class PageFetcher {
public:
    template <class Page>
    using Deliver = std::function<void(std::shared_ptr<const Page>)>;

    // `abort` is the flag the service's transfers watch (its HttpOptions);
    // the destructor sets it.
    PageFetcher(std::shared_ptr<const MediaService> service,
                std::shared_ptr<std::atomic<bool>> abort, std::shared_ptr<WindowMailbox> mailbox);
    ~PageFetcher();
    PageFetcher(const PageFetcher&) = delete;
    PageFetcher& operator=(const PageFetcher&) = delete;

    void FetchPlaylist(int start, int count, bool withTotal, Deliver<wire::PlaylistPage> deliver);
    void FetchFolder(const std::string& path, int start, int count, bool withTotal,
                     Deliver<wire::MediaList> deliver);
    void Search(const std::string& text, int start, int count, Deliver<wire::MediaList> deliver);

private:
    // What the worker uses; it holds a share, so a worker that outlives its
    // stop never reaches freed memory.
    struct Shared {
        std::shared_ptr<const MediaService> service;
        std::shared_ptr<std::atomic<bool>> abort;
        std::shared_ptr<WindowMailbox> mailbox;
        std::mutex mutex;  // guards jobs and closing
        std::condition_variable wake;
        std::deque<std::function<void(Shared&)>> jobs;
        bool closing = false;

        void Run();
    };

    void Queue(std::function<void(Shared&)> job);

    std::shared_ptr<Shared> shared_;
    NamedThread worker_;
};

}  // namespace vantor::ui
