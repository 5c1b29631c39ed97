"""The media a recorder would capture, made with ffmpeg's test sources.

Video is `testsrc2`, whose every frame differs, encoded to the request's uncompressed codec;
audio is a sine a track, a different frequency for each track and channel, in the request's
PCM format.
"""

import subprocess
from dataclasses import dataclass
from fractions import Fraction
from pathlib import Path

# Uncompressed codecs ffmpeg encodes and reads back raw: the encoder, its pixel format, the raw
# demuxer for reading the frames back, and its options.
_VIDEO_CODECS = {
    "v210": ("v210", "yuv422p10le", ["-f", "v210"]),
    "2vuy": ("rawvideo", "uyvy422", ["-f", "rawvideo", "-pixel_format", "uyvy422"]),
}

# AudioStreamBasicDescription format flags.
_FLAG_IS_FLOAT = 1 << 0
_FLAG_IS_BIG_ENDIAN = 1 << 1
_FLAG_IS_SIGNED_INTEGER = 1 << 2


def run(args: list[str]) -> bytes:
    """Runs a reader or encoder and returns its standard output; its errors end the test."""
    done = subprocess.run(args, capture_output=True)
    if done.returncode != 0:
        raise RuntimeError(
            f"{' '.join(args)} failed ({done.returncode}): {done.stderr.decode(errors='replace')}"
        )
    return done.stdout


@dataclass
class VideoSource:
    path: Path
    codec: str
    width: int
    height: int
    frame_rate: Fraction
    frame_count: int
    frame_size: int  # bytes of one encoded frame, as ffmpeg writes it

    def frames(self):
        """The encoded frames, one bytes object each, in order."""
        with open(self.path, "rb") as file:
            for _ in range(self.frame_count):
                yield file.read(self.frame_size)

    def demuxer_args(self) -> list[str]:
        """ffmpeg input options that read the raw frames back."""
        rate = f"{self.frame_rate.numerator}/{self.frame_rate.denominator}"
        return _VIDEO_CODECS[self.codec][2] + [
            "-video_size", f"{self.width}x{self.height}",
            "-framerate", rate,
            "-i", str(self.path),
        ]


def make_video(path: Path, codec: str, width: int, height: int, frame_rate: Fraction,
               frame_count: int) -> VideoSource:
    if codec not in _VIDEO_CODECS:
        raise ValueError(f"the recorder cannot make '{codec}' frames (only {list(_VIDEO_CODECS)})")
    encoder, pixel_format, _ = _VIDEO_CODECS[codec]
    rate = f"{frame_rate.numerator}/{frame_rate.denominator}"
    run(["ffmpeg", "-v", "error", "-y",
         "-f", "lavfi", "-i", f"testsrc2=size={width}x{height}:rate={rate}",
         "-frames:v", str(frame_count), "-pix_fmt", pixel_format, "-c:v", encoder,
         "-f", "rawvideo", str(path)])
    total = path.stat().st_size
    if frame_count == 0 or total % frame_count != 0:
        raise RuntimeError(f"ffmpeg wrote {total} bytes, not {frame_count} whole frames")
    return VideoSource(path, codec, width, height, frame_rate, frame_count, total // frame_count)


def pcm_format(asbd: dict) -> str:
    """The ffmpeg sample format (also its raw muxer and codec suffix) of a packed PCM track."""
    if asbd["formatID"] != "lpcm":
        raise ValueError(f"the recorder writes only 'lpcm' audio, not {asbd['formatID']!r}")
    flags = asbd["formatFlags"]
    bits = asbd["bitsPerChannel"]
    if asbd["bytesPerFrame"] != asbd["channelsPerFrame"] * bits // 8:
        raise ValueError(f"audio {asbd} is not packed")
    if flags & _FLAG_IS_FLOAT:
        kind = "f"
    elif flags & _FLAG_IS_SIGNED_INTEGER or bits > 8:
        kind = "s"
    else:
        kind = "u"
    if bits == 8:
        return f"{kind}8"
    return f"{kind}{bits}{'be' if flags & _FLAG_IS_BIG_ENDIAN else 'le'}"


def make_audio(path: Path, asbd: dict, base_frequency: float, sample_count: int) -> bytes:
    """`sample_count` sample frames of one track, a sine per channel, written to `path`."""
    channels = asbd["channelsPerFrame"]
    form = pcm_format(asbd)
    rate = asbd["sampleRate"]
    # aevalsrc computes in double precision, so 24-bit samples use all three bytes.
    exprs = "|".join(
        f"0.5*sin(2*PI*{base_frequency * (1 + channel / 4):g}*t)" for channel in range(channels)
    )
    run(["ffmpeg", "-v", "error", "-y",
         "-f", "lavfi", "-i", f"aevalsrc=exprs={exprs}:sample_rate={rate:g}",
         "-af", f"atrim=end_sample={sample_count}",
         "-c:a", f"pcm_{form}", "-f", form, str(path)])
    data = path.read_bytes()
    if len(data) != sample_count * asbd["bytesPerFrame"]:
        raise RuntimeError(
            f"ffmpeg wrote {len(data)} bytes of audio, not {sample_count} sample frames")
    return data
