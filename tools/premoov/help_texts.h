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

// The line format of `premoov captions line21`, for its help.
inline constexpr const char* kCaptionsLine21Format = R"(Output, one line each:
  track ID: FORMAT WIDTH x HEIGHT, N frames, time scale S, duration HH:MM:SS.mmm
  #FRAME TIME: B0 B1 B2 B3 [parity-error] [CCn] MEANING [| no null pair on row 2]
  #FIRST-LAST TIME: N frames missing, past the end of the file
  #FRAME TIME SIZE B: unreadable, WHY
  track ID: R read, E with errors, M missing
B0 to B3 are the "c608" sample line-21 extraction makes of the frame: the caption pair (its second
byte ORed with 0x80, the null row's first), the null row's second byte (0x80), zero. MEANING is
that of the pair B0 B1, B1's parity bit set again, as `captions dump` names pairs. Only the top
three rows of a frame are read. With --json: one object a line, the track, each frame, the totals.
Exit status: 0 when every frame present reads, 1 otherwise.
)";

// The line format of `premoov captions vanc`, for its help.
inline constexpr const char* kCaptionsVancFormat = R"(Output, one line each:
  frame F row R STREAM @P: caption, N words[, parity ok|error], checksum ok|error | CDP | PAIR ...
  frame F row R STREAM @P: DID XX SDID XX, N words[, parity ok|error], checksum ok|error
  frame F row R STREAM @P: ..., N words, cut short by the row end
  frames A-B: no ancillary packet
  N frames: C caption packets (E with errors), O other packets, F frames without captions
Each frame is --rows-per-frame rows of --bytes-per-row bytes. Packets are found anywhere in a
row, in its luma samples (HD), its chroma samples, or all its samples in order (SD, "interleaved");
P counts samples of that stream from the row start. Parity is checked in 10-bit rows only; 8-bit
rows keep the low byte of the checksum. CDP and PAIR read as in `captions dump`.
With --recorder, the sample the recorder's own reading makes of each frame instead:
  frame F: SIZE B: CDP | PAIR ...
  frames A-B: no caption sample
That reading takes only a packet at a row's start (and in 'v210' rows reads its payload from the
row's fifth word), as recorders always have. With --json: one object a frame.
Exit status: 0 when every packet checks out, 1 otherwise.
)";

}  // namespace premoov
