#include "service/wire/service_message.h"

#include <gtest/gtest.h>
#include <plist/plist.h>

#include <functional>

#include "media/cm_time.h"
#include "plist/keyed_test_support.h"
#include "service/quicktime_service_listener_delegate.h"
#include "service/service_requests.h"

namespace premoov {
namespace {

using keyed_test::binaryOf;
using keyed_test::classEntry;
using keyed_test::parseBinary;

ServiceInterface serviceInterface() {
  ServiceInterface interface = ServiceInterface::interfaceWithProtocol(quickTimeServiceProtocol());
  interface.setClasses(QuickTimeServiceDelegate::allowedSettingsClasses(),
                       selector::kWriteQuickTimeHeader, 5, false);
  return interface;
}

ServiceInterface replyInterface() {
  return ServiceInterface::interfaceWithProtocol(quickTimeServiceDelegateProtocol());
}

std::vector<Value> writeArguments(Value settings = testing::typicalSettings(FourCC("apch"),
                                                                            CMTimeMake(1001, 30000),
                                                                            2),
                                  Value uniqueID = Value::string("take-1")) {
  return {Value::string("/recordings/take.mov"),
          Value::boolean(true),
          Value::integer(4096),
          std::move(uniqueID),
          CMTimeCopyAsDictionary(CMTimeMake(300000, 30000)),
          std::move(settings)};
}

ServiceMessage writeMessage(std::vector<Value> arguments = writeArguments()) {
  return {selector::kWriteQuickTimeHeader, std::move(arguments)};
}

std::variant<ServiceMessage, MessageError> decode(
    const std::vector<uint8_t>& payload, const ServiceInterface& interface = serviceInterface()) {
  return unarchivedMessage(payload, interface);
}

// The fault the payload meets, or a failure of the test when it is accepted.
MessageError faultOf(const std::vector<uint8_t>& payload,
                     const ServiceInterface& interface = serviceInterface()) {
  auto decoded = decode(payload, interface);
  if (const auto* error = std::get_if<MessageError>(&decoded)) return *error;
  ADD_FAILURE() << "accepted: " << std::get<ServiceMessage>(decoded).selector;
  return {};
}

void expectAccepted(const std::vector<uint8_t>& payload,
                    const ServiceInterface& interface = serviceInterface()) {
  auto decoded = decode(payload, interface);
  if (const auto* error = std::get_if<MessageError>(&decoded)) ADD_FAILURE() << error->message;
}

// Equal values, numbers compared by value: an archive stores every integer alike, whatever its
// width was.
bool sameValue(const Value& a, const Value& b) {
  if (a.kind() != b.kind()) return false;
  switch (a.kind()) {
    case Value::Kind::Number:
      return a.isFloatingNumber() == b.isFloatingNumber() &&
             (a.isFloatingNumber() ? a.doubleValue() == b.doubleValue()
                                   : a.longLongValue() == b.longLongValue());
    case Value::Kind::Array:
      if (a.elements().size() != b.elements().size()) return false;
      for (size_t i = 0; i < a.elements().size(); ++i) {
        if (!sameValue(a.elements()[i], b.elements()[i])) return false;
      }
      return true;
    case Value::Kind::Dictionary:
      if (a.entries().size() != b.entries().size()) return false;
      for (const auto& [key, value] : a.entries()) {
        const Value* other = b.objectForKey(key);
        if (!other || !sameValue(value, *other)) return false;
      }
      return true;
    default: return a == b;
  }
}

void expectRoundTrip(const ServiceMessage& message, const ServiceInterface& interface) {
  auto decoded = decode(archivedMessage(message), interface);
  ASSERT_TRUE(std::holds_alternative<ServiceMessage>(decoded))
      << std::get<MessageError>(decoded).message;
  const auto& back = std::get<ServiceMessage>(decoded);
  EXPECT_EQ(back.selector, message.selector);
  ASSERT_EQ(back.arguments.size(), message.arguments.size());
  for (size_t i = 0; i < message.arguments.size(); ++i) {
    EXPECT_TRUE(sameValue(back.arguments[i], message.arguments[i])) << "argument " << i;
  }
}

TEST(ServiceMessageTest, AHeaderRequestComesBackAsItWasSent) {
  expectRoundTrip(writeMessage(), serviceInterface());
}

TEST(ServiceMessageTest, ACancelComesBackAsItWasSent) {
  expectRoundTrip({selector::kCancel, {}}, serviceInterface());
}

TEST(ServiceMessageTest, ACreatedHeaderComesBackAsItWasSent) {
  std::vector<uint8_t> header(4096);
  for (size_t i = 0; i < header.size(); ++i) header[i] = static_cast<uint8_t>(i * 13);
  expectRoundTrip({selector::kDidCreateHeader,
                   {Value::data(header), Value::boolean(true),
                    Value::integer(1'000'000, CFNumberType::kCFNumberSInt32Type),
                    Value::integer(int64_t{5} << 33, CFNumberType::kCFNumberSInt64Type)}},
                  replyInterface());
}

TEST(ServiceMessageTest, AFailureComesBackAsItWasSent) {
  expectRoundTrip({selector::kFailedCreatingGrowingHeader,
                   {Value::boolean(false), Value::string("Could not get max frame size")}},
                  replyInterface());
}

TEST(ServiceMessageTest, TheXmlFormOfAnArchiveIsReadToo) {
  const PlistNode node = parseBinary(archivedMessage(writeMessage()));
  expectAccepted(keyed_test::xmlOf(node.get()));
}

TEST(ServiceMessageTest, ARequestIsNoReplyAndAReplyNoRequest) {
  EXPECT_EQ(faultOf(archivedMessage(writeMessage()), replyInterface()).fault,
            MessageFault::kMalformed);
  const auto failure = archivedMessage(
      {selector::kFailedCreatingGrowingHeader, {Value::boolean(true), Value::string("no")}});
  const MessageError error = faultOf(failure);
  EXPECT_EQ(error.fault, MessageFault::kMalformed);
  EXPECT_NE(error.message.find("unknown selector"), std::string::npos) << error.message;
}

TEST(ServiceMessageTest, AnUnknownSelectorIsMalformed) {
  const MessageError error = faultOf(archivedMessage({"removeAllFiles", {}}));
  EXPECT_EQ(error.fault, MessageFault::kMalformed);
  EXPECT_NE(error.message.find("unknown selector \"removeAllFiles\""), std::string::npos)
      << error.message;
}

TEST(ServiceMessageTest, WrongArgumentCountsAreMalformed) {
  std::vector<Value> five = writeArguments();
  five.pop_back();
  std::vector<Value> seven = writeArguments();
  seven.push_back(Value::string("extra"));
  for (const auto& arguments : {five, seven}) {
    const MessageError error = faultOf(archivedMessage(writeMessage(arguments)));
    EXPECT_EQ(error.fault, MessageFault::kMalformed);
    EXPECT_NE(error.message.find("takes 6 arguments, not " + std::to_string(arguments.size())),
              std::string::npos)
        << error.message;
  }
  EXPECT_EQ(faultOf(archivedMessage({selector::kCancel, {Value::boolean(true)}})).fault,
            MessageFault::kMalformed);
}

// Argument `index` of a header request replaced by `value`.
std::vector<uint8_t> requestWith(size_t index, Value value) {
  std::vector<Value> arguments = writeArguments();
  arguments[index] = std::move(value);
  return archivedMessage(writeMessage(std::move(arguments)));
}

TEST(ServiceMessageTest, EveryArgumentOfTheWrongKindIsMalformed) {
  struct Case {
    size_t index;
    Value value;
  };
  const std::vector<Case> cases{
      {0, Value::integer(1)},         {0, Value::data({1, 2})},
      {1, Value::string("YES")},      {1, Value::real(1.0)},
      {2, Value::integer(-1)},        {2, Value::integer(int64_t{1} << 32)},
      {2, Value::real(4096.0)},       {2, Value::string("4096")},
      {2, Value::boolean(true)},      {4, Value::string("10 s")},
      {4, Value::integer(10)},        {4, Value::array()},
      {5, Value::string("settings")}, {5, Value::array({Value::dictionary()})},
      {5, Value::data({0})},
  };
  for (const Case& c : cases) {
    const MessageError error = faultOf(requestWith(c.index, c.value));
    EXPECT_EQ(error.fault, MessageFault::kMalformed) << "argument " << c.index;
    EXPECT_NE(error.message.find("argument " + std::to_string(c.index) + " of"), std::string::npos)
        << error.message;
  }
}

TEST(ServiceMessageTest, TheEdgesOfEachArgumentAreAccepted) {
  expectAccepted(requestWith(1, Value::integer(2)));  // non-zero is YES
  expectAccepted(requestWith(2, Value::integer(0)));
  expectAccepted(requestWith(2, Value::integer(4'294'967'295)));
  expectAccepted(requestWith(3, Value::integer(7)));
  expectAccepted(requestWith(3, Value::data({1, 2, 3})));
  expectAccepted(requestWith(3, Value::array({Value::string("a"), Value::date(1)})));
  expectAccepted(requestWith(5, Value::dictionary()));
}

TEST(ServiceMessageTest, ADateIsAllowedAsTheUniqueID) {
  expectAccepted(requestWith(3, Value::date(800'000'000)));
  expectAccepted(requestWith(3, Value::dictionary({{"when", Value::date(1)}})));
}

TEST(ServiceMessageTest, AReplyFrameSizeBeyondThirtyTwoBitsIsMalformed) {
  const auto reply = archivedMessage({selector::kDidCreateHeader,
                                      {Value::data({1}), Value::boolean(true),
                                       Value::integer(int64_t{1} << 31), Value::integer(1)}});
  EXPECT_EQ(faultOf(reply, replyInterface()).fault, MessageFault::kMalformed);
}

void expectClassRefused(const std::vector<uint8_t>& payload, const std::string& className) {
  const MessageError error = faultOf(payload);
  EXPECT_EQ(error.fault, MessageFault::kClassNotAllowed) << error.message;
  EXPECT_NE(error.message.find(className), std::string::npos) << error.message;
}

Value settingsWith(const std::string& key, Value value) {
  Value settings = testing::typicalSettings(FourCC("apch"), CMTimeMake(1001, 30000), 2);
  settings.setObject(key, std::move(value));
  return settings;
}

TEST(ServiceMessageTest, ADateAnywhereInTheSettingsIsRefused) {
  const Value date = Value::date(800'000'000);
  const std::vector<Value> places{
      date,
      Value::array({Value::string("a"), date}),
      Value::dictionary({{"inner", date}}),
      Value::array({Value::dictionary({{"list", Value::array({Value::integer(1), date})}})}),
      Value::dictionary({{"a", Value::dictionary({{"b", Value::array({date})}})}}),
  };
  for (const Value& place : places) {
    expectClassRefused(archivedMessage(writeMessage(writeArguments(settingsWith("x", place)))),
                       "NSDate");
  }
}

TEST(ServiceMessageTest, AMetadataItemHoldingADateIsAllowed) {
  expectAccepted(archivedMessage(writeMessage(writeArguments(settingsWith(
      settings_key::kMetadataItems, testing::metadataItemsWith(Value::date(800'000'000)))))));
}

// The archive of a header request whose settings hold a date under "x", changed by `forge`
// before it is written again: `date` is the date's object, `objects` the archive's "$objects".
std::vector<uint8_t> forgedRequest(
    const std::function<void(plist_t objects, plist_t date)>& forge) {
  const auto bytes =
      archivedMessage(writeMessage(writeArguments(settingsWith("x", Value::date(800'000'000)))));
  PlistNode root = parseBinary(bytes);
  plist_t objects = plist_dict_get_item(root.get(), "$objects");
  plist_t date = nullptr;
  for (uint32_t i = 0; i < plist_array_get_size(objects); ++i) {
    plist_t object = plist_array_get_item(objects, i);
    if (plist_get_node_type(object) == PLIST_DICT && plist_dict_get_item(object, "NS.time")) {
      date = object;
    }
  }
  EXPECT_TRUE(date) << "no date in the archive";
  if (date) forge(objects, date);
  return binaryOf(root.get());
}

// Points `object` at a class entry of its own, appended to `objects`.
void giveClassEntry(plist_t objects, plist_t object, const std::string& name,
                    const std::vector<std::string>& classes) {
  plist_array_append_item(objects, classEntry(name, classes));
  plist_dict_set_item(object, "$class", plist_new_uid(plist_array_get_size(objects) - 1));
}

TEST(ServiceMessageTest, TheForgeryHelperChangesNothingUnasked) {
  // A date left as it is: refused for being a date, as above.
  expectClassRefused(forgedRequest([](plist_t, plist_t) {}), "NSDate");
}

TEST(ServiceMessageTest, ADateClaimingToBeAStringIsRefused) {
  expectClassRefused(forgedRequest([](plist_t objects, plist_t date) {
                       giveClassEntry(objects, date, "NSDate", {"NSDate", "NSString", "NSObject"});
                     }),
                     "NSDate");
  expectClassRefused(forgedRequest([](plist_t objects, plist_t date) {
                       giveClassEntry(objects, date, "NSString", {"NSDate", "NSString"});
                     }),
                     "NSDate");
}

TEST(ServiceMessageTest, AClassEntryNamingAnAllowedClassOverAnotherIsRefused) {
  for (const char* claimed : {"ZPRMetadataItem", "NSDictionary", "NSString"}) {
    expectClassRefused(forgedRequest([&](plist_t objects, plist_t date) {
                         giveClassEntry(objects, date, claimed, {"NSDate", claimed, "NSObject"});
                       }),
                       "NSDate");
  }
}

TEST(ServiceMessageTest, ADateUnderTheNameOfABuiltInClassIsAMalformedArchive) {
  // The object is made of the class it names, and lacks that class's contents: no forgery gets
  // past, the archive is broken and the connection cannot trust what follows.
  const std::vector<std::pair<std::string, std::string>> cases{
      {"NSDictionary", "no NS.keys"}, {"NSString", "no NS.string"}, {"NSData", "no NS.data"}};
  for (const auto& [claimed, why] : cases) {
    const MessageError error = faultOf(forgedRequest([&](plist_t objects, plist_t date) {
      giveClassEntry(objects, date, claimed, {claimed, "NSObject"});
    }));
    EXPECT_EQ(error.fault, MessageFault::kMalformed) << claimed << ": " << error.message;
    EXPECT_NE(error.message.find(why), std::string::npos) << error.message;
  }
}

TEST(ServiceMessageTest, ADateUnderTheNameOfAMetadataItemIsAnItemWithoutKeyOrValue) {
  // A metadata item reads only its own keys: what it is made of holds none of the date.
  auto decoded = decode(forgedRequest([](plist_t objects, plist_t date) {
    giveClassEntry(objects, date, "ZPRMetadataItem", {"ZPRMetadataItem", "NSObject"});
  }));
  ASSERT_TRUE(std::holds_alternative<ServiceMessage>(decoded))
      << std::get<MessageError>(decoded).message;
  const Value* x = std::get<ServiceMessage>(decoded).arguments[5].objectForKey("x");
  ASSERT_TRUE(x && x->isObject());
  auto item = std::dynamic_pointer_cast<const ZPRMetadataItem>(x->objectValue());
  ASSERT_TRUE(item);
  EXPECT_FALSE(item->key());
  EXPECT_FALSE(item->dateValue());
}

TEST(ServiceMessageTest, AClassNoOneKnowsIsRefused) {
  expectClassRefused(forgedRequest([](plist_t objects, plist_t date) {
                       giveClassEntry(objects, date, "NSURL", {"NSURL", "NSObject"});
                     }),
                     "NSURL");
}

TEST(ServiceMessageTest, APayloadThatIsNoArchiveIsMalformed) {
  const std::vector<uint8_t> garbage{'h', 'e', 'l', 'l', 'o', 0, 1, 2};
  EXPECT_EQ(faultOf(garbage).fault, MessageFault::kMalformed);
  // A keyed archive whose root is no dictionary of selector and arguments.
  EXPECT_EQ(faultOf(KeyedArchiver::archivedDataWithRootObject(Value::string("cancel"))).fault,
            MessageFault::kMalformed);
  EXPECT_EQ(faultOf(KeyedArchiver::archivedDataWithRootObject(
                        Value::dictionary({{"selector", Value::string(selector::kCancel)}})))
                .fault,
            MessageFault::kMalformed);
  EXPECT_EQ(faultOf(KeyedArchiver::archivedDataWithRootObject(
                        Value::dictionary({{"selector", Value::string(selector::kCancel)},
                                           {"arguments", Value::array()},
                                           {"more", Value::integer(1)}})))
                .fault,
            MessageFault::kMalformed);
}

}  // namespace
}  // namespace premoov
