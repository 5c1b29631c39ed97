"""The CC1 text of SCC captions as FFmpeg decodes it, sent one word a frame as a recording does.

An SCC line holds the words (byte pairs) that go out from its timecode on, one a frame; a line
that starts before the words of the one before are all out follows them. FFmpeg's SCC reader
hands a whole line to its decoder at the line's time, while a recording carries one pair a
frame: to compare the two, the SCC is rewritten with one word a line, at its own frame. FFmpeg
times a label as its seconds plus 33 ms a frame, so cue times are compared as frames.
"""

import re
import subprocess
from dataclasses import dataclass
from fractions import Fraction
from pathlib import Path

import timecode_samples

_SCC_LINE = re.compile(r"^(\d\d:\d\d:\d\d[:;.]\d\d)\s+(.*)$")
_SRT_TIME = re.compile(r"^(\d+):(\d\d):(\d\d),(\d\d\d) --> (\d+):(\d\d):(\d\d),(\d\d\d)$")
# FFmpeg's SCC reader counts each frame of a label as 33 ms.
_FFMPEG_MS_PER_LABEL_FRAME = 33


@dataclass
class Cue:
    start_ms: int
    end_ms: int
    text: str


def scheduled_words(scc: str, fps: int, drop_frame: bool) -> list[tuple[int, str]]:
    """(frame, word) of every word of an SCC text, a frame each, in order."""
    words: list[tuple[int, str]] = []
    next_free = 0
    for line in scc.splitlines():
        match = _SCC_LINE.match(line.strip())
        if not match:
            continue
        label = match.group(1).replace(".", ";")
        frame = max(timecode_samples.frame_number(label, fps, drop_frame), next_free)
        for word in match.group(2).split():
            words.append((frame, word))
            frame += 1
        next_free = frame
    return words


def one_word_per_line(words: list[tuple[int, str]], fps: int, drop_frame: bool) -> str:
    lines = [f"{timecode_samples.timecode_text(frame, fps, drop_frame)}\t{word}"
             for frame, word in words]
    return "Scenarist_SCC V1.0\n\n" + "\n\n".join(lines) + "\n\n"


def srt_cues(srt: str) -> list[Cue]:
    cues = []
    for block in re.split(r"\n\s*\n", srt.replace("\r\n", "\n").strip()):
        rows = block.split("\n")
        if len(rows) < 2:
            continue
        match = _SRT_TIME.match(rows[1].strip())
        if not match:
            raise ValueError(f"not an SRT cue: {block!r}")
        h1, m1, s1, ms1, h2, m2, s2, ms2 = (int(g) for g in match.groups())
        cues.append(Cue(((h1 * 60 + m1) * 60 + s1) * 1000 + ms1,
                        ((h2 * 60 + m2) * 60 + s2) * 1000 + ms2, "\n".join(rows[2:])))
    return cues


def ffmpeg_cues(scc_path: Path, srt_path: Path) -> list[Cue]:
    """FFmpeg's decoding of an SCC file, as plain SRT text."""
    subprocess.run(["ffmpeg", "-v", "error", "-y", "-i", str(scc_path), "-c:s", "text", "-f",
                    "srt", str(srt_path)], check=True)
    return srt_cues(srt_path.read_text(encoding="utf-8"))


def frame_of_ffmpeg_time(ms: int, fps: int, drop_frame: bool) -> int:
    seconds, rest = divmod(ms, 1000)
    frames, leftover = divmod(rest, _FFMPEG_MS_PER_LABEL_FRAME)
    if leftover or frames >= fps:
        raise ValueError(f"{ms} ms is not a time FFmpeg gives a timecode label")
    separator = ";" if drop_frame else ":"
    label = (f"{seconds // 3600:02d}:{seconds // 60 % 60:02d}:{seconds % 60:02d}"
             f"{separator}{frames:02d}")
    return timecode_samples.frame_number(label, fps, drop_frame)


def frame_of_time(ms: int, frame_duration: Fraction) -> int:
    return round(Fraction(ms, 1000) / frame_duration)
