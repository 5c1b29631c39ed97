#pragma once

#include "naming/token.h"
#include "naming/token_kinds.h"
#include "premoov/command_output.h"

namespace premoov {

// A token as the tools print it: {"codeName", "displayName", "formatter"}, null for a field the
// token does not have.
OrderedJson tokenJson(const ZPRToken& token);

// One token kind: {"code", "displayName", "defaultFormatter" (or null), "menu" (or null)}.
OrderedJson tokenKindJson(const TokenKind& kind);

// A token's menu: [{"title", "formatter"}, ...].
OrderedJson tokenMenuJson(const std::vector<ZPRTokenMenuItem>& menu);

// The token a command makes from a code typed by the user: tokenWithCode:displayName: with the
// code without its "$$" as display name ("$$Day" shows "Day").
std::shared_ptr<ZPRToken> tokenFromCode(const std::string& code);

}  // namespace premoov
