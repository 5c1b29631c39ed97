#pragma once

#include <string_view>

namespace premoov {

// Every text the request reader says about bad input, in one place. A message about a request
// file reads `FILE: "KEY.PATH" TEXT`, or `FILE: TEXT` for problems of the file as a whole.
inline constexpr std::string_view kCannotReadFile = "cannot read: ";    // then strerror
inline constexpr std::string_view kCannotWriteFile = "cannot write: ";  // then strerror
inline constexpr std::string_view kFileTooLarge = "is larger than the tool reads: ";  // then bytes
inline constexpr std::string_view kMalformedJson = "malformed JSON: ";
inline constexpr std::string_view kRequestNotObject = "the request must be a JSON object";

inline constexpr std::string_view kMissing = "is missing";
inline constexpr std::string_view kNotObject = "must be an object";
inline constexpr std::string_view kNotArray = "must be an array";
inline constexpr std::string_view kNotString = "must be a string";
inline constexpr std::string_view kNotBoolean = "must be true or false";
inline constexpr std::string_view kNotNumber = "must be a number";
// Completed with the range: "must be an integer from 0 to 4294967295".
inline constexpr std::string_view kNotIntegerInRange = "must be an integer from ";
inline constexpr std::string_view kNotFourCharacterCode =
    "must be a four-character string of printable ASCII or an integer from 0 to 4294967295";
inline constexpr std::string_view kNotCMTime =
    "must be a time {\"value\": integer, \"timescale\": integer, optional \"flags\", \"epoch\"}";
inline constexpr std::string_view kNotData = "must be data written {\"base64\": \"...\"}";
inline constexpr std::string_view kNotBase64 = "is not valid base64";
inline constexpr std::string_view kNotDimensions = "must be [width, height] of integers";
inline constexpr std::string_view kNotCoordinates = "must be [x, y, z] of numbers";
inline constexpr std::string_view kNotStreamDescription =
    "must be an audio stream description object or data written {\"base64\": \"...\"}";
inline constexpr std::string_view kNotChannelLayout =
    "must be a channel layout object or data written {\"base64\": \"...\"}";
inline constexpr std::string_view kNotMetadataItem =
    "must be {\"key\": string} with exactly one of \"string\", \"number\" (and \"numberType\"), "
    "\"date\" or \"tokens\" (and \"string\")";
inline constexpr std::string_view kNotNumberType =
    "must be one of \"int32\", \"int64\", \"float32\", \"float64\", \"float\", \"double\"";
inline constexpr std::string_view kNotIntegerForType = "must be an integer for its number type";
inline constexpr std::string_view kNotISO8601Date =
    "must be an ISO 8601 date and time with its offset, like \"2024-03-05T14:07:09+01:00\"";

// What a header request answers when the movie creator does not reply exactly once.
inline constexpr std::string_view kNoReply = "the movie creator sent no reply";
inline constexpr std::string_view kSeveralReplies = "the movie creator sent more than one reply: ";

}  // namespace premoov
