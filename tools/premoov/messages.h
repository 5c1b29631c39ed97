#pragma once

#include <string_view>

namespace premoov {

// Every text the tool's commands say about bad input, in one place; what the request reader says
// is in requests/request_messages.h.

inline constexpr std::string_view kFileSizeBelowHeader =
    "the reply's file size is smaller than its header: ";  // then "FILESIZE < HEADER"

// What inspect says of a track whose atoms it cannot read; then the atom's path in quotes.
inline constexpr std::string_view kCannotReadAtom = "missing or cut short: ";
inline constexpr std::string_view kChunkTablesDisagree =
    "the chunk tables do not place the first and last samples";

inline constexpr std::string_view kNoMovieAtom = "holds no 'moov' atom";
inline constexpr std::string_view kHeaderAtomsTooLarge =
    "its atoms outside the media data are larger than the tool reads: ";  // then the limit

// `premoov tokens menu CODE --pick TITLE`: the code or title in quotes, then the text, then the
// kinds that have a menu or the titles of the menu in quotes.
inline constexpr std::string_view kTokensMenu = "premoov tokens menu: ";
inline constexpr std::string_view kNoTokenMenu = " has no menu; the kinds with one: ";
inline constexpr std::string_view kNotMenuTitle = " is not a title of the menu of ";

// `premoov archive item`: what it takes as the item's value.
inline constexpr std::string_view kItemNeedsOneValue =
    "premoov archive item: give exactly one of --string, --number, --date or --tokens "
    "(--string may go with --tokens as the list's own text)";
inline constexpr std::string_view kItemNotNumber =
    "premoov archive item: --number must be an integer from -9223372036854775808 to "
    "9223372036854775807 or a number with a fraction, like 42 or 2.5";
// Then kNotISO8601Date.
inline constexpr std::string_view kItemNotDate = "premoov archive item: --date ";

// `premoov archive dump`: a file whose layout is no keyed archive reads `FILE: TEXT`.
inline constexpr std::string_view kArchiveNotPropertyList = "is no property list premoov reads: ";
inline constexpr std::string_view kArchiveNotDictionary =
    "is no keyed archive: its top object is no dictionary";
inline constexpr std::string_view kArchiveWrongArchiver =
    "is no keyed archive: \"$archiver\" is not \"NSKeyedArchiver\"";
inline constexpr std::string_view kArchiveNoObjects =
    "is no keyed archive: \"$objects\" is missing or no array";
inline constexpr std::string_view kArchiveNoTop =
    "is no keyed archive: \"$top\" is missing or no dictionary";
inline constexpr std::string_view kArchiveNoRoot =
    "is no keyed archive: \"$top\" has no \"root\" reference";
// What an archive's dump could not show; "object N: " (or "$top: ") in front of the first three.
inline constexpr std::string_view kDumpReferenceOutside = "refers outside \"$objects\": ";
inline constexpr std::string_view kDumpNoClass = "has no \"$class\" naming a \"$classname\"";
inline constexpr std::string_view kDumpPairsDiffer = "NS.keys and NS.objects differ in length";
inline constexpr std::string_view kDumpTooDeep = "the dump stops at nesting depth ";
inline constexpr std::string_view kDumpTooLong = "the dump stops after this many lines: ";
inline constexpr std::string_view kDumpTooLarge = "the dump stops after this many bytes: ";
inline constexpr std::string_view kDumpTooMuchWork =
    "the dump stops after looking at this many keys and elements: ";

// Command-line problems.
inline constexpr std::string_view kWriteNeedsOutput =
    "premoov write: give --header OUT, --file OUT.mov or both";

// `premoov request`.
inline constexpr std::string_view kRepliesCancelled =
    "the service replied although the connection was cancelled: ";            // then the count
inline constexpr std::string_view kRepliesMissing = "the service answered ";  // n of m requests

// `premoov captions scc`: each message follows kCaptionsScc.
inline constexpr std::string_view kCaptionsScc = "premoov captions scc: ";
inline constexpr std::string_view kNotFrameDuration =
    " is not a frame duration N/D (seconds a frame, like 1001/30000)";  // the option's text first
inline constexpr std::string_view kNotCaptionFrameRate =
    " is not a caption frame rate; use 1001/24000, 1/24, 1/25, 1001/30000, 1/30, 1/50, "
    "1001/60000 or 1/60";
inline constexpr std::string_view kBadStart = "--start: ";  // then the timecode's problem
inline constexpr std::string_view kTooManyFrames =
    "--frames must be from 0 to a day of timecode labels at this rate: ";  // then the limit
inline constexpr std::string_view kTooManySamples =
    "the last pair is more than a day of timecode labels after --start: ";   // then the limit
inline constexpr std::string_view kCannotWriteSamples = ": cannot write: ";  // the path first
// Warnings: a count first.
inline constexpr std::string_view kPairsBeforeStart = " pairs before --start left out";
inline constexpr std::string_view kPairsPastFrames = " pairs past --frames dropped";
inline constexpr std::string_view kLinesDelayed =
    " lines began before the previous line's words were out; their words follow them";

// `premoov captions dump`: why a caption sample or track was not read.
inline constexpr std::string_view kCaptionSampleTooLarge =
    "larger than any caption sample: ";  // then the limit
inline constexpr std::string_view kCaptionSampleReadFailed = "its bytes could not be read";
inline constexpr std::string_view kCaptionSampleLimitReached =
    "stopped after the most samples read a track: ";  // then the count

// `premoov captions line21`: why no frame was read ("FILE: " first), and why one frame was not.
inline constexpr std::string_view kNoVideoTrack = "no video track";
inline constexpr std::string_view kNoUncompressedVideo =
    "no video track of '2vuy', 'v210' or 'yuvs' frames to read line 21 from; ";  // then the tracks
inline constexpr std::string_view kNoVideoDescription =
    ": no video sample description with a width and height";  // "track N" first
inline constexpr std::string_view kTooFewRows =
    " rows: fewer than the 3 rows line 21 takes";  // "track N: 'FMT' frames of W x H" first
inline constexpr std::string_view kFrameTooSmall =
    "smaller than the 3 rows line 21 takes: ";  // then "N bytes"
inline constexpr std::string_view kFrameReadFailed = "its rows could not be read";
inline constexpr std::string_view kFrameNotExtracted =
    "line-21 extraction made no caption sample of its rows";
inline constexpr std::string_view kFrameLimitReached =
    "stopped after the most frames read: ";  // then the count

}  // namespace premoov
