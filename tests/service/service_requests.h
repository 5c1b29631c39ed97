#pragma once

#include <string>

#include "header/header_settings.h"
#include "header/quicktime_movie_creator.h"
#include "media/cm_time.h"
#include "naming/metadata_item.h"
#include "plist/value.h"
#include "service/client/quicktime_service_client.h"
#include "service/reply_collector.h"
#include "support/recording_client.h"

namespace premoov::testing {

inline const CMTime kNtscFrame = CMTimeMake(1001, 30000);

// One header request, as a client sends it and as a creator in this process takes it.
struct HeaderRequestArguments {
  std::string path = "/recordings/take.mov";
  bool newFile = true;
  uint32_t blockSize = 4096;
  Value uniqueID = Value::string("take-1");
  CMTime duration = CMTimeMake(30000 * 10, 30000);
  Value settings = typicalSettings(FourCC("apch"), kNtscFrame, 2);
};

inline QuickTimeServiceClient::SendFailure send(QuickTimeServiceClient& client,
                                                const HeaderRequestArguments& a) {
  return client.writeQuickTimeHeaderAtPath(a.path, a.newFile, a.blockSize, a.uniqueID, a.duration,
                                           a.settings);
}

// What a movie creator in this process replies to the same request.
inline RecordingClient inProcessReply(const HeaderRequestArguments& a) {
  RecordingClient client;
  ZPRQuickTimeMovieCreator creator;
  creator.setXPCConnection(&client);
  creator.writeQuickTimeHeaderAtPath(a.path, a.newFile, a.blockSize, a.uniqueID, a.duration,
                                     a.settings);
  return client;
}

// Settings no frame size can be found for: the request fails at once.
inline Value settingsWithoutFrameSize() { return Value::dictionary(); }

inline Value metadataItemsWith(Value value) {
  Value items = Value::array();
  items.append(Value::object(ZPRMetadataItem::initWithKey("com.example.when", &value)));
  return items;
}

// The header of the default request, as a creator in this process makes it.
inline const std::vector<uint8_t>& defaultRequestHeader() {
  static const std::vector<uint8_t> header = inProcessReply({}).headers.at(0).bytes;
  return header;
}

// A well-behaved client at `socketPath` asks for the default request's header and gets the one a
// creator in this process makes.
inline void expectAnsweredAt(const std::string& socketPath) {
  ReplyCollector replies;
  auto client = QuickTimeServiceClient::connect(replies, socketPath);
  ASSERT_TRUE(client) << client.error();
  ASSERT_FALSE(send(**client, HeaderRequestArguments{}));
  (*client)->finishSending();
  (*client)->waitUntilEnded();
  const auto got = replies.replies();
  ASSERT_EQ(got.size(), 1u);
  EXPECT_TRUE(got[0].created);
  EXPECT_TRUE(got[0].header == defaultRequestHeader());
}

}  // namespace premoov::testing
