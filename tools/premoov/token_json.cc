#include "premoov/token_json.h"

#include <string_view>

namespace premoov {
namespace {

constexpr std::string_view kCodePrefix = "$$";

OrderedJson optionalText(const std::optional<std::string>& text) {
  return text ? OrderedJson(*text) : OrderedJson(nullptr);
}

OrderedJson menuItemJson(std::string_view title, std::string_view formatter) {
  OrderedJson item;
  item["title"] = title;
  item["formatter"] = formatter;
  return item;
}

}  // namespace

OrderedJson tokenJson(const ZPRToken& token) {
  OrderedJson json;
  json["codeName"] = optionalText(token.codeName());
  json["displayName"] = optionalText(token.displayName());
  json["formatter"] = optionalText(token.formatter());
  return json;
}

OrderedJson tokenKindJson(const TokenKind& kind) {
  OrderedJson json;
  json["code"] = kind.code;
  json["displayName"] = kind.word;
  json["defaultFormatter"] =
      kind.defaultFormatter ? OrderedJson(*kind.defaultFormatter) : OrderedJson(nullptr);
  if (kind.hasMenu()) {
    OrderedJson menu = OrderedJson::array();
    for (const TokenMenuEntry& entry : kind.menu) {
      menu.push_back(menuItemJson(entry.title, entry.representedObject));
    }
    json["menu"] = std::move(menu);
  } else {
    json["menu"] = nullptr;
  }
  return json;
}

OrderedJson tokenMenuJson(const std::vector<ZPRTokenMenuItem>& menu) {
  OrderedJson json = OrderedJson::array();
  for (const ZPRTokenMenuItem& entry : menu) {
    json.push_back(menuItemJson(entry.title, entry.representedObject));
  }
  return json;
}

std::shared_ptr<ZPRToken> tokenFromCode(const std::string& code) {
  const std::string_view text(code);
  const std::string displayName(text.starts_with(kCodePrefix) ? text.substr(kCodePrefix.size())
                                                              : text);
  return ZPRToken::tokenWithCode(code, displayName);
}

}  // namespace premoov
