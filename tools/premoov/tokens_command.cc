#include <algorithm>

#include "naming/token_array.h"
#include "premoov/command_output.h"
#include "premoov/commands.h"
#include "premoov/messages.h"
#include "premoov/token_json.h"

namespace premoov {
namespace {

std::string quoted(const std::string& text) { return jsonText(OrderedJson(text)); }

OrderedJson elementJson(const Value& element) {
  OrderedJson json;
  const auto* token =
      element.isObject() ? dynamic_cast<const ZPRToken*>(element.objectValue().get()) : nullptr;
  if (token != nullptr) {
    json["token"] = tokenJson(*token);
  } else if (element.isString()) {
    json["string"] = element.stringValue();
  } else {
    json["other"] = kindName(element.kind());  // arrayWithStringTokens makes none of these
  }
  return json;
}

// "$$Day, $$Month, ...": the kinds a menu can be asked of.
std::string kindsWithMenu() {
  std::string codes;
  for (const TokenKind& kind : tokenKinds()) {
    if (!kind.hasMenu()) continue;
    if (!codes.empty()) codes += ", ";
    codes += kind.code;
  }
  return codes;
}

std::string menuTitles(const std::vector<ZPRTokenMenuItem>& menu) {
  std::string titles;
  for (const ZPRTokenMenuItem& item : menu) {
    if (!titles.empty()) titles += ", ";
    titles += quoted(item.title);
  }
  return titles;
}

}  // namespace

int runTokensKindsCommand(std::ostream& out, std::ostream&) {
  OrderedJson kinds = OrderedJson::array();
  for (const TokenKind& kind : tokenKinds()) kinds.push_back(tokenKindJson(kind));
  out << jsonText(kinds, 2) << '\n';
  return kExitSuccess;
}

int runTokensParseCommand(const std::vector<std::string>& texts, std::ostream& out, std::ostream&) {
  const Value::Array pattern = arrayWithStringTokens(texts);
  OrderedJson elements = OrderedJson::array();
  for (const Value& element : pattern) elements.push_back(elementJson(element));
  OrderedJson answer;
  answer["elements"] = std::move(elements);
  answer["tokenStringArray"] = tokenStringArray(pattern);
  answer["tokenString"] = tokenString(pattern);
  out << jsonText(answer, 2) << '\n';
  return kExitSuccess;
}

int runTokensMenuCommand(const TokensMenuOptions& options, std::ostream& out, std::ostream& err) {
  const std::shared_ptr<ZPRToken> token = tokenFromCode(options.code);
  const auto menu = token->tokenMenu();
  if (!menu) {
    err << kTokensMenu << quoted(options.code) << kNoTokenMenu << kindsWithMenu() << '\n';
    return kExitBadInput;
  }
  OrderedJson answer;
  answer["token"] = tokenJson(*token);
  answer["menu"] = tokenMenuJson(*menu);
  if (options.pick) {
    const auto item = std::find_if(menu->begin(), menu->end(), [&](const ZPRTokenMenuItem& i) {
      return i.title == *options.pick;
    });
    if (item == menu->end()) {
      err << kTokensMenu << quoted(*options.pick) << kNotMenuTitle << quoted(options.code) << ": "
          << menuTitles(*menu) << '\n';
      return kExitBadInput;
    }
    token->tokenMenuAction(*item);
    OrderedJson picked;
    picked["title"] = item->title;
    picked["token"] = tokenJson(*token);
    answer["picked"] = std::move(picked);
  }
  out << jsonText(answer, 2) << '\n';
  return kExitSuccess;
}

}  // namespace premoov
