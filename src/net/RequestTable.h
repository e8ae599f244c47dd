#pragma once

// The requests sent to the server that still wait for their responses:
// exactly 100 slots. A request gets its id when it is sent; the response
// with that id finds it here. A slot may be marked waiting, for a caller that
// blocks until its response arrives; the response then stays in the slot for
// that caller.
//
// Thread-safe: one mutex guards the whole table. Requests are sent from any
// thread; responses are matched on the receiver thread.

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

#include "net/XmlChannel.h"
#include "protocol/Message.h"
#include "protocol/SendResult.h"

namespace vantor {

class RequestTable {
public:
    static constexpr int kSlotCount = 100;

    explicit RequestTable(std::int32_t firstRequestId = 0) : nextRequestId_(firstRequestId) {}

    // Gives the request an id when it has none, registers it and sends it.
    // NotConnected when there is no sender or it is not connected (the
    // request stays registered). The table takes the request except on
    // TableFull, when it is left in `request` for the caller. A request
    // whose id is already registered leaves that slot as it is.
    SendResult SendRequest(std::unique_ptr<Message>&& request, MessageSender* sender);

    // Sends like SendRequest with the slot marked waiting, then blocks until
    // the response arrives or the time-out passes. The response, or null on
    // a failed send or a time-out (`result` says which: the send result, or
    // Sent with a null response for a time-out). The slot is freed either
    // way.
    std::unique_ptr<Message> SendAndWait(std::unique_ptr<Message>&& request, MessageSender* sender,
                                         std::chrono::milliseconds timeout,
                                         SendResult* result = nullptr);

    struct Match {
        std::unique_ptr<Message> response;
        std::unique_ptr<Message> request;
    };
    // Finds the slot of the response's id. For a waiting slot the response is
    // stored for its waiter and nothing is returned; otherwise the slot is
    // freed and both messages come back for dispatch. A response whose id is
    // in no slot is dropped: nothing is returned.
    std::optional<Match> MatchResponse(std::unique_ptr<Message> response);

    // Frees every slot that is not waiting and holds a request of this type.
    void CancelRequests(MessageType type);

    // Frees every slot that is not waiting (the connection was replaced).
    void Clear();

    int Outstanding() const;

private:
    struct Slot {
        std::int32_t requestId = -1;
        bool waiting = false;
        std::unique_ptr<Message> request;
        std::unique_ptr<Message> response;
    };

    // Under mutex_: registers the request (assigning its id); the slot index,
    // or -1 when the table is full. *reused is true when the id already had a
    // slot.
    int RegisterLocked(std::unique_ptr<Message>& request, bool waiting, bool* reused);
    static void Free(Slot& slot);

    mutable std::mutex mutex_;  // guards slots_ and nextRequestId_
    std::condition_variable responded_;
    std::array<Slot, kSlotCount> slots_;
    std::int32_t nextRequestId_;
};

}  // namespace vantor
