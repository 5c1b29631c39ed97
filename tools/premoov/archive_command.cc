#include <cmath>
#include <limits>

#include "naming/metadata_item.h"
#include "plist/keyed_archive.h"
#include "premoov/archive_dump.h"
#include "premoov/command_output.h"
#include "premoov/commands.h"
#include "premoov/messages.h"
#include "premoov/token_json.h"
#include "requests/file_io.h"
#include "requests/metadata_items_json.h"
#include "requests/request_messages.h"

namespace premoov {
namespace {

// An integer that fits 64 bits, or a finite number with a fraction or an exponent, written as
// in JSON ("42", "-7", "2.5", "1e3"); integers are stored as 64-bit integers, others as doubles,
// as metadata items in a request file are.
std::optional<Value> numberOf(const std::string& text) {
  const Json number = Json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (number.is_number_unsigned()) {
    const auto v = number.get<uint64_t>();
    if (v > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) return std::nullopt;
    return Value::integer(static_cast<int64_t>(v));
  }
  if (number.is_number_integer()) return Value::integer(number.get<int64_t>());
  if (number.is_number_float() && std::isfinite(number.get<double>())) {
    return Value::real(number.get<double>());
  }
  return std::nullopt;
}

// The value of the item the options describe, or the message that says what is wrong.
Result<Value> itemValueOf(const ArchiveItemOptions& options) {
  const int values = (options.number ? 1 : 0) + (options.date ? 1 : 0) + (options.tokens ? 1 : 0) +
                     (options.string && !options.tokens ? 1 : 0);
  if (values != 1) return unexpected(std::string(kItemNeedsOneValue));
  if (options.number) {
    auto number = numberOf(*options.number);
    if (!number) return unexpected(std::string(kItemNotNumber));
    return std::move(*number);
  }
  if (options.date) {
    const auto seconds = secondsSinceReferenceDateOf(*options.date);
    if (!seconds) return unexpected(std::string(kItemNotDate) + std::string(kNotISO8601Date));
    return Value::date(*seconds);
  }
  if (options.tokens) {
    // Archived token lists hold their per-element texts, not tokens.
    Value list = Value::array();
    for (const std::string& text : *options.tokens) list.append(Value::string(text));
    return list;
  }
  return Value::string(*options.string);
}

// Writes the archive of `root` to `path` and prints {"file", "bytes", "className", ...extra}.
int writeArchive(const Value& root, const std::string& path, OrderedJson extra, std::ostream& out,
                 std::ostream& err) {
  const std::vector<uint8_t> archive = KeyedArchiver::archivedDataWithRootObject(root);
  auto written = writeFileAtStart(path, archive, 0);
  if (!written) {
    err << written.error() << '\n';
    return kExitBadInput;
  }
  OrderedJson answer;
  answer["file"] = path;
  answer["bytes"] = archive.size();
  answer["className"] = root.objectValue()->className();
  for (auto& [key, member] : extra.items()) answer[key] = std::move(member);
  out << jsonText(answer, 2) << '\n';
  return kExitSuccess;
}

}  // namespace

int runArchiveDumpCommand(const std::string& archivePath, std::ostream& out, std::ostream& err) {
  auto bytes = readWholeFile(archivePath, KeyedUnarchiver::kMaxArchiveBytes);
  if (!bytes) {
    err << bytes.error() << '\n';
    return kExitBadInput;
  }
  const auto dump =
      dumpKeyedArchive(std::span(reinterpret_cast<const uint8_t*>(bytes->data()), bytes->size()));
  if (!dump) {
    err << archivePath << ": " << dump.error() << '\n';
    return kExitBadInput;
  }
  OrderedJson answer;
  answer["file"] = archivePath;
  answer["version"] = dump->version ? OrderedJson(*dump->version) : OrderedJson(nullptr);
  answer["objectCount"] = dump->objectCount;
  answer["dump"] = dump->lines;
  if (!dump->problems.empty()) answer["problems"] = dump->problems;
  out << jsonText(answer, 2) << '\n';
  for (const std::string& problem : dump->problems) err << archivePath << ": " << problem << '\n';
  return dump->problems.empty() ? kExitSuccess : kExitBadInput;
}

int runArchiveTokenCommand(const ArchiveTokenOptions& options, std::ostream& out,
                           std::ostream& err) {
  const std::shared_ptr<ZPRToken> token = tokenFromCode(options.code);
  OrderedJson extra;
  extra["token"] = tokenJson(*token);
  return writeArchive(Value::object(token), options.outPath, std::move(extra), out, err);
}

int runArchiveItemCommand(const ArchiveItemOptions& options, std::ostream& out, std::ostream& err) {
  auto value = itemValueOf(options);
  if (!value) {
    err << value.error() << '\n';
    return kExitBadInput;
  }
  std::shared_ptr<ZPRMetadataItem> item = ZPRMetadataItem::initWithKey(options.key, &*value);
  // initWithKey:value: takes every kind itemValueOf makes.
  if (!item) {
    err << kItemNeedsOneValue << '\n';
    return kExitBadInput;
  }
  // A token list keeps its own text alongside, as a client sets it.
  if (options.tokens && options.string) item->setStringValue(options.string);
  OrderedJson extra;
  extra["key"] = options.key;
  extra["valueType"] = item->valueType();
  return writeArchive(Value::object(item), options.outPath, std::move(extra), out, err);
}

}  // namespace premoov
