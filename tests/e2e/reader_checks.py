"""What real readers (ffmpeg, ffprobe, MediaInfo) make of a recorded file."""

import hashlib
import json
from dataclasses import dataclass
from pathlib import Path

from source_media import run


@dataclass
class Stream:
    index: int
    codec_type: str
    codec_tag: str
    tags: dict


@dataclass
class Packet:
    pos: int
    size: int
    md5: str


def probe_streams(path: Path) -> list[Stream]:
    out = run(["ffprobe", "-v", "error", "-of", "json",
               "-show_entries", "stream=index,codec_type,codec_tag_string:stream_tags",
               str(path)])
    return [
        Stream(s["index"], s.get("codec_type", ""), s.get("codec_tag_string", ""),
               s.get("tags", {}))
        for s in json.loads(out)["streams"]
    ]


def probe_packets(path: Path) -> dict[int, list[Packet]]:
    """Every packet ffprobe reads, by stream index, with its file offset, size and MD5."""
    out = run(["ffprobe", "-v", "error", "-show_data_hash", "MD5", "-of", "json",
               "-show_entries", "packet=stream_index,pos,size,data_hash", str(path)])
    packets: dict[int, list[Packet]] = {}
    for p in json.loads(out)["packets"]:
        md5_text = p["data_hash"].split(":", 1)[1].lower()
        packet = Packet(int(p["pos"]), int(p["size"]), md5_text)
        packets.setdefault(p["stream_index"], []).append(packet)
    return packets


def frame_hashes(input_args: list[str], stream_map: list[str]) -> list[tuple[int, str]]:
    """(size, MD5) of every decoded frame, from ffmpeg's framemd5 muxer."""
    out = run(["ffmpeg", "-v", "error", *input_args, *stream_map, "-f", "framemd5", "-"])
    hashes = []
    for line in out.decode().splitlines():
        if line.startswith("#") or not line.strip():
            continue
        fields = [field.strip() for field in line.split(",")]
        hashes.append((int(fields[4]), fields[5]))
    return hashes


def decoded_audio(path: Path, audio_index: int, pcm_format: str) -> bytes:
    """One audio stream decoded and written back as raw PCM in the given format."""
    return run(["ffmpeg", "-v", "error", "-i", str(path), "-map", f"0:a:{audio_index}",
                "-c:a", f"pcm_{pcm_format}", "-f", pcm_format, "-"])


def mediainfo(path: Path, kind: str, fields: list[str]) -> list[list[str]]:
    """MediaInfo's values of `fields`, one list a stream of that kind ('Video', 'Other'...)."""
    template = "|".join(f"%{field}%" for field in fields)
    out = run(["mediainfo", f"--Inform={kind};{template}\\n", str(path)])
    return [line.split("|") for line in out.decode().splitlines() if line]


def md5(data: bytes) -> str:
    return hashlib.md5(data).hexdigest()
