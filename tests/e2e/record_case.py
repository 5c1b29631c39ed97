#!/usr/bin/env python3
"""Plays the recorder for one premoov request, then checks that readers play the file back.

premoov writes the movie header for the whole duration before anything is recorded. This
program does what a recorder does next: it makes the media, writes every sample at the offset
the plan gives it and nothing anywhere else, and closes the file. Then ffmpeg must decode every
frame and every audio sample as they were made, ffprobe must find every sample where it was
written, and ffprobe and MediaInfo must report the start timecode and the reel name.

  python3 -B record_case.py --premoov BUILD/tools/premoov/premoov --request REQUEST.json \\
      --start-timecode 01:00:00:00 --work-dir DIR [--captions IN.scc]
      [--line21 IN.scc --draw-line21-frames BUILD/tests/captions/draw_line21_frames] [--keep-files]

The start timecode is written with colons; it is drop-frame when the request says so. With
--captions, the caption samples are premoov's own, made from an SCC file by `premoov captions
scc`; then MediaInfo must find CEA-608 in them (and lose it when their checksums are broken), and
`premoov captions dump --srt` on the recording must give the text and times FFmpeg's own decoder
gives for the SCC file. With --line21, the video frames carry the SCC's field-1 pairs drawn into
their top rows by draw_line21_frames, one pair a frame as `premoov captions scc` schedules them;
then `premoov captions line21 --srt` on the recording must give FFmpeg's text and times for the
SCC file, and FFmpeg's readeia608 must read the same pairs from the recorded frames.
Exit status: 0 when every check passes, 1 when one fails, 77 when a reader is not installed.
"""

import argparse
import json
import shutil
import struct
import subprocess
import sys
from collections import defaultdict
from dataclasses import dataclass
from fractions import Fraction
from pathlib import Path

import caption_samples
import caption_text
import reader_checks as readers
import source_media
import timecode_samples

# 'mdat' with a 64-bit size, or a 32-bit 'mdat' with an 8-byte 'wide' atom first inside it.
MDAT_HEADER_SIZE = 16
READERS = ("ffmpeg", "ffprobe", "mediainfo")
EXIT_SKIPPED = 77
CAPTION_TEXT = "PREMOOV"
# A caption slot holds the 'ccdp' atom header, a cdp without service information and the
# frame's cc_data triplets: 3 x cc_count + 21 bytes.
CAPTION_SLOT_OVERHEAD = 21
# What AddressSanitizer and UndefinedBehaviorSanitizer print, in builds with PREMOOV_SANITIZE.
SANITIZER_MARKS = ("runtime error:", "AddressSanitizer", "LeakSanitizer")


class Checks:
    """Counts what passed and keeps what failed, so that one run reports everything it finds."""

    def __init__(self):
        self.passed = 0
        self.failures: list[str] = []

    def expect(self, ok: bool, what: str, detail: str = "") -> bool:
        if ok:
            self.passed += 1
            print(f"  ok    {what}")
        else:
            self.failures.append(f"{what}: {detail}")
            print(f"  FAIL  {what}: {detail}")
        return ok

    def equal(self, actual, expected, what: str) -> bool:
        return self.expect(actual == expected, what, f"got {actual!r}, expected {expected!r}")


def note(text: str) -> None:
    print(f"  note  {text}")


@dataclass
class Reference:
    """`count` samples of size / count bytes each, back to back from `offset`."""

    track: str
    offset: int
    size: int
    count: int
    duration: int
    flags: int

    @property
    def sample_size(self) -> int:
        return self.size // self.count if self.count else 0


@dataclass
class Case:
    """A request and the figures a recording of it must come to."""

    request: dict
    start_timecode: str

    @property
    def settings(self) -> dict:
        return self.request["settings"]

    @property
    def frame_duration(self) -> Fraction:  # seconds
        fd = self.settings["videoFrameDuration"]
        return Fraction(fd["value"], fd["timescale"])

    @property
    def frames(self) -> int:
        """Whole frames in the request's duration."""
        d = self.request["duration"]
        return int(Fraction(d["value"], d["timescale"]) // self.frame_duration)

    @property
    def timecode_fps(self) -> int:
        return round(1 / self.frame_duration)

    @property
    def drop_frame(self) -> bool:
        return bool(self.settings.get("timecodeIsDropFrame", False))

    @property
    def asbds(self) -> list[dict]:
        return self.settings.get("asbds", [])[: self.settings.get("numberOfAudioTracks", 0)]

    def audio_samples(self, asbd: dict) -> int:
        """Sample frames a track holds when it covers the whole duration."""
        d = self.request["duration"]
        return int(Fraction(d["value"], d["timescale"]) * Fraction(asbd["sampleRate"]))

    def start_frame(self) -> int:
        return timecode_samples.frame_number(self.start_timecode, self.timecode_fps,
                                             self.drop_frame)

    def label(self, frame: int) -> str:
        return timecode_samples.timecode_text(frame, self.timecode_fps, self.drop_frame)


def run_premoov(premoov: str, args: list[str]) -> dict:
    done = subprocess.run([premoov, *args], capture_output=True, text=True)
    if done.returncode != 0:
        raise RuntimeError(f"premoov {' '.join(args)} failed ({done.returncode}):\n"
                           f"{done.stdout}{done.stderr}")
    if any(mark in done.stderr for mark in SANITIZER_MARKS):
        raise RuntimeError(f"premoov {' '.join(args)} tripped a sanitizer:\n{done.stderr}")
    if done.stderr:
        note(f"premoov {args[0]} said: {done.stderr.strip()}")
    return json.loads(done.stdout)


def run_premoov_text(premoov: str, args: list[str]) -> str:
    done = subprocess.run([premoov, *args], capture_output=True, text=True)
    if done.returncode != 0 or any(mark in done.stderr for mark in SANITIZER_MARKS):
        raise RuntimeError(f"premoov {' '.join(args)} failed ({done.returncode}):\n"
                           f"{done.stdout}{done.stderr}")
    return done.stdout


def by_track(references: list[Reference]) -> dict[str, list[Reference]]:
    tracks: dict[str, list[Reference]] = defaultdict(list)
    for reference in references:
        tracks[reference.track].append(reference)
    return tracks


def merged_ranges(ranges: list[tuple[int, int]]) -> list[tuple[int, int]]:
    """(start, end) byte ranges in file order, touching ones joined."""
    merged: list[tuple[int, int]] = []
    for start, end in sorted(r for r in ranges if r[1] > r[0]):
        if merged and merged[-1][1] == start:
            merged[-1] = (merged[-1][0], end)
        else:
            merged.append((start, end))
    return merged


def check_plan(case: Case, plan: dict, references: list[Reference], checks: Checks) -> None:
    """What the plan must say for a recording of the whole duration, before anything is written."""
    tracks = by_track(references)
    samples = {track: sum(r.count for r in refs) for track, refs in tracks.items()}
    checks.equal(samples.get("video", 0), case.frames, "plan: one video sample a frame")

    for reference in references:
        if reference.count and reference.size % reference.count:
            checks.expect(False, "plan: whole samples",
                          f"{reference} is not {reference.count} equal samples")
    for number, asbd in enumerate(case.asbds, start=1):
        track = f"audio{number}"
        checks.equal(samples.get(track, 0), case.audio_samples(asbd),
                     f"plan: {track} covers the duration")
        sizes = {r.sample_size for r in tracks.get(track, []) if r.count}
        checks.equal(sizes, {asbd["bytesPerFrame"]}, f"plan: {track} sample size")
    checks.equal(sorted(t for t in tracks if t.startswith("audio")),
                 sorted(f"audio{n}" for n in range(1, len(case.asbds) + 1)),
                 "plan: the request's audio tracks")

    # Audio samples last one tick of the sample rate; the other tracks' samples a frame.
    frame_value = case.settings["videoFrameDuration"]["value"]
    global_timecode = case.settings.get("globalTimecode", False)
    for track, refs in sorted(tracks.items()):
        if track == "timecode" and global_timecode:
            continue  # one sample for the whole duration, checked below
        expected = 1 if track.startswith("audio") else frame_value
        checks.equal({r.duration for r in refs if r.count}, {expected},
                     f"plan: {track} sample duration")

    if global_timecode:
        # One sample lasting the whole duration, in the frame duration's time scale.
        d = case.request["duration"]
        length = round(Fraction(d["value"], d["timescale"])
                       * case.settings["videoFrameDuration"]["timescale"])
        checks.equal([(r.count, r.size, r.duration) for r in tracks.get("timecode", [])],
                     [(1, 4, length)], "plan: one global timecode sample for the whole duration")
    else:
        checks.equal(samples.get("timecode", 0), case.frames, "plan: one timecode sample a frame")
        checks.equal({r.sample_size for r in tracks.get("timecode", []) if r.count}, {4},
                     "plan: 4-byte timecode samples")
    if case.settings.get("addClosedCaptionTrack", False):
        checks.equal(samples.get("captions", 0), case.frames, "plan: one caption sample a frame")
    else:
        checks.expect("captions" not in tracks, "plan: no caption track", "captions planned")

    # Every sample inside the media data, none overlapping another.
    payload_start = plan["mdatStart"] + MDAT_HEADER_SIZE
    spans = sorted((r.offset, r.offset + r.size, r.track) for r in references if r.size)
    overlaps = [(a, b) for a, b in zip(spans, spans[1:]) if b[0] < a[1]]
    checks.equal(overlaps, [], "plan: no two samples share a byte")
    outside = [s for s in spans if s[0] < payload_start or s[1] > plan["end"]]
    checks.equal(outside, [], "plan: every sample inside the media data")
    checks.expect(plan["end"] <= plan["fileSize"], "plan: media end within the file size",
                  f"end {plan['end']} > fileSize {plan['fileSize']}")


def top_level_atoms(path: Path) -> list[tuple[str, int, int]]:
    """(type, offset, size) of each top-level atom, up to one of size 0 or past the file's end."""
    atoms = []
    size_of_file = path.stat().st_size
    with open(path, "rb") as file:
        offset = 0
        while offset + 8 <= size_of_file:
            file.seek(offset)
            size, kind = struct.unpack(">I4s", file.read(8))
            if size == 1:
                size = struct.unpack(">Q", file.read(8))[0]
            atoms.append((kind.decode("latin-1"), offset, size))
            if size < 8 or offset + size > size_of_file:
                break
            offset += size
    return atoms


def check_written_file(plan: dict, answer: dict, mov: Path, checks: Checks) -> None:
    """What `premoov write` left on disk: the header, then a media data atom to the plan's end."""
    checks.equal(answer["fileSize"], plan["fileSize"], "write: file size as planned")
    checks.equal(answer["frameSize"], plan["frameSize"], "write: frame size as planned")
    checks.equal(mov.stat().st_size, plan["fileSize"], "write: file extended to its final size")
    atoms = top_level_atoms(mov)
    kinds = [kind for kind, _, _ in atoms]
    checks.expect(kinds[:1] == ["moov"], "file: the movie atom first", f"atoms {atoms}")
    mdat = [(offset, offset + size) for kind, offset, size in atoms if kind == "mdat"]
    checks.equal(mdat, [(plan["mdatStart"], plan["end"])], "file: media data atom as planned")
    tail = plan["fileSize"] - plan["end"]
    if tail > 0:
        with open(mov, "rb") as file:
            file.seek(plan["end"])
            checks.equal(file.read(tail), bytes(tail), "file: bytes past the media data are zero")
        note(f"the file is {tail} bytes longer than its atoms "
             f"(fileSize {plan['fileSize']} = end {plan['end']} + {tail})")


class Sources:
    """The samples of every track, handed out in recording order."""

    def __init__(self, case: Case, video: source_media.VideoSource, audio: list[bytes],
                 caption_stream: bytes | None = None):
        self.case = case
        self.caption_stream = caption_stream
        self.caption_stream_used = 0
        self.video_frames = video.frames()
        self.audio = audio
        self.audio_used = [0] * len(audio)
        self.timecode_frame = case.start_frame()
        self.caption_sequence = 0
        self.caption_pairs = caption_samples.roll_up_pairs(CAPTION_TEXT)
        self.caption_cc_counts: set[int] = set()

    def take(self, track: str, count: int, sample_size: int) -> list[bytes]:
        if track == "video":
            return [self.padded_frame(next(self.video_frames), sample_size) for _ in range(count)]
        if track.startswith("audio"):
            index = int(track[len("audio"):]) - 1
            start = self.audio_used[index]
            self.audio_used[index] += count * sample_size
            data = self.audio[index][start:self.audio_used[index]]
            return [data[i:i + sample_size] for i in range(0, len(data), sample_size)]
        if track == "timecode":
            samples = [timecode_samples.timecode_sample(self.timecode_frame + i)
                       for i in range(count)]
            self.timecode_frame += count
            return samples
        if track == "captions" and self.caption_stream is not None:
            start = self.caption_stream_used
            self.caption_stream_used += count * sample_size
            if self.caption_stream_used > len(self.caption_stream):
                raise RuntimeError("the caption samples ran out before the caption slots")
            self.caption_cc_counts.add((sample_size - CAPTION_SLOT_OVERHEAD) // 3)
            return [self.caption_stream[i:i + sample_size]
                    for i in range(start, self.caption_stream_used, sample_size)]
        if track == "captions":
            samples = []
            for _ in range(count):
                pairs = self.caption_pairs[self.caption_sequence:self.caption_sequence + 1]
                sample, cc_count = caption_samples.ccdp_sample(
                    self.caption_sequence, 1 / self.case.frame_duration, sample_size, *pairs)
                self.caption_cc_counts.add(cc_count)
                self.caption_sequence += 1
                samples.append(sample)
            return samples
        raise ValueError(f"the plan names a track the recorder does not know: {track!r}")

    def padded_frame(self, frame: bytes, sample_size: int) -> bytes:
        if sample_size < len(frame):
            raise RuntimeError(f"a planned video sample of {sample_size} bytes cannot hold a "
                               f"{len(frame)}-byte frame")
        return frame + bytes(sample_size - len(frame))


def record(mov: Path, references: list[Reference], sources: Sources):
    """Writes every planned sample at its offset; returns (offset, size, MD5) of each by track."""
    written: dict[str, list[tuple[int, int, str]]] = defaultdict(list)
    with open(mov, "r+b") as file:
        for reference in references:
            if reference.count == 0:
                continue
            samples = sources.take(reference.track, reference.count, reference.sample_size)
            data = b"".join(samples)
            if len(data) != reference.size:
                raise RuntimeError(f"{reference.track} ran out of media at {reference}")
            file.seek(reference.offset)
            file.write(data)
            offset = reference.offset
            for sample in samples:
                written[reference.track].append((offset, len(sample), readers.md5(sample)))
                offset += len(sample)
    return written


def check_packets(case: Case, mov: Path, references: list[Reference],
                  written: dict[str, list[tuple[int, int, str]]], checks: Checks) -> None:
    """ffprobe must read every sample from where it was written, and nothing else."""
    streams = readers.probe_streams(mov)
    packets = readers.probe_packets(mov)
    tracks: dict[str, int] = {}
    audio = [s.index for s in streams if s.codec_type == "audio"]
    for number, index in enumerate(audio, start=1):
        tracks[f"audio{number}"] = index
    for s in streams:
        if s.codec_type == "video":
            tracks.setdefault("video", s.index)
        elif s.codec_tag == "tmcd":
            tracks["timecode"] = s.index
        elif s.codec_tag in ("c608", "c708"):
            tracks["captions"] = s.index
    checks.equal(sorted(tracks), sorted(by_track(references)), "ffprobe: the planned tracks")
    checks.equal(len(streams), len(tracks), "ffprobe: no other streams")

    for track, index in sorted(tracks.items()):
        found = packets.get(index, [])
        if track.startswith("audio"):
            # PCM comes in pieces of up to 1,024 frames: compare the byte ranges they cover.
            planned = merged_ranges([(r.offset, r.offset + r.size) for r in references
                                     if r.track == track])
            read = merged_ranges([(p.pos, p.pos + p.size) for p in found])
            checks.equal(read, planned, f"ffprobe: {track} read from the planned ranges")
            continue
        got = [(p.pos, p.size, p.md5) for p in found]
        expected = written.get(track, [])
        first_difference = next(
            (i for i, (a, b) in enumerate(zip(got, expected)) if a != b), None)
        checks.expect(got == expected,
                      f"ffprobe: {len(expected)} {track} samples at their offsets, as written",
                      f"{len(got)} packets; first difference at sample {first_difference}: "
                      f"{got[first_difference] if first_difference is not None else '-'} vs "
                      f"{expected[first_difference] if first_difference is not None else '-'}")
        stream = next(s for s in streams if s.index == index)
        if track == "video":
            # ffmpeg gives the video stream the timecode of the track its 'tmcd' reference names.
            checks.equal(stream.tags.get("timecode"), case.label(case.start_frame()),
                         "ffprobe: start timecode of the video track")
        if track == "timecode":
            checks.equal(stream.tags.get("timecode"), case.label(case.start_frame()),
                         "ffprobe: start timecode")
            checks.equal(stream.tags.get("reel_name"), case.settings.get("reelName"),
                         "ffprobe: reel name")


def check_video(case: Case, mov: Path, video: source_media.VideoSource, checks: Checks,
                distinct_frames: bool = True) -> None:
    source = readers.frame_hashes(video.demuxer_args(), [])
    if distinct_frames:
        checks.equal(len(set(h for _, h in source)), len(source),
                     "source: every frame differs (so a misplaced one shows)")
    else:
        note(f"{len(set(h for _, h in source))} distinct frames of {len(source)}: frames with "
             "the same pair are the same picture")
    decoded = readers.frame_hashes(["-i", str(mov)], ["-map", "0:v:0"])
    checks.equal(len(decoded), case.frames, "ffmpeg: decoded frame count")
    first_difference = next((i for i, (a, b) in enumerate(zip(decoded, source)) if a != b), None)
    checks.expect(decoded == source, "ffmpeg: every decoded frame equals the source frame",
                  f"first difference at frame {first_difference}")


def check_audio(case: Case, mov: Path, audio: list[bytes], checks: Checks) -> None:
    for index, (asbd, source) in enumerate(zip(case.asbds, audio)):
        form = source_media.pcm_format(asbd)
        decoded = readers.decoded_audio(mov, index, form)
        track = f"audio{index + 1}"
        checks.equal(len(decoded) // asbd["bytesPerFrame"], case.audio_samples(asbd),
                     f"ffmpeg: {track} decoded sample count ({form})")
        checks.expect(decoded == source, f"ffmpeg: every {track} sample equals the source",
                      f"md5 {readers.md5(decoded)} vs {readers.md5(source)}")


def check_mediainfo(case: Case, mov: Path, caption_cc_counts: set[int], checks: Checks) -> None:
    start = case.start_frame()
    other = readers.mediainfo(mov, "Other", ["Type", "TimeCode_FirstFrame", "TimeCode_LastFrame",
                                             "Title"])
    checks.equal(other, [["Time code", case.label(start), case.label(start + case.frames - 1),
                          case.settings.get("reelName", "")]],
                 "MediaInfo: timecode of first and last frame, reel name")
    if case.settings.get("addClosedCaptionTrack", False):
        # MediaInfo lists the track only when its cdps carry captions: it found CC1 in them.
        lengths = sorted(caption_samples.cdp_length(n) for n in caption_cc_counts)
        text = readers.mediainfo(mov, "Text", ["Format", "MuxingMode", "CodecID", "FrameCount",
                                               "CaptionServiceName", "cdp_length_Min",
                                               "cdp_length_Max"])
        checks.equal(text, [["EIA-608", "Final Cut / CDP", "c708", str(case.frames), "CC1",
                             str(lengths[0]), str(lengths[-1])]],
                     f"MediaInfo: the {CAPTION_TEXT!r} caption in every cdp")


def scheduled_caption_samples(premoov: str, case: Case, scc: Path, work_dir: Path,
                              checks: Checks) -> tuple[bytes, int]:
    """premoov's caption samples of an SCC file, one a frame from the recording's first timecode
    on, back to back, and their size."""
    fd = case.settings["videoFrameDuration"]
    start = case.label(case.start_frame())
    out = work_dir / "captions.samples"
    answer = run_premoov(premoov, ["captions", "scc", str(scc),
                                   "--frame-duration", f"{fd['value']}/{fd['timescale']}",
                                   "--start", start, "--frames", str(case.frames),
                                   "--out", str(out)])
    checks.equal(answer["samples"], case.frames, "captions scc: one sample a frame")
    stream = out.read_bytes()
    checks.equal(len(stream), answer["samples"] * answer["sampleSize"],
                 "captions scc: the samples back to back")
    return stream, answer["sampleSize"]


def make_caption_samples(premoov: str, case: Case, scc: Path, plan: dict,
                         references: list[Reference], work_dir: Path, checks: Checks) -> bytes:
    """premoov's caption samples for the recording, one a frame from its first timecode on."""
    stream, sample_size = scheduled_caption_samples(premoov, case, scc, work_dir, checks)
    slots = {r.sample_size for r in references if r.track == "captions" and r.count}
    checks.equal({sample_size}, slots, "captions scc: samples the size of their slots")
    return stream


def make_line21_video(premoov: str, draw_frames: str, case: Case, scc: Path, work_dir: Path,
                      checks: Checks) -> tuple[source_media.VideoSource, list[bytes]]:
    """Frames with the field-1 pair `premoov captions scc` schedules for each drawn into their
    top rows, and those pairs."""
    stream, size = scheduled_caption_samples(premoov, case, scc, work_dir, checks)
    pairs = [caption_samples.field1_pair(stream[i:i + size]) for i in range(0, len(stream), size)]
    captioned = sum(1 for pair in pairs if pair != b"\x80\x80")
    checks.expect(captioned > 0, "captions scc: frames with caption pairs", "only null pairs")
    pairs_file = work_dir / "line21.pairs"
    pairs_file.write_text("".join(f"{pair.hex()}\n" for pair in pairs))
    settings = case.settings
    codec = settings["videoCodec"]
    width, height = settings["videoDimensions"]
    path = work_dir / "source.video"
    source_media.run([draw_frames, "--format", codec, "--width", str(width), "--height",
                      str(height), "--pairs-file", str(pairs_file), "--out", str(path)])
    total = path.stat().st_size
    if total % case.frames != 0:
        raise RuntimeError(f"draw_line21_frames wrote {total} bytes, not {case.frames} frames")
    video = source_media.VideoSource(path, codec, width, height, 1 / case.frame_duration,
                                     case.frames, total // case.frames)
    return video, pairs


def check_line21_pairs(premoov: str, mov: Path, pairs: list[bytes], checks: Checks) -> None:
    """premoov and FFmpeg's readeia608 must read every frame's pair back from the recording."""
    lines = run_premoov_text(premoov, ["captions", "line21", str(mov), "--json"]).splitlines()
    frames = [json.loads(line) for line in lines[1:-1]]
    ours = [bytes.fromhex(frame.get("pair", "")) for frame in frames]
    first = next((i for i, (a, b) in enumerate(zip(ours, pairs)) if a != b), None)
    checks.expect(ours == pairs, f"captions line21: the {len(pairs)} frames' pairs as drawn",
                  f"{len(ours)} frames; first difference at frame {first}: "
                  f"{ours[first].hex() if first is not None else '-'} vs "
                  f"{pairs[first].hex() if first is not None else '-'}")
    checks.equal(json.loads(lines[-1]), {"read": len(pairs), "withErrors": 0, "missing": 0},
                 "captions line21: every frame read")

    printed = mov.parent / "readeia608.txt"
    source_media.run(["ffmpeg", "-v", "error", "-i", str(mov), "-map", "0:v:0", "-vf",
                      f"readeia608=scan_min=0:scan_max=3,metadata=mode=print:file={printed}",
                      "-f", "null", "-"])
    theirs = readeia608_line1_pairs(printed.read_text())
    expected = {frame: pair for frame, pair in enumerate(pairs)}
    first = next((i for i in range(len(pairs)) if theirs.get(i) != pairs[i]), None)
    checks.expect(theirs == expected,
                  f"readeia608: the {len(pairs)} frames' line-21 pairs, frame for frame",
                  f"{len(theirs)} frames read; first difference at frame {first}: "
                  f"{theirs.get(first, b'').hex() if first is not None else '-'} vs "
                  f"{pairs[first].hex() if first is not None else '-'}")


def readeia608_line1_pairs(printed: str) -> dict[int, bytes]:
    """The pair readeia608 found on line 1 of each frame, from the metadata filter's print."""
    pairs: dict[int, bytes] = {}
    frame = None
    codes: dict[str, str] = {}
    lines: dict[str, str] = {}

    def flush():
        for index, line in lines.items():
            if line == "1" and index in codes:
                pairs[frame] = bytes.fromhex(codes[index][2:])
    for row in printed.splitlines():
        if row.startswith("frame:"):
            if frame is not None:
                flush()
            frame, codes, lines = int(row.split()[0][len("frame:"):]), {}, {}
            continue
        key, _, value = row.partition("=")
        parts = key.split(".")
        if len(parts) == 4 and parts[:2] == ["lavfi", "readeia608"]:
            (codes if parts[3] == "cc" else lines)[parts[2]] = value.strip()
    if frame is not None:
        flush()
    return pairs


def check_caption_text(premoov: str, case: Case, mov: Path, scc: Path, work_dir: Path,
                       checks: Checks, command: str = "dump") -> None:
    """The recording's CC1 text, decoded by premoov (`captions dump` from the caption track,
    `captions line21` from the video frames), against FFmpeg's decoding of the SCC."""
    fps, drop = case.timecode_fps, case.drop_frame
    first = case.start_frame()
    words = [(frame, word) for frame, word in
             caption_text.scheduled_words(scc.read_text(encoding="latin-1"), fps, drop)
             if first <= frame < first + case.frames]
    one_a_line = work_dir / "one_word_a_line.scc"
    one_a_line.write_text(caption_text.one_word_per_line(words, fps, drop))
    theirs = [(caption_text.frame_of_ffmpeg_time(c.start_ms, fps, drop) - first,
               caption_text.frame_of_ffmpeg_time(c.end_ms, fps, drop) - first, c.text)
              for c in caption_text.ffmpeg_cues(one_a_line, work_dir / "ffmpeg.srt")]
    srt = run_premoov_text(premoov, ["captions", command, str(mov), "--srt"])
    ours = [(caption_text.frame_of_time(c.start_ms, case.frame_duration),
             caption_text.frame_of_time(c.end_ms, case.frame_duration), c.text)
            for c in caption_text.srt_cues(srt)]
    checks.expect(len(theirs) > 0, "ffmpeg: the SCC file has captions", "no cues")
    checks.equal(ours, theirs, f"captions {command} --srt: FFmpeg's {len(theirs)} cues, text "
                 "and frames")


def check_broken_checksums(mov: Path, written: dict[str, list[tuple[int, int, str]]],
                           checks: Checks) -> None:
    """MediaInfo drops a cdp whose checksum fails: with every checksum broken, it still lists the
    track (as EIA-708, from its sample description) but finds no CEA-608 service in it."""
    samples = written.get("captions", [])
    with open(mov, "r+b") as file:
        saved = []
        for offset, size, _ in samples:
            file.seek(offset + size - 1)  # the cdp fills its slot: its checksum is the last byte
            byte = file.read(1)[0]
            saved.append(byte)
            file.seek(offset + size - 1)
            file.write(bytes([byte ^ 0xFF]))
    try:
        text = readers.mediainfo(mov, "Text", ["Format", "CaptionServiceName"])
        found = [row for row in text if row[0] == "EIA-608" or row[1] == "CC1"]
        checks.equal(found, [], "MediaInfo: no CC1 once every cdp checksum is broken")
        note(f"MediaInfo with every checksum broken: {text}")
    finally:
        with open(mov, "r+b") as file:
            for (offset, size, _), byte in zip(samples, saved):
                file.seek(offset + size - 1)
                file.write(bytes([byte]))


def run_case(premoov: str, request_path: Path, start_timecode: str, work_dir: Path,
             checks: Checks, captions: Path | None = None, line21: Path | None = None,
             draw_line21_frames: str | None = None) -> None:
    case = Case(json.loads(request_path.read_text()), start_timecode)
    mov = work_dir / "recorded.mov"
    plan = run_premoov(premoov, ["plan", str(request_path)])
    answer = run_premoov(premoov, ["write", str(request_path), "--file", str(mov)])
    references = [Reference(**{k: r[k] for k in Reference.__dataclass_fields__})
                  for r in plan["references"]]
    print(f"{request_path.name}: {case.frames} frames, {len(references)} references, "
          f"frameSize {plan['frameSize']}, fileSize {plan['fileSize']}")
    check_plan(case, plan, references, checks)
    check_written_file(plan, answer, mov, checks)

    settings = case.settings
    width, height = settings["videoDimensions"]
    line21_pairs: list[bytes] = []
    if line21 is not None:
        video, line21_pairs = make_line21_video(premoov, draw_line21_frames, case, line21,
                                                work_dir, checks)
    else:
        video = source_media.make_video(work_dir / "source.video", settings["videoCodec"],
                                        width, height, 1 / case.frame_duration, case.frames)
    if plan["frameSize"] != video.frame_size:
        note(f"ffmpeg's '{video.codec}' frame is {video.frame_size} bytes; the plan's frame is "
             f"{plan['frameSize']}: frames are padded with zeros")
    checks.expect(plan["frameSize"] >= video.frame_size, "plan: a frame fits its sample",
                  f"frameSize {plan['frameSize']} < {video.frame_size} bytes of a "
                  f"'{video.codec}' frame")
    checks.expect(plan["frameSize"] == video.frame_size
                  or plan["frameSize"] == settings.get("maxVideoFrameSize"),
                  "plan: frame size is the codec's, or the request's maximum",
                  f"frameSize {plan['frameSize']}, codec frame {video.frame_size}")
    if checks.failures:
        return  # a recording on a wrong plan would only repeat the failures
    frequencies = [440.0 * (1 + n) for n in range(len(case.asbds))]
    audio = [source_media.make_audio(work_dir / f"source.audio{n + 1}", asbd, frequency,
                                     case.audio_samples(asbd))
             for n, (asbd, frequency) in enumerate(zip(case.asbds, frequencies))]

    caption_stream = None
    if captions is not None:
        caption_stream = make_caption_samples(premoov, case, captions, plan, references,
                                              work_dir, checks)
    sources = Sources(case, video, audio, caption_stream)
    written = record(mov, references, sources)
    checks.equal(mov.stat().st_size, plan["fileSize"], "record: the file keeps its size")
    if sources.caption_cc_counts:
        full = caption_samples.frame_rate_and_cc_count(1 / case.frame_duration)[1]
        if sources.caption_cc_counts != {full}:
            note(f"caption samples too small for cc_count {full}: cdps hold "
                 f"{sorted(sources.caption_cc_counts)} triplets")

    check_packets(case, mov, references, written, checks)
    check_video(case, mov, video, checks, distinct_frames=line21 is None)
    check_audio(case, mov, audio, checks)
    check_mediainfo(case, mov, sources.caption_cc_counts, checks)
    if captions is not None:
        check_caption_text(premoov, case, mov, captions, work_dir, checks)
        check_broken_checksums(mov, written, checks)
    if line21 is not None:
        check_line21_pairs(premoov, mov, line21_pairs, checks)
        check_caption_text(premoov, case, mov, line21, work_dir, checks, command="line21")


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--premoov", required=True, help="the premoov tool under test")
    parser.add_argument("--request", required=True, type=Path, help="the request file")
    parser.add_argument("--start-timecode", required=True,
                        help="timecode of the first frame, hh:mm:ss:ff")
    parser.add_argument("--work-dir", required=True, type=Path,
                        help="where the recorded file and its sources go while the case runs")
    parser.add_argument("--captions", type=Path,
                        help="an SCC file: record premoov's caption samples made from it")
    parser.add_argument("--line21", type=Path,
                        help="an SCC file: draw its field-1 pairs into the video frames")
    parser.add_argument("--draw-line21-frames",
                        help="the draw_line21_frames program, which --line21 needs")
    parser.add_argument("--keep-files", action="store_true", help="leave the files for a look")
    args = parser.parse_args()
    if args.line21 is not None and not args.draw_line21_frames:
        parser.error("--line21 needs --draw-line21-frames")

    missing = [tool for tool in READERS if shutil.which(tool) is None]
    if missing:
        print(f"not run: {', '.join(missing)} not installed")
        return EXIT_SKIPPED
    work_dir = args.work_dir / args.request.stem
    shutil.rmtree(work_dir, ignore_errors=True)
    work_dir.mkdir(parents=True)
    checks = Checks()
    try:
        run_case(args.premoov, args.request, args.start_timecode, work_dir, checks,
                 args.captions, args.line21, args.draw_line21_frames)
    except (RuntimeError, ValueError, StopIteration) as error:
        checks.expect(False, "recording", str(error))
    finally:
        if not args.keep_files:
            shutil.rmtree(work_dir, ignore_errors=True)
    print(f"{checks.passed} checks passed, {len(checks.failures)} failed")
    for failure in checks.failures:
        print(f"FAILED: {failure}")
    return 1 if checks.failures else 0


if __name__ == "__main__":
    sys.exit(main())
