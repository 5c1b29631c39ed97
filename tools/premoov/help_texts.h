#pragma once

namespace premoov {

// The line format of `premoov captions dump`, for its help.
inline constexpr const char* kCaptionsDumpFormat = R"(Output, one line each:
  track ID: FORMAT, N samples, time scale S, duration HH:MM:SS.mmm
  TIME fFRAME #SAMPLE @OFFSET SIZE B: WHAT | PAIR | PAIR ... | error: ... | note: ...
  TIME fFRAME #FIRST-LAST @OFFSET: N samples missing, past the end of the file
  TIME fFRAME #FIRST-LAST @OFFSET: N samples blank, all bytes zero
  track ID: R read, E with errors, B blank, M missing[; why the walk stopped]
TIME is the sample's media time (HH:MM:SS.mmm), FRAME that time in sample durations, OFFSET
the sample's byte offset in the file. WHAT is "c608", or for c708 the cdp:
  cdp RATE fps len CDP_LENGTH seq HEADER[/FOOTER (differ)] [tc HH:MM:SS:FF] cc_count N
  svcinfo SERVICES|no|missing checksum ok|bad|? dtvcc VALID/ALL
PAIR is a line-21 byte pair: fFIELD B1 B2 [invalid] [parity-error] [CCn] MEANING, where MEANING
is "null", a control code (RCL, EOC, RU2, CR, EDM, ...), "PAC row R col C", "PAC row R COLOUR",
"mid-row ...", "TOn", "special C", "ext C", two characters in quotes, or "XDS ...".
Exit status: 0 when every sample present reads without error, 1 otherwise.
)";

}  // namespace premoov
