#pragma once

#include <optional>
#include <string>
#include <vector>

#include "naming/atomic_property.h"
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

  // Atomic properties: each get answers a copy, each set stores one, whole even while another
  // thread sets the same field.
  std::optional<std::string> codeName() const { return codeName_.get(); }
  std::optional<std::string> displayName() const { return displayName_.get(); }
  std::optional<std::string> formatter() const { return formatter_.get(); }
  std::optional<std::string> simpleString() const { return simpleString_.get(); }
  void setCodeName(std::optional<std::string> v) { codeName_.set(std::move(v)); }
  void setDisplayName(std::optional<std::string> v) { displayName_.set(std::move(v)); }
  void setFormatter(std::optional<std::string> v) { formatter_.set(std::move(v)); }
  void setSimpleString(std::optional<std::string> v) { simpleString_.set(std::move(v)); }

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
  AtomicProperty<std::optional<std::string>> codeName_;
  AtomicProperty<std::optional<std::string>> displayName_;
  AtomicProperty<std::optional<std::string>> formatter_;
  AtomicProperty<std::optional<std::string>> simpleString_;
};

}  // namespace premoov
