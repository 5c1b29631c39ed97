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
  if (std::string_view(codeName).starts_with(kCodePrefix)) {
    const std::vector<std::string_view> parts =
        componentsSeparatedBy(codeName, kFormatterSeparator);
    if (parts.size() == 2) {
      formatter_ = std::string(parts[1]);
      displayName_ = std::string(parts[0].substr(kCodePrefix.size()));
    }
  }
  codeName_ = codeName;
  if (!displayName_) displayName_ = displayName;
  if (!formatter_) {
    if (const TokenKind* kind = findTokenKind(codeName); kind && kind->defaultFormatter) {
      formatter_ = std::string(*kind->defaultFormatter);
    }
  }
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
  if (auto v = stringIn(dictionary.objectForKey(kDisplayNameKey))) displayName_ = std::move(v);
  if (auto v = stringIn(dictionary.objectForKey(kCodeNameKey))) codeName_ = std::move(v);
  if (auto v = stringIn(dictionary.objectForKey(kFormatterKey))) formatter_ = std::move(v);
  if (auto v = stringIn(dictionary.objectForKey(kSimpleStringKey))) simpleString_ = std::move(v);
}

Value ZPRToken::dictionary() const {
  Value result = Value::dictionary();
  if (codeName_) result.setObject(kCodeNameKey, Value::string(*codeName_));
  if (displayName_) result.setObject(kDisplayNameKey, Value::string(*displayName_));
  if (formatter_) result.setObject(kFormatterKey, Value::string(*formatter_));
  if (simpleString_) result.setObject(kSimpleStringKey, Value::string(*simpleString_));
  return result;
}

std::shared_ptr<ZPRToken> ZPRToken::copy() const {
  auto token = std::make_shared<ZPRToken>();
  token->codeName_ = codeName_;
  token->displayName_ = displayName_;
  token->formatter_ = formatter_;
  token->simpleString_ = simpleString_;
  return token;
}

std::optional<std::vector<ZPRTokenMenuItem>> ZPRToken::tokenMenu() const {
  if (!codeName_) return std::nullopt;
  const std::string_view code =
      std::string_view(*codeName_).substr(0, codeName_->find(kFormatterSeparator));
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
  formatter_ = sender.representedObject;
  updateCodeName();
}

void ZPRToken::updateCodeName() {
  // Literal codes (no "$$") carry no formatter and are left alone.
  if (!hasCodePrefix(codeName_)) return;
  codeName_ = std::string(kCodePrefix) + objectText(displayName_) + kFormatterSeparator +
              objectText(formatter_);
}

void ZPRToken::encodeWithCoder(KeyedArchiver& coder) const {
  registerNamingClasses();
  encodeString(coder, codeName_, kCodeNameKey);
  encodeString(coder, displayName_, kDisplayNameKey);
  encodeString(coder, formatter_, kFormatterKey);
  encodeString(coder, simpleString_, kSimpleStringKey);
}

std::shared_ptr<ZPRToken> ZPRToken::initWithCoder(KeyedUnarchiver& coder) {
  // The fields come back as stored: the code is not parsed again and no default formatter is
  // filled in. An object other than a string under a key leaves that field empty.
  auto token = std::make_shared<ZPRToken>();
  token->displayName_ = stringIn(coder.decodeObject(kDisplayNameKey));
  token->codeName_ = stringIn(coder.decodeObject(kCodeNameKey));
  token->formatter_ = stringIn(coder.decodeObject(kFormatterKey));
  token->simpleString_ = stringIn(coder.decodeObject(kSimpleStringKey));
  if (coder.error()) return nullptr;
  return token;
}

}  // namespace premoov
