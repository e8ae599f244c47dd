#include <gtest/gtest.h>

#include <thread>

#include "net/RequestTable.h"
#include "protocol/Messages.h"

namespace vantor {
namespace {

using namespace std::chrono_literals;

class FakeSender final : public MessageSender {
public:
    bool connected = true;
    std::vector<std::string> sent;

    bool IsConnected() const override { return connected; }
    bool SendXml(std::string_view xml) override {
        sent.emplace_back(xml);
        return true;
    }
};

std::unique_ptr<Message> Volume(std::int32_t volume) {
    auto request = std::make_unique<SetVolumeRequest>();
    request->volume = volume;
    return request;
}

std::unique_ptr<Message> ResponseTo(std::int32_t requestId) {
    auto response = std::make_unique<SetVolumeResponse>();
    response->requestId = requestId;
    return response;
}

TEST(RequestTableTest, GivesIdsInTurnAndSendsTheRequest) {
    RequestTable table(7);
    FakeSender sender;
    EXPECT_EQ(table.SendRequest(Volume(10), &sender), SendResult::Sent);
    EXPECT_EQ(table.SendRequest(Volume(20), &sender), SendResult::Sent);
    ASSERT_EQ(sender.sent.size(), 2u);
    EXPECT_EQ(sender.sent[0],
              "<SetVolumeRequest>\n<requestId>7</requestId>\n<volume>10</volume>\n"
              "</SetVolumeRequest>");
    EXPECT_NE(sender.sent[1].find("<requestId>8</requestId>"), std::string::npos);
    // Without a channel the request is refused, unsent, but stays registered.
    sender.connected = false;
    EXPECT_EQ(table.SendRequest(Volume(30), &sender), SendResult::NotConnected);
    EXPECT_EQ(table.SendRequest(Volume(40), nullptr), SendResult::NotConnected);
    EXPECT_EQ(sender.sent.size(), 2u);
    EXPECT_EQ(table.Outstanding(), 4);

    // After the last 32-bit id the count starts again at 0: a negative id
    // would read as none (and the step past the last would overflow).
    RequestTable last(INT32_MAX);
    sender.connected = true;
    EXPECT_EQ(last.SendRequest(Volume(50), &sender), SendResult::Sent);
    EXPECT_EQ(last.SendRequest(Volume(60), &sender), SendResult::Sent);
    ASSERT_EQ(sender.sent.size(), 4u);
    EXPECT_NE(sender.sent[2].find("<requestId>2147483647</requestId>"), std::string::npos);
    EXPECT_NE(sender.sent[3].find("<requestId>0</requestId>"), std::string::npos) << sender.sent[3];
}

TEST(RequestTableTest, AFullTableRefusesAndLeavesTheRequestWithTheCaller) {
    RequestTable table;
    FakeSender sender;
    for (int i = 0; i < RequestTable::kSlotCount; ++i) {
        ASSERT_EQ(table.SendRequest(Volume(i), &sender), SendResult::Sent);
    }
    std::unique_ptr<Message> extra = Volume(99);
    EXPECT_EQ(table.SendRequest(std::move(extra), &sender), SendResult::TableFull);
    ASSERT_NE(extra, nullptr) << "a refused request stays the caller's";
    EXPECT_EQ(sender.sent.size(), 100u);

    // A response frees its slot; the next request takes the lowest free one.
    EXPECT_TRUE(table.MatchResponse(ResponseTo(42)).has_value());
    EXPECT_EQ(table.SendRequest(std::move(extra), &sender), SendResult::Sent);
    EXPECT_EQ(table.Outstanding(), 100);
}

TEST(RequestTableTest, AResponseComesBackWithItsRequestOnce) {
    RequestTable table;
    FakeSender sender;
    EXPECT_EQ(table.SendRequest(Volume(33), &sender), SendResult::Sent);
    EXPECT_EQ(table.SendRequest(Volume(44), &sender), SendResult::Sent);

    auto match = table.MatchResponse(ResponseTo(1));
    ASSERT_TRUE(match.has_value());
    EXPECT_EQ(match->response->requestId, 1);
    ASSERT_NE(match->request, nullptr);
    EXPECT_EQ(As<SetVolumeRequest>(*match->request)->volume, 44);

    EXPECT_FALSE(table.MatchResponse(ResponseTo(1)).has_value()) << "the slot was freed";
    EXPECT_FALSE(table.MatchResponse(ResponseTo(12345)).has_value()) << "no such request";
    EXPECT_EQ(table.Outstanding(), 1);
}

TEST(RequestTableTest, ARequestWithARegisteredIdKeepsItsSlot) {
    RequestTable table;
    FakeSender sender;
    EXPECT_EQ(table.SendRequest(Volume(1), &sender), SendResult::Sent);  // id 0
    auto again = Volume(2);
    again->requestId = 0;
    EXPECT_EQ(table.SendRequest(std::move(again), &sender), SendResult::Sent);
    EXPECT_EQ(table.Outstanding(), 1);
    auto match = table.MatchResponse(ResponseTo(0));
    ASSERT_TRUE(match.has_value());
    EXPECT_EQ(As<SetVolumeRequest>(*match->request)->volume, 1) << "the slot is unchanged";
}

TEST(RequestTableTest, CancelDropsOnlyThatTypeAndNotWaiters) {
    RequestTable table;
    FakeSender sender;
    EXPECT_EQ(table.SendRequest(Volume(1), &sender), SendResult::Sent);
    EXPECT_EQ(table.SendRequest(std::make_unique<GetEqRequest>(), &sender), SendResult::Sent);
    EXPECT_EQ(table.SendRequest(Volume(2), &sender), SendResult::Sent);
    table.CancelRequests(MessageType::SetVolumeRequest);
    EXPECT_EQ(table.Outstanding(), 1);
    EXPECT_FALSE(table.MatchResponse(ResponseTo(0)).has_value());
    auto eq = std::make_unique<GetEqResponse>();
    eq->requestId = 1;
    EXPECT_TRUE(table.MatchResponse(std::move(eq)).has_value());
}

TEST(RequestTableTest, AWaitingCallerGetsItsResponse) {
    RequestTable table;
    FakeSender sender;
    std::thread server([&] {
        while (table.Outstanding() == 0) {
            std::this_thread::sleep_for(1ms);
        }
        // The response is kept for the waiter, not handed out for dispatch.
        EXPECT_FALSE(table.MatchResponse(ResponseTo(0)).has_value());
    });
    SendResult result = SendResult::TableFull;
    auto response = table.SendAndWait(Volume(5), &sender, 5000ms, &result);
    server.join();
    EXPECT_EQ(result, SendResult::Sent);
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->Type(), MessageType::SetVolumeResponse);
    EXPECT_EQ(table.Outstanding(), 0);

    EXPECT_EQ(table.SendRequest(Volume(6), &sender), SendResult::Sent);
    table.CancelRequests(MessageType::SetVolumeRequest);
    EXPECT_EQ(table.SendAndWait(Volume(7), &sender, 20ms, &result), nullptr);
    EXPECT_EQ(result, SendResult::Sent) << "a time-out is a sent request without answer";
    EXPECT_EQ(table.Outstanding(), 0);
}

}  // namespace
}  // namespace vantor
