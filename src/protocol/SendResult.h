#pragma once

// What became of a request handed to the connection. Only the sender knows
// what a failure means to it, so the result cannot be dropped unseen.

namespace vantor {

enum class [[nodiscard]] SendResult{
    Sent,
    NotConnected,  // no connection: the request stays registered
    TableFull,     // every slot waits for its response: the request is dropped
};

constexpr const char* SendResultText(SendResult result) {
    switch (result) {
        case SendResult::Sent:
            return "sent";
        case SendResult::NotConnected:
            return "not connected";
        case SendResult::TableFull:
            return "too many requests unanswered";
    }
    return "";
}

}  // namespace vantor
