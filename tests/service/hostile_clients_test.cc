// Clients that break the protocol, by accident or on purpose, against a real premoovd: each is
// logged and cut off alone, and the service goes on answering, holding no descriptor or thread
// more than before.

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "service/client/quicktime_service_client.h"
#include "service/raw_client.h"
#include "service/reply_collector.h"
#include "service/service_process.h"
#include "service/service_requests.h"

namespace premoov::testing {
namespace {

// A well-behaved client is still answered, with the header a creator in this process makes.
void expectAnswered(const ServiceProcess& service) {
  SCOPED_TRACE(service.log());
  expectAnsweredAt(service.socketPath());
}

class HostileClientTest : public ::testing::Test {
 protected:
  void start(std::vector<std::string> arguments = {}) {
    service_ = std::make_unique<ServiceProcess>(std::move(arguments));
    ASSERT_TRUE(service_->ready()) << service_->log();
    expectAnswered(*service_);  // the first connection's costs are paid before counting
    ASSERT_TRUE(logs(*service_, "closed by the client"));
    baseline_ = settledResources(*service_);
  }
  void SetUp() override { start(); }

  // What every case ends with: the service answers, and holds what it held before.
  void expectUnharmed() {
    expectAnswered(*service_);
    EXPECT_TRUE(returnsTo(*service_, baseline_));
  }

  std::unique_ptr<RawClient> connect() {
    auto client = std::make_unique<RawClient>(service_->socketPath());
    EXPECT_TRUE(client->connected());
    return client;
  }

  std::unique_ptr<ServiceProcess> service_;
  ServiceResources baseline_;
};

TEST_F(HostileClientTest, TextInsteadOfFramesIsCutOff) {
  auto client = connect();
  ASSERT_TRUE(client->sendBytes({'G', 'E', 'T', ' ', '/', ' ', 'H', 'T', 'T', 'P', '/', '1', '.',
                                 '1', '\r', '\n', '\r', '\n'}));
  EXPECT_TRUE(client->closedByService());
  // "GET " read as a length.
  EXPECT_TRUE(logs(*service_, "a frame larger than allowed (1195725856 bytes announced"));
  expectUnharmed();
}

TEST_F(HostileClientTest, GarbageInAFrameIsCutOff) {
  auto client = connect();
  const std::vector<uint8_t> garbage{0xde, 0xad, 0xbe, 0xef, 0x00, 0x62, 0x70, 0x6c, 0x69, 0x73};
  ASSERT_TRUE(client->sendBytes(frameBytes(static_cast<uint32_t>(garbage.size()), garbage)));
  EXPECT_TRUE(client->closedByService());
  EXPECT_TRUE(logs(*service_, "closing after a malformed message: not a keyed archive"));
  expectUnharmed();
}

TEST_F(HostileClientTest, ATruncatedFrameThenCloseIsLogged) {
  auto client = connect();
  ASSERT_TRUE(client->sendBytes(frameBytes(100, std::vector<uint8_t>(10, 0x42))));
  client->close();
  EXPECT_TRUE(logs(*service_, "closing after a truncated frame (10 bytes received of 100"));
  expectUnharmed();
}

TEST_F(HostileClientTest, AFrameAnnouncingFourGibibytesIsCutOffUnread) {
  auto client = connect();
  ASSERT_TRUE(client->sendBytes(frameBytes(0xFFFFFFFF, std::vector<uint8_t>(64 << 10, 0x42))));
  // The client keeps its end open: the service is the one that ends it.
  EXPECT_TRUE(client->closedByService());
  EXPECT_TRUE(logs(*service_,
                   "a frame larger than allowed (4294967295 bytes announced, at most "
                   "16777216)"));
  expectUnharmed();
}

TEST_F(HostileClientTest, AZeroLengthFrameIsCutOff) {
  auto client = connect();
  ASSERT_TRUE(client->sendBytes(frameBytes(0, {})));
  EXPECT_TRUE(client->closedByService());
  EXPECT_TRUE(logs(*service_, "closing after a frame of no bytes"));
  expectUnharmed();
}

TEST_F(HostileClientTest, AnUnknownSelectorIsCutOffAfterTheRepliesBeforeIt) {
  auto client = connect();
  ASSERT_TRUE(client->sendMessage(headerRequest()));
  ASSERT_TRUE(client->sendMessage({"removeAllFiles", {}}));
  const auto reply = replyIn(client->readFrame());
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->selector, selector::kDidCreateHeader);
  EXPECT_TRUE(reply->arguments[0].bytes() == defaultRequestHeader());
  EXPECT_TRUE(client->closedByService());
  EXPECT_TRUE(logs(*service_, "unknown selector \"removeAllFiles\""));
  expectUnharmed();
}

TEST_F(HostileClientTest, ArgumentsOfTheWrongKindAreCutOff) {
  struct Case {
    size_t index;
    Value value;
    std::string logged;
  };
  const std::vector<Case> cases{
      {2, Value::integer(-1),
       "argument 2 of " + std::string(selector::kWriteQuickTimeHeader) +
           " must be an integer from 0 to 4294967295"},
      {2, Value::integer(int64_t{1} << 32), "argument 2 of"},
      {0, Value::integer(7), "argument 0 of"},
      {4, Value::string("ten seconds"), "argument 4 of"},
      {5, Value::string("settings"), "argument 5 of"},
  };
  for (const Case& c : cases) {
    auto client = connect();
    std::vector<Value> arguments = headerRequestArguments();
    arguments[c.index] = c.value;
    ASSERT_TRUE(client->sendMessage({selector::kWriteQuickTimeHeader, arguments}));
    EXPECT_TRUE(client->closedByService()) << c.logged;
    EXPECT_TRUE(logs(*service_, c.logged));
  }
  EXPECT_TRUE(logs(*service_, "closing after a malformed message", cases.size()));
  expectUnharmed();
}

TEST_F(HostileClientTest, WrongArgumentCountsAreCutOff) {
  std::vector<Value> five = headerRequestArguments();
  five.pop_back();
  auto client = connect();
  ASSERT_TRUE(client->sendMessage({selector::kWriteQuickTimeHeader, five}));
  EXPECT_TRUE(client->closedByService());
  auto another = connect();
  ASSERT_TRUE(another->sendMessage({selector::kCancel, {Value::integer(1)}}));
  EXPECT_TRUE(another->closedByService());
  EXPECT_TRUE(logs(*service_, "takes 6 arguments, not 5"));
  EXPECT_TRUE(logs(*service_, "cancel takes 0 arguments, not 1"));
  expectUnharmed();
}

TEST_F(HostileClientTest, AClientGoneRightAfterItsRequestIsLogged) {
  auto client = connect();
  ASSERT_TRUE(client->sendMessage(headerRequest()));
  client->close();
  EXPECT_TRUE(logs(*service_, "closing, the reply could not be sent"));
  expectUnharmed();
}

TEST_F(HostileClientTest, AClientGoneInTheMiddleOfARequestIsLogged) {
  auto client = connect();
  const std::vector<uint8_t> payload = archivedMessage(headerRequest());
  std::vector<uint8_t> half = frameBytes(static_cast<uint32_t>(payload.size()), payload);
  half.resize(half.size() / 2);
  ASSERT_TRUE(client->sendBytes(half));
  client->close();
  EXPECT_TRUE(logs(*service_, "closing after a truncated frame"));
  expectUnharmed();
}

TEST_F(HostileClientTest, AClientThatNeverReadsItsRepliesIsClosedAfterTheReplyTimeout) {
  start({"--reply-timeout", "1"});
  auto client = connect();
  for (int i = 0; i < 6; ++i) ASSERT_TRUE(client->sendMessage(headerRequest()));
  // Each 4 MiB reply outgrows the socket's buffers; the client reads none of them.
  EXPECT_TRUE(logs(*service_,
                   "closing, the reply could not be sent: the peer stopped reading for "
                   "longer than allowed"));
  // The service let go of the connection while the client still holds its end.
  EXPECT_TRUE(returnsTo(*service_, baseline_));
  client->close();
  expectUnharmed();
}

TEST_F(HostileClientTest, FiveHundredConnectionsAtOnceAreServedAndReleased) {
  constexpr size_t kConnections = 500;
  std::vector<std::unique_ptr<RawClient>> clients;
  for (size_t i = 0; i < kConnections; ++i) {
    clients.push_back(connect());
    ASSERT_TRUE(clients.back()->connected()) << i;
  }
  // All accepted: a thread and a descriptor each.
  EXPECT_TRUE(returnsTo(*service_,
                        {baseline_.descriptors + kConnections, baseline_.threads + kConnections},
                        std::chrono::seconds(60)));
  expectAnswered(*service_);  // while they are open
  for (size_t i = 0; i < kConnections; i += 50)
    ASSERT_TRUE(clients[i]->sendMessage(headerRequest()));
  for (size_t i = 0; i < kConnections; i += 50) {
    const auto reply = replyIn(clients[i]->readFrame());
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->selector, selector::kDidCreateHeader);
  }
  clients.clear();
  // The first connection and the two checks, then the 500.
  EXPECT_TRUE(logs(*service_, "closed by the client", kConnections + 2, std::chrono::seconds(60)));
  expectUnharmed();
}

}  // namespace
}  // namespace premoov::testing
