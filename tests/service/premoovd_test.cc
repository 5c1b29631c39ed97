// The service as a recorder meets it: a real premoovd on a socket of its own.

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "service/client/quicktime_service_client.h"
#include "service/reply_collector.h"
#include "service/service_process.h"
#include "service/service_requests.h"
#include "service/wire/service_interface.h"

namespace premoov::testing {
namespace {

struct Connected {
  ReplyCollector replies;
  std::unique_ptr<QuickTimeServiceClient> client;
};

std::unique_ptr<Connected> connectTo(const ServiceProcess& service) {
  auto connected = std::make_unique<Connected>();
  auto client = QuickTimeServiceClient::connect(connected->replies, service.socketPath());
  EXPECT_TRUE(client) << (client ? "" : client.error());
  if (client) connected->client = std::move(*client);
  return connected;
}

TEST(PremoovdTest, AnswersARequestWithTheHeaderACreatorInProcessMakes) {
  ServiceProcess service;
  ASSERT_TRUE(service.ready()) << service.log();
  auto c = connectTo(service);
  const HeaderRequestArguments request;
  ASSERT_FALSE(send(*c->client, request));
  ASSERT_TRUE(c->replies.waitFor(1)) << service.log();

  const RecordingClient expected = inProcessReply(request);
  ASSERT_EQ(expected.headers.size(), 1u);
  const auto replies = c->replies.replies();
  ASSERT_EQ(replies.size(), 1u);
  EXPECT_TRUE(replies[0].created);
  EXPECT_EQ(replies[0].header, expected.headers[0].bytes);
  EXPECT_EQ(replies[0].growing, expected.headers[0].growing);
  EXPECT_EQ(replies[0].frameSize, expected.headers[0].frameSize);
  EXPECT_EQ(replies[0].fileSize, expected.headers[0].fileSize);
  EXPECT_EQ(replies[0].header.size(), 4'194'304u);
}

TEST(PremoovdTest, ReportsAFailureWithItsMessageAndGrowingFlag) {
  ServiceProcess service;
  auto c = connectTo(service);
  HeaderRequestArguments request;
  request.newFile = false;
  request.settings = settingsWithoutFrameSize();
  ASSERT_FALSE(send(*c->client, request));
  ASSERT_TRUE(c->replies.waitFor(1));
  const auto replies = c->replies.replies();
  EXPECT_FALSE(replies[0].created);
  EXPECT_EQ(replies[0].error, "Could not get max frame size");
  EXPECT_FALSE(replies[0].growing);
}

TEST(PremoovdTest, AnswersTheRequestsOfOneConnectionInOrder) {
  ServiceProcess service;
  auto c = connectTo(service);
  std::vector<HeaderRequestArguments> requests(4);
  requests[1].settings = settingsWithoutFrameSize();
  requests[2].duration = CMTimeMake(30000 * 60, 30000);
  requests[3].duration = CMTimeMake(30000 * 2, 30000);
  for (const auto& request : requests) ASSERT_FALSE(send(*c->client, request));
  c->client->finishSending();
  c->client->waitUntilEnded();

  const auto replies = c->replies.replies();
  ASSERT_EQ(replies.size(), 4u);
  for (size_t i = 0; i < requests.size(); ++i) {
    const RecordingClient expected = inProcessReply(requests[i]);
    EXPECT_EQ(replies[i].created, !expected.headers.empty()) << "reply " << i;
    if (!expected.headers.empty()) {
      EXPECT_EQ(replies[i].fileSize, expected.headers[0].fileSize) << "reply " << i;
    }
  }
}

TEST(PremoovdTest, ACancelBeforeAnyRequestSilencesTheConnectionForGood) {
  ServiceProcess service;
  auto c = connectTo(service);
  ASSERT_FALSE(c->client->cancel());
  ASSERT_FALSE(send(*c->client, HeaderRequestArguments{}));
  HeaderRequestArguments failing;
  failing.settings = settingsWithoutFrameSize();
  ASSERT_FALSE(send(*c->client, failing));
  c->client->finishSending();
  c->client->waitUntilEnded();
  EXPECT_EQ(c->replies.count(), 0u);
  // Both requests were handled, silently.
  EXPECT_NE(service.log().find(std::string(selector::kWriteQuickTimeHeader) + " "),
            std::string::npos);
}

TEST(PremoovdTest, ACancelOnOneConnectionLeavesAnotherAnswered) {
  ServiceProcess service;
  auto cancelled = connectTo(service);
  auto answered = connectTo(service);
  ASSERT_FALSE(cancelled->client->cancel());
  std::thread first([&] { ASSERT_FALSE(send(*cancelled->client, HeaderRequestArguments{})); });
  std::thread second([&] { ASSERT_FALSE(send(*answered->client, HeaderRequestArguments{})); });
  first.join();
  second.join();
  cancelled->client->finishSending();
  answered->client->finishSending();
  cancelled->client->waitUntilEnded();
  answered->client->waitUntilEnded();
  EXPECT_EQ(cancelled->replies.count(), 0u);
  ASSERT_EQ(answered->replies.count(), 1u);
  EXPECT_TRUE(answered->replies.replies()[0].created);
}

TEST(PremoovdTest, ADateDirectlyInTheSettingsGetsNoReplyAndTheConnectionGoesOn) {
  ServiceProcess service;
  auto c = connectTo(service);
  HeaderRequestArguments withDate;
  withDate.settings.setObject("recordedOn", Value::date(800'000'000));
  HeaderRequestArguments itemWithDate;
  itemWithDate.settings.setObject(settings_key::kMetadataItems,
                                  metadataItemsWith(Value::date(800'000'000)));
  ASSERT_FALSE(send(*c->client, withDate));
  ASSERT_FALSE(send(*c->client, itemWithDate));
  c->client->finishSending();
  c->client->waitUntilEnded();

  const auto replies = c->replies.replies();
  ASSERT_EQ(replies.size(), 1u);  // the item's date is its own business
  EXPECT_TRUE(replies[0].created);
  EXPECT_EQ(replies[0].header, inProcessReply(itemWithDate).headers.at(0).bytes);
  EXPECT_NE(service.log().find("class NSDate"), std::string::npos) << service.log();
}

TEST(PremoovdTest, StopsOnSigtermAndRemovesItsSocket) {
  ServiceProcess service;
  ASSERT_TRUE(service.ready());
  const std::string path = service.socketPath();
  const int status = service.stop();
  EXPECT_TRUE(WIFEXITED(status)) << status;
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(PremoovdTest, ASigtermWhileStartingStopsItCleanlyOnceItListens) {
  ServiceProcess service({}, std::nullopt, ServiceProcess::StopSignals::kHeldWhileStarting);
  ASSERT_EQ(service.signal(SIGTERM), 0);
  const std::string path = service.socketPath();
  const int status = service.stop();
  EXPECT_TRUE(WIFEXITED(status)) << status;
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_NE(service.log().find("stopped"), std::string::npos) << service.log();
}

}  // namespace
}  // namespace premoov::testing
