"""Closed-caption samples for a 'c708' track: a 'ccdp' atom around one CEA-708 cdp a frame.

The cdp (caption distribution packet, SMPTE ST 334-2) carries one line 21 byte pair for each
field, then DTVCC padding. Field 1 spells a short roll-up caption on CC1 (CEA-608) over the first
frames and null pairs after it; field 2 carries null pairs. The sequence counter is the frame
index, so every sample differs and a sample read from the wrong place shows.
"""

import struct
from fractions import Fraction

# cdp_frame_rate codes and the cc_count that fills one frame of the 9,600 bit/s caption channel.
_FRAME_RATES = {
    Fraction(24000, 1001): (1, 25),
    Fraction(24): (2, 25),
    Fraction(25): (3, 24),
    Fraction(30000, 1001): (4, 20),
    Fraction(30): (5, 20),
    Fraction(50): (6, 12),
    Fraction(60000, 1001): (7, 10),
    Fraction(60): (8, 10),
}

_CDP_IDENTIFIER = 0x9669
_CCDATA_ID = 0x72
_FOOTER_ID = 0x74
# ccdata_present, caption_service_active, and the reserved bit that is always 1.
_CDP_FLAGS = 0x43
# cc_data triplets: marker bits 11111, cc_valid, cc_type; then two data bytes.
_FIELD1 = 0xFC  # valid, line 21 field 1
_FIELD2_NULL = bytes([0xFD, 0x80, 0x80])  # valid, line 21 field 2, null pair with odd parity
_DTVCC_PADDING = bytes([0xFA, 0x00, 0x00])  # not valid, DTVCC packet data
_NULL_PAIR = bytes([0x80, 0x80])
_TIME_CODE_ID = 0x71
_FLAG_TIME_CODE_PRESENT = 0x80
_FLAG_CCDATA_PRESENT = 0x40

# CEA-608 CC1 control codes; a receiver sees each twice so that one lost pair does not count.
_ROLL_UP_2 = bytes([0x14, 0x25])
_CARRIAGE_RETURN = bytes([0x14, 0x2D])


def frame_rate_and_cc_count(frame_rate: Fraction) -> tuple[int, int]:
    """The cdp_frame_rate code and the full cc_count for a frame rate in frames a second."""
    if frame_rate not in _FRAME_RATES:
        raise ValueError(f"no cdp frame rate code for {frame_rate} frames a second")
    return _FRAME_RATES[frame_rate]


def cdp_length(cc_count: int) -> int:
    """Bytes in a cdp with no time code or service info: 7 header, 2 + 3 x cc_count, 4 footer."""
    return 7 + 2 + 3 * cc_count + 4


def _odd_parity(byte: int) -> int:
    return byte | (0x80 if bin(byte).count("1") % 2 == 0 else 0)


def roll_up_pairs(text: str) -> list[bytes]:
    """Line 21 field 1 byte pairs, one a frame, that put `text` on a 2-row roll-up caption."""
    pairs = [_ROLL_UP_2, _ROLL_UP_2, _CARRIAGE_RETURN, _CARRIAGE_RETURN]
    padded = text + ("\0" if len(text) % 2 else "")
    for i in range(0, len(padded), 2):
        pairs.append(bytes(ord(c) for c in padded[i:i + 2]))
    return [bytes(_odd_parity(b) for b in pair) for pair in pairs]


def make_cdp(sequence: int, frame_rate_code: int, cc_count: int,
             field1_pair: bytes = _NULL_PAIR) -> bytes:
    """One cdp whose bytes sum to 0 modulo 256, as its checksum requires."""
    line21 = bytes([_FIELD1]) + field1_pair + _FIELD2_NULL
    triplets = (line21 + _DTVCC_PADDING * cc_count)[: 3 * cc_count]
    body = struct.pack(
        ">HBBBH",
        _CDP_IDENTIFIER,
        cdp_length(cc_count),
        (frame_rate_code << 4) | 0x0F,  # cdp_frame_rate, then 4 reserved bits of 1
        _CDP_FLAGS,
        sequence & 0xFFFF,  # cdp_hdr_sequence_cntr
    )
    body += bytes([_CCDATA_ID, 0xE0 | cc_count]) + triplets  # marker bits 111, cc_count
    body += bytes([_FOOTER_ID]) + struct.pack(">H", sequence & 0xFFFF)  # cdp_ftr_sequence_cntr
    checksum = (256 - sum(body) % 256) % 256
    return body + bytes([checksum])


def ccdp_sample(sequence: int, frame_rate: Fraction, size: int,
                field1_pair: bytes = _NULL_PAIR) -> tuple[bytes, int]:
    """A caption sample of exactly `size` bytes and the cc_count it holds.

    The 'ccdp' atom spans the whole sample. When `size` is too small for the frame rate's full
    cc_count, the cdp is shortened to fit; when it is larger, zeros follow the cdp inside the atom
    (the cdp states its own length).
    """
    code, cc_count = frame_rate_and_cc_count(frame_rate)
    atom_header = 8
    while cc_count > 0 and atom_header + cdp_length(cc_count) > size:
        cc_count -= 1
    if atom_header + cdp_length(cc_count) > size:
        raise ValueError(f"a caption sample of {size} bytes cannot hold a cdp")
    cdp = make_cdp(sequence, code, cc_count, field1_pair)
    sample = struct.pack(">I4s", size, b"ccdp") + cdp
    return sample + bytes(size - len(sample)), cc_count


def field1_pair(sample: bytes) -> bytes:
    """The line 21 field 1 pair a 'ccdp' sample carries: its first valid field 1 triplet, or the
    null pair 0x80 0x80 when it has none. Raises ValueError for bytes that are no such sample."""
    if len(sample) < 8 + 7 or sample[4:8] != b"ccdp":
        raise ValueError(f"not a 'ccdp' sample: {sample[:16].hex()}")
    cdp = sample[8:]
    if struct.unpack(">H", cdp[:2])[0] != _CDP_IDENTIFIER:
        raise ValueError(f"no cdp in the sample: {sample[:16].hex()}")
    flags = cdp[4]
    at = 7
    if flags & _FLAG_TIME_CODE_PRESENT:
        if cdp[at] != _TIME_CODE_ID:
            raise ValueError(f"the cdp's time code section is missing: {cdp.hex()}")
        at += 5
    if not flags & _FLAG_CCDATA_PRESENT:
        return _NULL_PAIR
    if cdp[at] != _CCDATA_ID:
        raise ValueError(f"the cdp's cc_data section is missing: {cdp.hex()}")
    cc_count = cdp[at + 1] & 0x1F
    triplets = cdp[at + 2:at + 2 + 3 * cc_count]
    for i in range(0, len(triplets) - 2, 3):
        marker = triplets[i]
        if marker & 0x04 and marker & 0x03 == 0:  # cc_valid, cc_type 0: line 21 field 1
            return bytes(triplets[i + 1:i + 3])
    return _NULL_PAIR
