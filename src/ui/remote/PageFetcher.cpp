#include "ui/remote/PageFetcher.h"

namespace vantor::ui {

PageFetcher::PageFetcher(std::shared_ptr<const MediaService> service,
                         std::shared_ptr<std::atomic<bool>> abort,
                         std::shared_ptr<WindowMailbox> mailbox)
    : shared_(std::make_shared<Shared>()) {
    shared_->service = std::move(service);
    shared_->abort = std::move(abort);
    shared_->mailbox = std::move(mailbox);
}

PageFetcher::~PageFetcher() {
    {
        std::lock_guard lock(shared_->mutex);
        shared_->closing = true;
        shared_->jobs.clear();
    }
    *shared_->abort = true;
    shared_->wake.notify_all();
    worker_.Stop();
}

void PageFetcher::Shared::Run() {
    std::unique_lock lock(mutex);
    while (true) {
        wake.wait(lock, [this] { return closing || !jobs.empty(); });
        if (closing) {
            return;
        }
        std::function<void(Shared&)> job = std::move(jobs.back());
        jobs.pop_back();
        lock.unlock();
        job(*this);
        lock.lock();
    }
}

void PageFetcher::Queue(std::function<void(Shared&)> job) {
    {
        std::lock_guard lock(shared_->mutex);
        shared_->jobs.push_back(std::move(job));
    }
    shared_->wake.notify_one();
    if (!worker_.IsRunning()) {
        worker_.Start("Page Fetch", [shared = shared_] { shared->Run(); });
    }
}

void PageFetcher::FetchPlaylist(int start, int count, bool withTotal,
                                Deliver<wire::PlaylistPage> deliver) {
    Queue([=, deliver = std::move(deliver)](Shared& shared) {
        auto page = shared.service->FetchPlaylistPage(start, count, withTotal);
        shared.mailbox->Post(FrameMessage::WorkerCall, 0,
                             [deliver, page = std::move(page)] { deliver(page); });
    });
}

void PageFetcher::FetchFolder(const std::string& path, int start, int count, bool withTotal,
                              Deliver<wire::MediaList> deliver) {
    Queue([=, deliver = std::move(deliver)](Shared& shared) {
        auto page = shared.service->FetchFolderPage(path, start, count, withTotal);
        shared.mailbox->Post(FrameMessage::WorkerCall, 0,
                             [deliver, page = std::move(page)] { deliver(page); });
    });
}

void PageFetcher::Search(const std::string& text, int start, int count,
                         Deliver<wire::MediaList> deliver) {
    Queue([=, deliver = std::move(deliver)](Shared& shared) {
        auto page = shared.service->Search(text, start, count);
        shared.mailbox->Post(FrameMessage::WorkerCall, 0,
                             [deliver, page = std::move(page)] { deliver(page); });
    });
}

}  // namespace vantor::ui
