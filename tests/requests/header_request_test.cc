#include "requests/header_request.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/byte_reader.h"
#include "header/quicktime_movie_creator.h"
#include "movie/fault_injecting_toolbox.h"
#include "support/test_files.h"

namespace premoov {
namespace {

using ::testing::HasSubstr;

class LayoutTally final : public SampleLayoutObserver {
 public:
  void didPlanHeaderRoom(uint32_t headerRoom, uint64_t mdatStart) override {
    headerRoom_ = headerRoom;
    mdatStart_ = mdatStart;
  }
  void didReference(const PlannedReference&) override { ++references_; }
  void didEndLayout(uint64_t end) override { end_ = end; }

  uint32_t headerRoom_ = 0;
  uint64_t mdatStart_ = 0;
  uint64_t end_ = 0;
  int references_ = 0;
};

RequestFile exampleRequest(const char* name) {
  auto request = readRequestFile(examplePath(name));
  EXPECT_TRUE(request) << request.error();
  return request ? std::move(*request) : RequestFile{};
}

TEST(HeaderRequestTest, AnswersTheHeaderOfARequest) {
  LayoutTally tally;
  auto reply = requestHeader(exampleRequest("v210_2997i_2ch_tc_cc.json"), &tally);
  ASSERT_TRUE(reply) << reply.error();
  ASSERT_TRUE(reply->created) << reply->error;
  EXPECT_TRUE(reply->growing);
  EXPECT_EQ(reply->frameSize, ZPRQuickTimeMovieCreator::frameSizeForVideoCodec(
                                  FourCC("v210").value, {.width = 1920, .height = 1080}));
  ASSERT_EQ(reply->header.size(), 4u * 1024 * 1024);  // the header room without long-GOP video
  ByteReader moov(reply->header);
  moov.skip(4);
  EXPECT_EQ(moov.fourCC(), FourCC("moov"));

  // The media data atom header closes the header room; its size reaches to the end of the
  // layout, and the reply's file size counts it from the end of the header room.
  ByteReader mdat(std::span(reply->header).subspan(reply->header.size() - 16));
  const auto mdatSize = mdat.u32();
  EXPECT_EQ(mdat.fourCC(), FourCC("mdat"));
  ASSERT_TRUE(mdatSize);
  EXPECT_EQ(reply->fileSize, static_cast<int64_t>(reply->header.size() + *mdatSize));

  EXPECT_EQ(tally.headerRoom_, reply->header.size());
  EXPECT_EQ(tally.mdatStart_, reply->header.size() - 16);
  EXPECT_EQ(tally.end_, tally.mdatStart_ + *mdatSize);
  EXPECT_GT(tally.references_, 0);
}

TEST(HeaderRequestTest, AnswersTheRefusalOfARequest) {
  auto request = parseRequest(kRefusedRequest, "refused.json");
  ASSERT_TRUE(request) << request.error();
  auto reply = requestHeader(*request, nullptr);
  ASSERT_TRUE(reply) << reply.error();
  EXPECT_FALSE(reply->created);
  EXPECT_TRUE(reply->growing);
  EXPECT_EQ(reply->error, "Could not get max frame size");
  EXPECT_TRUE(reply->header.empty());
}

TEST(HeaderRequestTest, UsesTheToolboxItIsGiven) {
  FaultInjectingToolbox toolbox;
  toolbox.failCall("NewMovie", -108);
  auto reply = requestHeader(exampleRequest("2vuy_25p_global_tc.json"), nullptr, toolbox);
  ASSERT_TRUE(reply) << reply.error();
  EXPECT_FALSE(reply->created);
  EXPECT_THAT(reply->error, HasSubstr("-108"));
  EXPECT_EQ(toolbox.callCount("NewMovie"), 1);
}

TEST(HeaderRequestTest, ACancelledCreatorLeavesTheRequestWithoutReply) {
  HeaderReplies replies;
  ZPRQuickTimeMovieCreator creator;
  creator.setXPCConnection(&replies);
  creator.cancel();
  const RequestFile request = exampleRequest("2vuy_25p_global_tc.json");
  creator.writeQuickTimeHeaderAtPath(request.path, request.newFile, request.blockSize,
                                     request.uniqueID, request.duration, request.settings);
  auto reply = std::move(replies).onlyReply();
  ASSERT_FALSE(reply);
  EXPECT_EQ(reply.error(), "the movie creator sent no reply");
}

TEST(HeaderRequestTest, RefusesToPickOneOfSeveralReplies) {
  HeaderReplies replies;
  replies.remoteObjectProxy()->didCreateHeader({1, 2}, true, 10, 20);
  replies.remoteObjectProxy()->failedCreatingGrowingHeader(true, "late");
  auto reply = std::move(replies).onlyReply();
  ASSERT_FALSE(reply);
  EXPECT_EQ(reply.error(), "the movie creator sent more than one reply: 2");
}

TEST(HeaderRequestTest, KeepsEveryFieldOfTheOnlyReply) {
  HeaderReplies replies;
  replies.didCreateHeader({1, 2, 3}, false, 10, 20);
  auto reply = std::move(replies).onlyReply();
  ASSERT_TRUE(reply) << reply.error();
  EXPECT_TRUE(reply->created);
  EXPECT_FALSE(reply->growing);
  EXPECT_EQ(reply->header, (std::vector<uint8_t>{1, 2, 3}));
  EXPECT_EQ(reply->frameSize, 10);
  EXPECT_EQ(reply->fileSize, 20);
}

}  // namespace
}  // namespace premoov
