#include "requests/request_file.h"

#include <limits>

#include "requests/file_io.h"
#include "requests/json_fields.h"
#include "requests/request_messages.h"
#include "requests/settings_json.h"

namespace premoov {

namespace {

Unexpected inFile(std::string_view fileName, std::string_view message) {
  std::string text(fileName);
  text += ": ";
  text += message;
  return unexpected(std::move(text));
}

// nlohmann's message without its "[json.exception.parse_error.101] " tag: the position and
// what was expected.
std::string_view withoutExceptionTag(std::string_view what) {
  if (!what.empty() && what.front() == '[') {
    const size_t end = what.find("] ");
    if (end != std::string_view::npos) what.remove_prefix(end + 2);
  }
  return what;
}

// A scalar identifier as a value; anything else the movie creator ignores anyway.
Value uniqueIDOf(const Json& value) {
  if (value.is_string()) return Value::string(value.get<std::string>());
  if (value.is_boolean()) return Value::boolean(value.get<bool>());
  if (value.is_number_float()) return Value::real(value.get<double>());
  if (value.is_number_unsigned()) {
    const auto u = value.get<uint64_t>();
    if (u <= static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) {
      return Value::integer(static_cast<int64_t>(u));
    }
    return Value::real(static_cast<double>(u));
  }
  if (value.is_number_integer()) return Value::integer(value.get<int64_t>());
  return Value();
}

Result<RequestFile> requestOf(const Json& json) {
  if (!json.is_object()) return unexpected(std::string(kRequestNotObject));
  RequestFile request;

  auto path = requiredMemberOf(json, "", "path");
  if (!path) return unexpected(path.error());
  auto pathString = stringOf(**path, "path");
  if (!pathString) return unexpected(pathString.error());
  request.path = std::move(*pathString);

  auto newFile = requiredMemberOf(json, "", "newFile");
  if (!newFile) return unexpected(newFile.error());
  auto growing = booleanOf(**newFile, "newFile");
  if (!growing) return unexpected(growing.error());
  request.newFile = *growing;

  auto blockSize = requiredMemberOf(json, "", "blockSize");
  if (!blockSize) return unexpected(blockSize.error());
  auto block = unsigned32(**blockSize, "blockSize");
  if (!block) return unexpected(block.error());
  request.blockSize = *block;

  if (const Json* uniqueID = memberOf(json, "uniqueID")) request.uniqueID = uniqueIDOf(*uniqueID);

  auto duration = requiredMemberOf(json, "", "duration");
  if (!duration) return unexpected(duration.error());
  auto time = cmTimeOf(**duration, "duration");
  if (!time) return unexpected(time.error());
  request.duration = *time;

  auto settings = requiredMemberOf(json, "", "settings");
  if (!settings) return unexpected(settings.error());
  auto dictionary = settingsFromJson(**settings, "settings");
  if (!dictionary) return unexpected(dictionary.error());
  request.settings = std::move(*dictionary);
  return request;
}

}  // namespace

Result<RequestFile> parseRequest(std::string_view text, std::string_view fileName) {
  Json json;
  try {
    json = Json::parse(text);
  } catch (const Json::exception& error) {
    std::string message(kMalformedJson);
    message += withoutExceptionTag(error.what());
    return inFile(fileName, message);
  }
  auto request = requestOf(json);
  if (!request) return inFile(fileName, request.error());
  return request;
}

Result<RequestFile> readRequestFile(const std::string& fileName) {
  auto text = readWholeFile(fileName, kRequestFileLimit);
  if (!text) return unexpected(text.error());
  return parseRequest(*text, fileName);
}

}  // namespace premoov
