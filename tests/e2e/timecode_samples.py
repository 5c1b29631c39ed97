"""Timecode as a recorder writes it: each 'tmcd' sample is a 4-byte big-endian frame number.

The frame number counts frames from 00:00:00:00. For drop-frame timecode (SMPTE ST 12-1) the
labels ;00 and ;01 (;00 to ;03 at 60 frames a second) are skipped at the start of every minute
except each tenth, so the frame number of a label is less than its digits suggest.
"""

import re
import struct

_TIMECODE = re.compile(r"^(\d{2}):(\d{2}):(\d{2})[:;.,](\d{2})$")


def dropped_per_minute(fps: int) -> int:
    """Labels skipped each minute: 2 at 30 frames a second, 4 at 60."""
    return fps // 15


def frame_number(timecode: str, fps: int, drop_frame: bool) -> int:
    """'01:00:00;00' at 30 drop-frame gives 107892; '10:00:00:00' at 25 gives 900000."""
    match = _TIMECODE.match(timecode)
    if not match:
        raise ValueError(f"not a timecode: {timecode!r}")
    hours, minutes, seconds, frames = (int(part) for part in match.groups())
    if minutes > 59 or seconds > 59 or frames >= fps:
        raise ValueError(f"timecode {timecode!r} is out of range at {fps} frames a second")
    number = ((hours * 60 + minutes) * 60 + seconds) * fps + frames
    if drop_frame:
        dropped = dropped_per_minute(fps)
        if seconds == 0 and frames < dropped and minutes % 10 != 0:
            raise ValueError(f"{timecode!r} is a label drop-frame timecode skips")
        total_minutes = hours * 60 + minutes
        number -= dropped * (total_minutes - total_minutes // 10)
    return number


def timecode_text(number: int, fps: int, drop_frame: bool) -> str:
    """The label of a frame number, the way ffprobe and MediaInfo print it ('01:00:00;00')."""
    if drop_frame:
        dropped = dropped_per_minute(fps)
        per_minute = fps * 60 - dropped
        per_ten_minutes = fps * 600 - dropped * 9
        tens, rest = divmod(number, per_ten_minutes)
        number += dropped * 9 * tens
        if rest > dropped:
            number += dropped * ((rest - dropped) // per_minute)
    frames = number % fps
    seconds = number // fps % 60
    minutes = number // (fps * 60) % 60
    hours = number // (fps * 3600) % 24
    separator = ";" if drop_frame else ":"
    return f"{hours:02d}:{minutes:02d}:{seconds:02d}{separator}{frames:02d}"


def timecode_sample(number: int) -> bytes:
    """One 'tmcd' sample: the frame number, 32-bit big-endian."""
    return struct.pack(">I", number & 0xFFFFFFFF)
