#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "naming/metadata_item.h"
#include "naming/naming_classes.h"
#include "naming/token.h"
#include "plist/keyed_archive.h"
#include "premoov/commands.h"
#include "tools/tool_runs.h"

namespace premoov {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using OrderedJson = nlohmann::ordered_json;

std::vector<uint8_t> bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

// The root object of an archive file, read back as the service reads one: secure coding for
// metadata items, plain decoding for tokens.
std::optional<Value> decodedRoot(const TempFile& file, bool secure) {
  registerNamingClasses();
  auto coder = KeyedUnarchiver::fromData(bytesOf(file.read()));
  if (!coder) {
    ADD_FAILURE() << coder.error();
    return std::nullopt;
  }
  (*coder)->setRequiresSecureCoding(secure);
  auto root = secure ? (*coder)->decodeTopLevelObjectOfClasses({"ZPRMetadataItem"})
                     : (*coder)->decodeRootObject();
  if ((*coder)->error()) ADD_FAILURE() << (*coder)->error()->message;
  return root;
}

std::shared_ptr<const ZPRMetadataItem> decodedItem(const TempFile& file) {
  auto root = decodedRoot(file, true);
  if (!root || !root->isObject()) return nullptr;
  return std::dynamic_pointer_cast<const ZPRMetadataItem>(root->objectValue());
}

class ArchiveCommandTest : public ::testing::Test {
 protected:
  // `premoov archive item --key k ARGUMENTS --out archive_`, which must succeed.
  OrderedJson item(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"archive", "item", "--key", "com.example.k"});
    arguments.insert(arguments.end(), {"--out", archive_.path()});
    const ToolOutcome run = runInProcess(arguments);
    EXPECT_EQ(run.code, kExitSuccess) << run.err;
    EXPECT_THAT(run.err, IsEmpty());
    return run.code == kExitSuccess ? OrderedJson::parse(run.out) : OrderedJson();
  }

  // The dump of archive_, which must be a sound archive.
  std::vector<std::string> dumpLines() {
    std::ostringstream out, err;
    EXPECT_EQ(runArchiveDumpCommand(archive_.path(), out, err), kExitSuccess) << err.str();
    EXPECT_THAT(err.str(), IsEmpty());
    const OrderedJson answer = OrderedJson::parse(out.str());
    EXPECT_FALSE(answer.contains("problems"));
    return answer["dump"].get<std::vector<std::string>>();
  }

  TempFile archive_{"archive-command.bin"};
};

TEST_F(ArchiveCommandTest, ArchivesATokenThatReadsBack) {
  std::ostringstream out, err;
  ASSERT_EQ(runArchiveTokenCommand({.code = "$$Day#EEE", .outPath = archive_.path()}, out, err),
            kExitSuccess)
      << err.str();
  EXPECT_THAT(err.str(), IsEmpty());
  const OrderedJson answer = OrderedJson::parse(out.str());
  EXPECT_EQ(answer["file"], archive_.path());
  EXPECT_EQ(answer["bytes"].get<size_t>(), archive_.read().size());
  EXPECT_EQ(answer["className"], "ZPRToken");
  EXPECT_EQ(answer["token"].dump(),
            R"({"codeName":"$$Day#EEE","displayName":"Day","formatter":"EEE"})");
  EXPECT_THAT(archive_.read(), StartsWith("bplist00"));

  const auto root = decodedRoot(archive_, false);
  ASSERT_TRUE(root && root->isObject());
  const auto token = std::dynamic_pointer_cast<const ZPRToken>(root->objectValue());
  ASSERT_NE(token, nullptr);
  EXPECT_EQ(token->codeName(), "$$Day#EEE");
  EXPECT_EQ(token->displayName(), "Day");
  EXPECT_EQ(token->formatter(), "EEE");
  EXPECT_EQ(token->simpleString(), std::nullopt);

  EXPECT_THAT(dumpLines(), ElementsAre("root: ZPRToken (object 1)", "  codeName: \"$$Day#EEE\"",
                                       "  displayName: \"Day\"", "  formatter: \"EEE\"",
                                       "  simpleString: $null"));
}

TEST_F(ArchiveCommandTest, ArchivesAStringItem) {
  const OrderedJson answer = item({"--string", "Take 7"});
  EXPECT_EQ(answer["className"], "ZPRMetadataItem");
  EXPECT_EQ(answer["key"], "com.example.k");
  EXPECT_EQ(answer["valueType"], 0);
  const auto decoded = decodedItem(archive_);
  ASSERT_NE(decoded, nullptr);
  EXPECT_EQ(decoded->key(), "com.example.k");
  EXPECT_EQ(decoded->valueType(), ZPRMetadataValueTypeString);
  EXPECT_EQ(decoded->stringValue(), "Take 7");
  EXPECT_THAT(dumpLines(),
              ElementsAre("root: ZPRMetadataItem (object 1)", "  key: \"com.example.k\"",
                          "  valueType: 0", "  stringValue: \"Take 7\""));
}

TEST_F(ArchiveCommandTest, ArchivesNumberItems) {
  EXPECT_EQ(item({"--number", "-42"})["valueType"], 1);
  auto decoded = decodedItem(archive_);
  ASSERT_NE(decoded, nullptr);
  ASSERT_TRUE(decoded->numberValue());
  EXPECT_FALSE(decoded->numberValue()->isFloatingNumber());
  EXPECT_EQ(decoded->numberValue()->longLongValue(), -42);
  EXPECT_EQ(dumpLines().back(), "  numberValue: -42");

  item({"--number", "9223372036854775807"});
  decoded = decodedItem(archive_);
  ASSERT_NE(decoded, nullptr);
  EXPECT_EQ(decoded->numberValue()->longLongValue(), INT64_MAX);

  item({"--number", "2.5"});
  decoded = decodedItem(archive_);
  ASSERT_NE(decoded, nullptr);
  EXPECT_TRUE(decoded->numberValue()->isFloatingNumber());
  EXPECT_EQ(decoded->numberValue()->doubleValue(), 2.5);
  EXPECT_EQ(dumpLines().back(), "  numberValue: 2.5");

  item({"--number", "1e3"});
  EXPECT_EQ(dumpLines().back(), "  numberValue: 1000.0");
}

TEST_F(ArchiveCommandTest, ArchivesADateItem) {
  EXPECT_EQ(item({"--date", "2024-03-05T14:07:09.25+01:00"})["valueType"], 2);
  const auto decoded = decodedItem(archive_);
  ASSERT_NE(decoded, nullptr);
  ASSERT_TRUE(decoded->dateValue() && decoded->dateValue()->isDate());
  EXPECT_EQ(decoded->dateValue()->timeIntervalSinceReferenceDate(), 731336829.25);
  EXPECT_EQ(dumpLines().back(),
            "  dateValue: NSDate (object 3): NS.time 731336829.25 = 2024-03-05T13:07:09.250Z");
}

TEST_F(ArchiveCommandTest, ArchivesATokenListItem) {
  EXPECT_EQ(item({"--tokens", "$$Day#EEE", " take ", "$$Counter.3", "--string",
                  "Mon take 001"})["valueType"],
            3);
  const auto decoded = decodedItem(archive_);
  ASSERT_NE(decoded, nullptr);
  ASSERT_TRUE(decoded->tokenValues());
  EXPECT_EQ(*decoded->tokenValues(),
            Value::array({Value::string("$$Day#EEE"), Value::string(" take "),
                          Value::string("$$Counter.3")}));
  EXPECT_EQ(decoded->stringValue(), "Mon take 001");
  EXPECT_THAT(dumpLines(),
              ElementsAre("root: ZPRMetadataItem (object 1)", "  key: \"com.example.k\"",
                          "  valueType: 3", "  tokenValues: NSArray (object 3), 3 elements",
                          "    [0]: \"$$Day#EEE\"", "    [1]: \" take \"",
                          "    [2]: \"$$Counter.3\"", "  stringValue: \"Mon take 001\""));

  // Without its own text the list archives its text as "$null".
  item({"--tokens", "$$Year"});
  EXPECT_EQ(dumpLines().back(), "  stringValue: $null");
}

TEST_F(ArchiveCommandTest, AnItemTakesExactlyOneValue) {
  const std::string needsOne =
      "premoov archive item: give exactly one of --string, --number, --date or --tokens "
      "(--string may go with --tokens as the list's own text)\n";
  for (const auto& values : std::vector<std::vector<std::string>>{
           {},
           {"--string", "a", "--number", "1"},
           {"--date", "2024-03-05T14:07:09Z", "--number", "1"},
           {"--tokens", "$$Day", "--date", "2024-03-05T14:07:09Z"},
       }) {
    std::vector<std::string> arguments = {"archive", "item", "--key", "k"};
    arguments.insert(arguments.end(), values.begin(), values.end());
    arguments.insert(arguments.end(), {"--out", archive_.path()});
    const ToolOutcome run = runInProcess(arguments);
    EXPECT_EQ(run.code, kExitBadInput) << ::testing::PrintToString(values);
    EXPECT_EQ(run.err, needsOne) << ::testing::PrintToString(values);
    EXPECT_THAT(run.out, IsEmpty());
  }
  EXPECT_THAT(archive_.read(), IsEmpty());  // nothing written
}

TEST_F(ArchiveCommandTest, NamesABadNumberOrDate) {
  for (const char* number : {"abc", "1.5.2", "9223372036854775808", "1e400", "nan", "0x10", ""}) {
    std::ostringstream out, err;
    EXPECT_EQ(
        runArchiveItemCommand(
            {.key = "k", .number = std::string(number), .outPath = archive_.path()}, out, err),
        kExitBadInput)
        << number;
    EXPECT_EQ(err.str(),
              "premoov archive item: --number must be an integer from -9223372036854775808 to "
              "9223372036854775807 or a number with a fraction, like 42 or 2.5\n")
        << number;
  }
  for (const char* date : {"2024-03-05", "2024-02-30T00:00:00Z", "2024-03-05T14:07:09"}) {
    std::ostringstream out, err;
    EXPECT_EQ(runArchiveItemCommand(
                  {.key = "k", .date = std::string(date), .outPath = archive_.path()}, out, err),
              kExitBadInput)
        << date;
    EXPECT_EQ(err.str(),
              "premoov archive item: --date must be an ISO 8601 date and time with its offset, "
              "like \"2024-03-05T14:07:09+01:00\"\n")
        << date;
  }
  EXPECT_THAT(archive_.read(), IsEmpty());
}

TEST_F(ArchiveCommandTest, NamesAnOutputThatCannotBeWritten) {
  const std::string path = archive_.path() + ".missing/archive.bin";
  std::ostringstream out, err;
  EXPECT_EQ(runArchiveTokenCommand({.code = "$$Day", .outPath = path}, out, err), kExitBadInput);
  EXPECT_EQ(err.str(), path + ": cannot write: No such file or directory\n");
  EXPECT_THAT(out.str(), IsEmpty());
}

TEST_F(ArchiveCommandTest, DumpNamesAFileThatIsNoKeyedArchive) {
  std::ostringstream out, err;
  EXPECT_EQ(runArchiveDumpCommand(archive_.path(), out, err), kExitBadInput);
  EXPECT_EQ(err.str(), archive_.path() + ": cannot read: No such file or directory\n");

  archive_.write("not a property list");
  err.str("");
  EXPECT_EQ(runArchiveDumpCommand(archive_.path(), out, err), kExitBadInput);
  EXPECT_THAT(err.str(), StartsWith(archive_.path() + ": is no property list premoov reads: "));

  archive_.write("<plist><dict><key>$archiver</key><string>NSArchiver</string></dict></plist>");
  err.str("");
  EXPECT_EQ(runArchiveDumpCommand(archive_.path(), out, err), kExitBadInput);
  EXPECT_EQ(err.str(),
            archive_.path() + ": is no keyed archive: \"$archiver\" is not \"NSKeyedArchiver\"\n");
  EXPECT_THAT(out.str(), IsEmpty());
}

TEST_F(ArchiveCommandTest, DumpRefusesAFileLargerThanArchivesAre) {
  archive_.write(std::string(KeyedUnarchiver::kMaxArchiveBytes + 1, ' '));
  std::ostringstream out, err;
  EXPECT_EQ(runArchiveDumpCommand(archive_.path(), out, err), kExitBadInput);
  EXPECT_EQ(err.str(), archive_.path() + ": is larger than the tool reads: " +
                           std::to_string(KeyedUnarchiver::kMaxArchiveBytes) + " bytes\n");
  EXPECT_THAT(out.str(), IsEmpty());
}

TEST_F(ArchiveCommandTest, DumpOfACutArchiveIsBadInput) {
  ASSERT_EQ(runInProcess({"archive", "token", "$$Counter", "--out", archive_.path()}).code,
            kExitSuccess);
  const std::string whole = archive_.read();
  archive_.write(whole.substr(0, whole.size() / 2));
  std::ostringstream out, err;
  EXPECT_EQ(runArchiveDumpCommand(archive_.path(), out, err), kExitBadInput);
  EXPECT_THAT(err.str(), StartsWith(archive_.path() + ": is no property list premoov reads: "));
  EXPECT_THAT(out.str(), IsEmpty());
}

TEST_F(ArchiveCommandTest, DumpPrintsWhatItCouldAndNamesTheProblems) {
  // The root refers past "$objects": the dump shows it and fails.
  archive_.write(
      "<plist><dict><key>$archiver</key><string>NSKeyedArchiver</string>"
      "<key>$top</key><dict><key>root</key><dict><key>CF$UID</key><integer>5</integer></dict>"
      "</dict><key>$objects</key><array><string>$null</string></array></dict></plist>");
  std::ostringstream out, err;
  EXPECT_EQ(runArchiveDumpCommand(archive_.path(), out, err), kExitBadInput);
  EXPECT_EQ(err.str(), archive_.path() + ": $top: refers outside \"$objects\": 5 of 1 objects\n");
  const OrderedJson answer = OrderedJson::parse(out.str());
  EXPECT_EQ(answer["file"], archive_.path());
  EXPECT_TRUE(answer["version"].is_null());
  EXPECT_EQ(answer["objectCount"], 1);
  EXPECT_EQ(answer["dump"].dump(), R"(["root: reference 5 outside the 1 objects"])");
  EXPECT_EQ(answer["problems"].dump(), R"(["$top: refers outside \"$objects\": 5 of 1 objects"])");
}

TEST_F(ArchiveCommandTest, DumpOfACycleSucceeds) {
  archive_.write(
      "<plist><dict><key>$archiver</key><string>NSKeyedArchiver</string>"
      "<key>$top</key><dict><key>root</key><dict><key>CF$UID</key><integer>1</integer></dict>"
      "</dict><key>$objects</key><array><string>$null</string>"
      "<dict><key>self</key><dict><key>CF$UID</key><integer>1</integer></dict>"
      "<key>$class</key><dict><key>CF$UID</key><integer>2</integer></dict></dict>"
      "<dict><key>$classname</key><string>Loop</string></dict></array></dict></plist>");
  EXPECT_THAT(dumpLines(),
              ElementsAre("root: Loop (object 1)", "  self: back-reference to Loop (object 1)"));
}

TEST_F(ArchiveCommandTest, TheCommandLineTakesTheArchiveCommands) {
  for (const auto& arguments : std::vector<std::vector<std::string>>{
           {"archive"},
           {"archive", "dump"},
           {"archive", "token", "$$Day"},
           {"archive", "token", "--out", "x.bin"},
           {"archive", "item", "--string", "s", "--out", "x.bin"},
           {"archive", "item", "--key", "k", "--string", "s"},
           {"archive", "item", "--key", "k", "--number", "--out", "x.bin"},
       }) {
    const ToolOutcome bad = runInProcess(arguments);
    EXPECT_EQ(bad.code, kExitBadInput) << ::testing::PrintToString(arguments);
    EXPECT_THAT(bad.err, Not(IsEmpty())) << ::testing::PrintToString(arguments);
    EXPECT_THAT(bad.out, IsEmpty()) << ::testing::PrintToString(arguments);
  }
  const ToolOutcome help = runInProcess({"archive", "item", "--help"});
  EXPECT_EQ(help.code, kExitSuccess);
  EXPECT_THAT(help.out, HasSubstr("--tokens"));
}

TEST_F(ArchiveCommandTest, TheBuiltToolWritesAndDumpsArchives) {
  const ToolOutcome token =
      runToolProgram({"archive", "token", "$$Year", "--out", archive_.path()});
  ASSERT_EQ(token.code, 0) << token.err;
  EXPECT_EQ(OrderedJson::parse(token.out)["token"]["formatter"], "yyyy");
  ToolOutcome dump = runToolProgram({"archive", "dump", archive_.path()});
  ASSERT_EQ(dump.code, 0) << dump.err;
  EXPECT_EQ(OrderedJson::parse(dump.out)["dump"][1], "  codeName: \"$$Year\"");

  const ToolOutcome item = runToolProgram({"archive", "item", "--key", "k", "--date",
                                           "2001-01-01T00:00:00Z", "--out", archive_.path()});
  ASSERT_EQ(item.code, 0) << item.err;
  EXPECT_EQ(OrderedJson::parse(item.out)["valueType"], 2);
  dump = runToolProgram({"archive", "dump", archive_.path()});
  ASSERT_EQ(dump.code, 0) << dump.err;
  EXPECT_EQ(OrderedJson::parse(dump.out)["dump"].back(),
            "  dateValue: NSDate (object 3): NS.time 0.0 = 2001-01-01T00:00:00Z");

  archive_.write("bplist00 cut short");
  dump = runToolProgram({"archive", "dump", archive_.path()});
  EXPECT_EQ(dump.code, 1);
  EXPECT_THAT(dump.out, IsEmpty());
  EXPECT_THAT(dump.err, StartsWith(archive_.path() + ": is no property list premoov reads: "));
}

}  // namespace
}  // namespace premoov
