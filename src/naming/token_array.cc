#include "naming/token_array.h"

#include <string_view>

#include "naming/object_text.h"
#include "naming/token.h"

namespace premoov {
namespace {

constexpr std::string_view kCodePrefix = "$$";
// Between a token's code and its formatter in the per-element text form ("$$Day.dd").
constexpr std::string_view kFormatterJoin = ".";

const ZPRToken* tokenIn(const Value& element) {
  if (!element.isObject()) return nullptr;
  return dynamic_cast<const ZPRToken*>(element.objectValue().get());
}

}  // namespace

bool containsToken(const Value::Array& array, const std::string& codePrefix) {
  // An empty prefix matches no code, as a prefix test on the platform's strings answers.
  if (codePrefix.empty()) return false;
  for (const Value& element : array) {
    const ZPRToken* token = tokenIn(element);
    if (token != nullptr && token->codeName() && token->codeName()->starts_with(codePrefix)) {
      return true;
    }
  }
  return false;
}

std::vector<std::string> tokenStringArray(const Value::Array& array) {
  std::vector<std::string> texts;
  texts.reserve(array.size());
  for (const Value& element : array) {
    if (const ZPRToken* token = tokenIn(element)) {
      std::string text = objectText(token->codeName());
      if (token->formatter()) text.append(kFormatterJoin).append(*token->formatter());
      texts.push_back(std::move(text));
    } else if (element.isString()) {
      texts.push_back(element.stringValue());
    }
  }
  return texts;
}

std::string tokenString(const Value::Array& array) {
  std::string joined;
  for (const std::string& text : tokenStringArray(array)) joined += text;
  return joined;
}

Value::Array arrayWithStringTokens(const std::vector<std::string>& strings) {
  Value::Array array;
  array.reserve(strings.size());
  for (const std::string& s : strings) {
    if (std::string_view(s).starts_with(kCodePrefix)) {
      array.push_back(Value::object(ZPRToken::tokenWithCode(s, s.substr(kCodePrefix.size()))));
    } else {
      array.push_back(Value::string(s));
    }
  }
  return array;
}

}  // namespace premoov
