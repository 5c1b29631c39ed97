#!/usr/bin/env python3
"""Writes captions/styles.scc: 20 seconds of CC1 captions in each of the three styles.

A pop-on caption with special and extended characters, a roll-up caption of three lines, a
paint-on caption written in two steps, and a second pop-on caption, each cleared before the next.
Control codes, special and extended characters go twice, as caption encoders send them; an
extended character follows the basic character a plain receiver shows in its place.

  python3 -B make_caption_scc.py > captions/styles.scc
"""

import sys

# CC1 control codes.
RCL, EOC, EDM, CR, RU2, RU3, RDC = (0x1420, 0x142F, 0x142C, 0x142D, 0x1425, 0x1426, 0x1429)


def pac(row: int, indent: int) -> int:
    """Preamble address code: white text at `row` (1-15), indented by a multiple of 4."""
    first, upper = {1: (0x11, 0), 2: (0x11, 1), 3: (0x12, 0), 4: (0x12, 1), 5: (0x15, 0),
                    6: (0x15, 1), 7: (0x16, 0), 8: (0x16, 1), 9: (0x17, 0), 10: (0x17, 1),
                    11: (0x10, 0), 12: (0x13, 0), 13: (0x13, 1), 14: (0x14, 0),
                    15: (0x14, 1)}[row]
    return (first << 8) | (0x60 if upper else 0x40) | 0x10 | (indent // 4) << 1


def special(code: int) -> int:
    return 0x1100 | code


def spanish_french(code: int) -> int:
    return 0x1200 | code


def portuguese_german(code: int) -> int:
    return 0x1300 | code


def odd_parity(byte: int) -> int:
    return byte | (0x80 if bin(byte).count("1") % 2 == 0 else 0)


def words(*parts) -> list[int]:
    """Text is sent two characters a word; a code (an int) is sent twice on its own."""
    out: list[int] = []
    pending = ""
    for part in parts:
        if isinstance(part, str):
            pending += part
            continue
        if pending:
            out += text_words(pending)
            pending = ""
        out += [part, part]
    if pending:
        out += text_words(pending)
    return out


def text_words(text: str) -> list[int]:
    codes = [ord(c) for c in text]
    if len(codes) % 2:
        codes.append(0)
    return [(codes[i] << 8) | codes[i + 1] for i in range(0, len(codes), 2)]


def line(timecode: str, codes: list[int]) -> str:
    hex_words = " ".join(f"{odd_parity(c >> 8):02x}{odd_parity(c & 0xFF):02x}" for c in codes)
    return f"{timecode}\t{hex_words}"


def main() -> None:
    lines = [
        # Pop-on, loaded off screen and shown with the end of caption.
        line("00:00:00;15", words(RCL, pac(14, 0), "Pop-on: caf\x5c ",
                                  special(0x32), " ", special(0x34), pac(15, 4),
                                  "U", spanish_french(0x24), "ber ", "\"",
                                  spanish_french(0x3E), "FRANC", spanish_french(0x32),
                                  "AIS\"", spanish_french(0x3F), " s", portuguese_german(0x34))),
        line("00:00:02;00", words(EOC)),
        line("00:00:04;00", words(EDM)),
        # Roll-up, two rows, three lines.
        line("00:00:05;00", words(RU2, pac(15, 0), "Roll-up line one")),
        line("00:00:06;10", words(CR, "line two ", special(0x31), " c", spanish_french(0x2B))),
        line("00:00:08;00", words(CR, "line three", special(0x3A))),
        line("00:00:10;00", words(EDM)),
        # Paint-on, shown as it is written.
        line("00:00:11;00", words(RDC, pac(13, 8), "Paint-on: ", special(0x33), "qu",
                                  "\x5c", "?")),
        line("00:00:12;15", words(pac(14, 8), "And more ", special(0x36), "5")),
        line("00:00:15;00", words(EDM)),
        # A second pop-on caption.
        line("00:00:16;00", words(RCL, pac(15, 0), "The end", special(0x3C))),
        line("00:00:17;00", words(EOC)),
        line("00:00:18;20", words(EDM)),
    ]
    sys.stdout.write("Scenarist_SCC V1.0\n\n" + "\n\n".join(lines) + "\n\n")


if __name__ == "__main__":
    main()
