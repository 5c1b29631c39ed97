// Many clients at once against a real premoovd: 32 connections of 50 requests each (8 under
// ThreadSanitizer), mixed configurations, some connections cancelled part way. Every request sent
// before a cancel gets exactly its reply, in order, equal to what a creator in this process replies
// to it; nothing answers a request after a cancel.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <mutex>
#include <optional>
#include <random>
#include <thread>
#include <vector>

#include "service/client/quicktime_service_client.h"
#include "service/raw_client.h"
#include "service/service_process.h"
#include "service/service_requests.h"

namespace premoov::testing {
namespace {

constexpr size_t kConnections = 32;
#ifdef __SANITIZE_THREAD__
// ThreadSanitizer needs the 32 connections at once, not the volume: each 4 MiB reply costs it
// seconds, and the full run would take longer than every other test together.
constexpr size_t kRequestsEach = 8;
#else
constexpr size_t kRequestsEach = 50;
#endif
constexpr uint32_t kSeed = 20'260'324;

struct Configuration {
  const char* name;
  HeaderRequestArguments request;
};

Value withFrameSize(Value settings, int64_t maxFrameSize, bool longGOP) {
  settings.setObject(settings_key::kMaxVideoFrameSize, Value::integer(maxFrameSize));
  settings.setObject(settings_key::kIsLongGOP, Value::boolean(longGOP));
  return settings;
}

std::vector<Configuration> configurations() {
  std::vector<Configuration> all;
  {
    Configuration c{"ProRes 422 HQ, 29.97 fps, 10 s", {}};
    all.push_back(c);
  }
  {
    Configuration c{"ProRes 422, 25 fps, 4 audio tracks, 5 s", {}};
    c.request.settings = typicalSettings(FourCC("apcn"), CMTimeMake(1, 25), 4, false);
    c.request.duration = CMTimeMake(5 * 25, 25);
    c.request.blockSize = 0;
    all.push_back(c);
  }
  {
    Configuration c{"ProRes 4444, 23.976 fps, 1 audio track, 3 s, existing file", {}};
    c.request.settings =
        typicalSettings(FourCC("ap4h"), CMTimeMake(1001, 24000), 1, true, 3840, 2160);
    c.request.duration = CMTimeMake(3 * 24000, 24000);
    c.request.newFile = false;
    all.push_back(c);
  }
  {
    Configuration c{"long GOP, 25 fps, max frame size 1 MB, 8 s", {}};
    c.request.settings =
        withFrameSize(typicalSettings(FourCC("apch"), CMTimeMake(1, 25), 2), 1'000'000, true);
    c.request.duration = CMTimeMake(8 * 25, 25);
    all.push_back(c);
  }
  {
    Configuration c{"no frame size", {}};
    c.request.settings = settingsWithoutFrameSize();
    all.push_back(c);
  }
  {
    // A long-GOP room at 1 fps is 419,430 bytes: a 430 kB metadata item does not fit it, however
    // short the recording.
    Configuration c{"long GOP, 1 fps, 430 kB metadata item, 10 s: too long for its room", {}};
    c.request.settings =
        withFrameSize(typicalSettings(FourCC("apch"), CMTimeMake(1, 1), 2), 1'000'000, true);
    c.request.settings.setObject(settings_key::kMetadataItems,
                                 metadataItemsWith(Value::string(std::string(430'000, 'x'))));
    c.request.duration = CMTimeMake(10, 1);
    all.push_back(c);
  }
  return all;
}

// A reply as the in-process creator gives it.
using Expected = ReplyCollector::Reply;

Expected expectedReply(const HeaderRequestArguments& request) {
  const RecordingClient client = inProcessReply(request);
  EXPECT_EQ(client.replies(), 1u);
  Expected e;
  if (!client.headers.empty()) {
    const auto& h = client.headers[0];
    e = {true, h.bytes, h.growing, h.frameSize, h.fileSize, {}};
  } else if (!client.failures.empty()) {
    e.growing = client.failures[0].growing;
    e.error = client.failures[0].error;
  }
  return e;
}

// One connection's requests: which configuration each is, and where the cancel goes.
struct Plan {
  std::vector<size_t> configurations;
  std::optional<size_t> cancelBefore;  // the index of the first request after the cancel

  size_t answered() const { return cancelBefore.value_or(configurations.size()); }
};

// Checks each reply as it arrives against the request it answers, and keeps only the verdict:
// 1,600 header rooms are too many to hold.
class CheckingRecorder : public ZPRQuickTimeServiceDelegate {
 public:
  CheckingRecorder(const Plan& plan, const std::vector<Expected>& expected)
      : plan_(plan), expected_(expected) {}

  void didCreateHeader(std::vector<uint8_t> header, bool growing, int32_t frameSize,
                       int64_t fileSize) override {
    check([&](const Expected& e) {
      return e.created && header == e.header && growing == e.growing && frameSize == e.frameSize &&
             fileSize == e.fileSize;
    });
  }
  void failedCreatingGrowingHeader(bool growing, std::string error) override {
    check(
        [&](const Expected& e) { return !e.created && growing == e.growing && error == e.error; });
  }

  size_t received() const {
    std::lock_guard lock(mutex_);
    return received_;
  }
  std::vector<size_t> wrong() const {
    std::lock_guard lock(mutex_);
    return wrong_;
  }

 private:
  template <typename Matches>
  void check(Matches matches) {
    std::lock_guard lock(mutex_);
    const size_t index = received_++;
    if (index >= plan_.configurations.size() || !matches(expected_[plan_.configurations[index]])) {
      wrong_.push_back(index);
    }
  }

  const Plan& plan_;
  const std::vector<Expected>& expected_;
  mutable std::mutex mutex_;
  size_t received_ = 0;
  std::vector<size_t> wrong_;
};

TEST(LoadTest, ThirtyTwoClientsOfMixedRequestsWithCancelsGetExactlyTheirReplies) {
  const std::vector<Configuration> all = configurations();
  std::vector<Expected> expected;
  for (const Configuration& c : all) {
    const auto start = std::chrono::steady_clock::now();
    expected.push_back(expectedReply(c.request));
    const double ms =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    std::printf(
        "%-60s %s in %.1f ms\n", c.name,
        expected.back().created
            ? ("header of " + std::to_string(expected.back().header.size()) + " bytes").c_str()
            : ("\"" + expected.back().error + "\"").c_str(),
        ms);
  }
  // The mix holds both kinds of refusal.
  ASSERT_EQ(expected[4].error, "Could not get max frame size");
  ASSERT_TRUE(expected[5].error.starts_with("Movie is too long, please record a shorter duration("))
      << expected[5].error;
  ASSERT_TRUE(expected[3].created);
  ASSERT_GT(expected[3].header.size(), 4'194'304u);  // a long-GOP room

  std::mt19937 random(kSeed);
  std::vector<Plan> plans(kConnections);
  size_t cancelled = 0;
  for (Plan& plan : plans) {
    std::uniform_int_distribution<size_t> configuration(0, all.size() - 1);
    for (size_t i = 0; i < kRequestsEach; ++i) plan.configurations.push_back(configuration(random));
    if (std::uniform_int_distribution<int>(0, 2)(random) == 0) {
      plan.cancelBefore = std::uniform_int_distribution<size_t>(0, kRequestsEach)(random);
      ++cancelled;
    }
  }

  ServiceProcess service;
  ASSERT_TRUE(service.ready()) << service.log();
  // The probe that found the service ready is a connection too: counted once it is gone.
  ASSERT_TRUE(logs(service, "closed by the client"));
  const ServiceResources baseline = settledResources(service);
  std::vector<std::unique_ptr<CheckingRecorder>> recorders;
  for (const Plan& plan : plans)
    recorders.push_back(std::make_unique<CheckingRecorder>(plan, expected));

  const auto start = std::chrono::steady_clock::now();
  std::vector<std::thread> clients;
  for (size_t c = 0; c < kConnections; ++c) {
    clients.emplace_back([&, c] {
      auto client = QuickTimeServiceClient::connect(*recorders[c], service.socketPath());
      ASSERT_TRUE(client) << client.error();
      const Plan& plan = plans[c];
      for (size_t i = 0; i < plan.configurations.size(); ++i) {
        if (plan.cancelBefore == i) {
          ASSERT_FALSE((*client)->cancel());
        }
        ASSERT_FALSE(send(**client, all[plan.configurations[i]].request));
      }
      if (plan.cancelBefore == plan.configurations.size()) {
        ASSERT_FALSE((*client)->cancel());
      }
      (*client)->finishSending();
      (*client)->waitUntilEnded();
    });
  }
  for (auto& client : clients) client.join();
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

  size_t replies = 0;
  for (size_t c = 0; c < kConnections; ++c) {
    EXPECT_EQ(recorders[c]->received(), plans[c].answered()) << "connection " << c;
    EXPECT_TRUE(recorders[c]->wrong().empty())
        << "connection " << c << ": " << recorders[c]->wrong().size() << " replies differ, first "
        << recorders[c]->wrong().front();
    replies += recorders[c]->received();
  }
  std::printf("%zu connections, %zu requests, %zu cancelled connections, %zu replies in %.1f s\n",
              kConnections, kConnections * kRequestsEach, cancelled, replies, seconds);
  EXPECT_GT(cancelled, 0u);
  EXPECT_LT(cancelled, kConnections);
  EXPECT_TRUE(returnsTo(service, baseline));
}

}  // namespace
}  // namespace premoov::testing
