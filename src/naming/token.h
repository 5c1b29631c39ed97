#pragma once

#include <optional>
#include <string>
#include <vector>

#include "plist/keyed_archive.h"
#include "plist/value.h"

namespace premoov {

// The token kinds: their codes are part of the stored and transmitted token form.
extern const std::string ZPRTimecodeTokenKey;         // "$$Timecode"
extern const std::string ZPRDayOfMonthTokenKey;       // "$$Day"
extern const std::string ZPRMonthTokenKey;            // "$$Month"
extern const std::string ZPRYearTokenKey;             // "$$Year"
extern const std::string ZPRHourTokenKey;             // "$$Hour"
extern const std::string ZPRMinuteTokenKey;           // "$$Minute"
extern const std::string ZPRSecondTokenKey;           // "$$Second"
extern const std::string ZPRSourceNameTokenKey;       // "$$SourceName"
extern const std::string ZPRDestinationNameTokenKey;  // "$$DestinationName"
extern const std::string ZPRRecordingNameTokenKey;    // "$$RecordingName"
extern const std::string ZPRWeekTokenKey;             // "$$Week"
extern const std::string ZPRWhiteSpaceTokenKey;       // "$$WhiteSpace"
extern const std::string ZPRDashTokenKey;             // "$$Dash"
extern const std::string ZPRCounterTokenKey;          // "$$Counter"
extern const std::string ZPRAVPresetNameTokenKey;     // "$$AVPresetName"
extern const std::string ZPRCodecNameTokenKey;        // "$$CodecName"

// One formatter choice of a token's menu: what it shows and the formatter it applies.
struct ZPRTokenMenuItem {
  std::string title;
  std::string representedObject;
};

// A placeholder in a naming pattern ("$$Day#EEE"): a code, the name shown to the user, and for
// date, time and counter kinds a formatter (UTS #35 date pattern, or a counter's digit count).
class ZPRToken : public ArchivableObject {
 public:
  ZPRToken() = default;
  // initWithDisplayName:codeName:
  ZPRToken(const std::string& displayName, const std::string& codeName);
  // tokenWithCode:displayName:
  static std::shared_ptr<ZPRToken> tokenWithCode(const std::string& code,
                                                 const std::string& displayName);
  // initWithDictionary:
  static std::shared_ptr<ZPRToken> initWithDictionary(const Value& dictionary);
  // loadFromDict:
  void loadFromDict(const Value& dictionary);
  // dictionary
  Value dictionary() const;

  const std::optional<std::string>& codeName() const { return codeName_; }
  const std::optional<std::string>& displayName() const { return displayName_; }
  const std::optional<std::string>& formatter() const { return formatter_; }
  const std::optional<std::string>& simpleString() const { return simpleString_; }
  void setCodeName(std::optional<std::string> v) { codeName_ = std::move(v); }
  void setDisplayName(std::optional<std::string> v) { displayName_ = std::move(v); }
  void setFormatter(std::optional<std::string> v) { formatter_ = std::move(v); }
  void setSimpleString(std::optional<std::string> v) { simpleString_ = std::move(v); }

  // copyWithZone:
  std::shared_ptr<ZPRToken> copy() const;

  // tokenMenu — the formatter choices of this kind, or nothing for kinds without a menu.
  std::optional<std::vector<ZPRTokenMenuItem>> tokenMenu() const;
  // tokenMenuAction: — applies the chosen item's formatter and rewrites the code.
  void tokenMenuAction(const ZPRTokenMenuItem& sender);
  // updateCodeName
  void updateCodeName();

  // Keyed coding (plain, not secure).
  std::string className() const override { return "ZPRToken"; }
  std::vector<std::string> classHierarchy() const override { return {"ZPRToken", "NSObject"}; }
  void encodeWithCoder(KeyedArchiver& coder) const override;
  // initWithCoder:
  static std::shared_ptr<ZPRToken> initWithCoder(KeyedUnarchiver& coder);

 private:
  std::optional<std::string> codeName_;
  std::optional<std::string> displayName_;
  std::optional<std::string> formatter_;
  std::optional<std::string> simpleString_;
};

}  // namespace premoov
