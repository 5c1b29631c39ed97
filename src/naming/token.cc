#include "naming/token.h"

#include <string_view>
#include <utility>

#include "naming/naming_classes.h"
#include "naming/object_text.h"
#include "naming/token_kinds.h"

namespace premoov {
namespace {

// Codes of the form "$$<word>#<formatter>" carry their display word and formatter.
constexpr std::string_view kCodePrefix = "$$";
constexpr char kFormatterSeparator = '#';

constexpr const char* kCodeNameKey = "codeName";
constexpr const char* kDisplayNameKey = "displayName";
constexpr const char* kFormatterKey = "formatter";
constexpr const char* kSimpleStringKey = "simpleString";

bool hasCodePrefix(const std::optional<std::string>& code) {
  return code && std::string_view(*code).starts_with(kCodePrefix);
}

// Every piece between separators, empty ones included: "a#" gives {"a", ""}.
std::vector<std::string_view> componentsSeparatedBy(std::string_view s, char separator) {
  std::vector<std::string_view> parts;
  size_t start = 0;
  for (size_t at = s.find(separator); at != std::string_view::npos; at = s.find(separator, start)) {
    parts.push_back(s.substr(start, at - start));
    start = at + 1;
  }
  parts.push_back(s.substr(start));
  return parts;
}

}  // namespace

ZPRToken::ZPRToken(const std::string& displayName, const std::string& codeName) {
  // Only a code with exactly one separator names its word and formatter; "$$Day#a#b" names
  // neither and keeps the display name it was given.
  std::optional<std::string> formatter;
  std::optional<std::string> word;
  if (std::string_view(codeName).starts_with(kCodePrefix)) {
    const std::vector<std::string_view> parts =
        componentsSeparatedBy(codeName, kFormatterSeparator);
    if (parts.size() == 2) {
      formatter = std::string(parts[1]);
      word = std::string(parts[0].substr(kCodePrefix.size()));
    }
  }
  if (!formatter) {
    if (const TokenKind* kind = findTokenKind(codeName); kind && kind->defaultFormatter) {
      formatter = std::string(*kind->defaultFormatter);
    }
  }
  codeName_.set(codeName);
  displayName_.set(word ? std::move(word) : std::optional<std::string>(displayName));
  formatter_.set(std::move(formatter));
}

std::shared_ptr<ZPRToken> ZPRToken::tokenWithCode(const std::string& code,
                                                  const std::string& displayName) {
  registerNamingClasses();
  return std::make_shared<ZPRToken>(displayName, code);
}

std::shared_ptr<ZPRToken> ZPRToken::initWithDictionary(const Value& dictionary) {
  registerNamingClasses();
  auto token = std::make_shared<ZPRToken>();
  token->loadFromDict(dictionary);
  return token;
}

void ZPRToken::loadFromDict(const Value& dictionary) {
  // A key that is absent (or holds no string) leaves its field as it was; no default formatter
  // is filled in, so a stored token comes back exactly as it was saved.
  if (auto v = stringIn(dictionary.objectForKey(kDisplayNameKey))) setDisplayName(std::move(v));
  if (auto v = stringIn(dictionary.objectForKey(kCodeNameKey))) setCodeName(std::move(v));
  if (auto v = stringIn(dictionary.objectForKey(kFormatterKey))) setFormatter(std::move(v));
  if (auto v = stringIn(dictionary.objectForKey(kSimpleStringKey))) setSimpleString(std::move(v));
}

Value ZPRToken::dictionary() const {
  Value result = Value::dictionary();
  const auto put = [&](const char* key, const std::optional<std::string>& field) {
    if (field) result.setObject(key, Value::string(*field));
  };
  put(kCodeNameKey, codeName());
  put(kDisplayNameKey, displayName());
  put(kFormatterKey, formatter());
  put(kSimpleStringKey, simpleString());
  return result;
}

std::shared_ptr<ZPRToken> ZPRToken::copy() const {
  auto token = std::make_shared<ZPRToken>();
  // Through the setters, in the order the platform's copy calls them.
  token->setDisplayName(displayName());
  token->setCodeName(codeName());
  token->setFormatter(formatter());
  token->setSimpleString(simpleString());
  return token;
}

std::optional<std::vector<ZPRTokenMenuItem>> ZPRToken::tokenMenu() const {
  const std::optional<std::string> codeName = this->codeName();
  if (!codeName) return std::nullopt;
  const std::string_view code =
      std::string_view(*codeName).substr(0, codeName->find(kFormatterSeparator));
  const TokenKind* kind = findTokenKind(code);
  if (kind == nullptr || !kind->hasMenu()) return std::nullopt;
  std::vector<ZPRTokenMenuItem> items;
  items.reserve(kind->menu.size());
  for (const TokenMenuEntry& entry : kind->menu) {
    items.push_back({std::string(entry.title), std::string(entry.representedObject)});
  }
  return items;
}

void ZPRToken::tokenMenuAction(const ZPRTokenMenuItem& sender) {
  setFormatter(sender.representedObject);
  updateCodeName();
}

void ZPRToken::updateCodeName() {
  // Literal codes (no "$$") carry no formatter and are left alone.
  if (!hasCodePrefix(codeName())) return;
  setCodeName(std::string(kCodePrefix) + objectText(displayName()) + kFormatterSeparator +
              objectText(formatter()));
}

void ZPRToken::encodeWithCoder(KeyedArchiver& coder) const {
  registerNamingClasses();
  encodeString(coder, codeName(), kCodeNameKey);
  encodeString(coder, displayName(), kDisplayNameKey);
  encodeString(coder, formatter(), kFormatterKey);
  encodeString(coder, simpleString(), kSimpleStringKey);
}

std::shared_ptr<ZPRToken> ZPRToken::initWithCoder(KeyedUnarchiver& coder) {
  // The fields come back as stored: the code is not parsed again and no default formatter is
  // filled in. An object other than a string under a key leaves that field empty.
  auto token = std::make_shared<ZPRToken>();
  token->setDisplayName(stringIn(coder.decodeObject(kDisplayNameKey)));
  token->setCodeName(stringIn(coder.decodeObject(kCodeNameKey)));
  token->setFormatter(stringIn(coder.decodeObject(kFormatterKey)));
  token->setSimpleString(stringIn(coder.decodeObject(kSimpleStringKey)));
  if (coder.error()) return nullptr;
  return token;
}

}  // namespace premoov
