#include "net/RequestTable.h"

#include <cstdint>

namespace vantor {

void RequestTable::Free(Slot& slot) {
    slot.requestId = -1;
    slot.waiting = false;
    slot.request.reset();
    slot.response.reset();
}

int RequestTable::RegisterLocked(std::unique_ptr<Message>& request, bool waiting, bool* reused) {
    if (request->requestId < 0) {
        // Ids stay non-negative: after the last one the count starts again.
        request->requestId = nextRequestId_;
        nextRequestId_ = nextRequestId_ == INT32_MAX ? 0 : nextRequestId_ + 1;
    }
    *reused = false;
    int free = -1;
    for (int i = 0; i < kSlotCount; ++i) {
        const Slot& slot = slots_[static_cast<std::size_t>(i)];
        if (slot.requestId == request->requestId) {
            *reused = true;
            return i;
        }
        if (free < 0 && slot.requestId == -1) {
            free = i;
        }
    }
    if (free >= 0) {
        Slot& slot = slots_[static_cast<std::size_t>(free)];
        slot.waiting = waiting;
        slot.requestId = request->requestId;
        slot.request = std::move(request);
    }
    return free;
}

SendResult RequestTable::SendRequest(std::unique_ptr<Message>&& request, MessageSender* sender) {
    // The text is made under the lock: once the bytes are out, the response
    // may free the registered request on the receiver thread at any moment.
    // The send itself happens outside the lock, so a slow send never holds up
    // the matching of responses.
    std::string xml;
    {
        std::lock_guard lock(mutex_);
        bool reused = false;
        const int slot = RegisterLocked(request, false, &reused);
        if (slot < 0) {
            return SendResult::TableFull;
        }
        xml = reused ? request->ToXml() : slots_[static_cast<std::size_t>(slot)].request->ToXml();
    }
    request.reset();  // a request whose id was registered already is done with
    if (sender == nullptr || !sender->IsConnected()) {
        return SendResult::NotConnected;
    }
    sender->SendXml(xml);
    return SendResult::Sent;
}

std::unique_ptr<Message> RequestTable::SendAndWait(std::unique_ptr<Message>&& request,
                                                   MessageSender* sender,
                                                   std::chrono::milliseconds timeout,
                                                   SendResult* result) {
    std::string xml;
    std::int32_t id;
    {
        std::lock_guard lock(mutex_);
        bool reused = false;
        const int slot = RegisterLocked(request, true, &reused);
        if (slot < 0) {
            if (result != nullptr) {
                *result = SendResult::TableFull;
            }
            return nullptr;
        }
        Slot& registered = slots_[static_cast<std::size_t>(slot)];
        registered.waiting = true;
        id = registered.requestId;
        xml = registered.request->ToXml();
    }
    request.reset();

    const auto release = [&] {
        for (Slot& slot : slots_) {
            if (slot.requestId == id) {
                std::unique_ptr<Message> response = std::move(slot.response);
                Free(slot);
                return response;
            }
        }
        return std::unique_ptr<Message>();
    };

    if (sender == nullptr || !sender->IsConnected()) {
        std::lock_guard lock(mutex_);
        release();
        if (result != nullptr) {
            *result = SendResult::NotConnected;
        }
        return nullptr;
    }
    sender->SendXml(xml);
    if (result != nullptr) {
        *result = SendResult::Sent;
    }

    std::unique_lock lock(mutex_);
    responded_.wait_for(lock, timeout, [&] {
        for (const Slot& slot : slots_) {
            if (slot.requestId == id) {
                return slot.response != nullptr;
            }
        }
        return true;  // the slot is gone: nothing more will arrive
    });
    return release();
}

std::optional<RequestTable::Match> RequestTable::MatchResponse(std::unique_ptr<Message> response) {
    std::unique_lock lock(mutex_);
    for (Slot& slot : slots_) {
        if (slot.requestId != response->requestId || slot.requestId == -1) {
            continue;
        }
        if (slot.waiting) {
            slot.response = std::move(response);
            lock.unlock();
            responded_.notify_all();
            return std::nullopt;
        }
        Match match{std::move(response), std::move(slot.request)};
        Free(slot);
        return match;
    }
    return std::nullopt;  // answers nothing we wait for
}

void RequestTable::CancelRequests(MessageType type) {
    std::lock_guard lock(mutex_);
    for (Slot& slot : slots_) {
        if (slot.requestId != -1 && !slot.waiting && slot.request && slot.request->Type() == type) {
            Free(slot);
        }
    }
}

void RequestTable::Clear() {
    std::lock_guard lock(mutex_);
    for (Slot& slot : slots_) {
        if (!slot.waiting) {
            Free(slot);
        }
    }
}

int RequestTable::Outstanding() const {
    std::lock_guard lock(mutex_);
    int count = 0;
    for (const Slot& slot : slots_) {
        count += slot.requestId != -1 ? 1 : 0;
    }
    return count;
}

}  // namespace vantor
