#!/usr/bin/env python3
"""Peak resident memory and time of `premoov write` and `premoov plan` for the most demanding
requests we know: the longest recordings, the highest frame rates, the most tracks and long-GOP
video at its highest rates, refused or not. Each must stay under 3 x its header room + 32 MiB.

    bench/worst_requests.py PREMOOV [--only NAME]

PREMOOV is a release build of the tool (build/release/tools/premoov/premoov). Prints one line
per request and command: result, header room, peak memory, the bound, wall time.
"""
import argparse
import json
import os
import subprocess
import sys
import tempfile

MIB = 1024 * 1024


def asbd(rate, bytes_per_packet=3):
    return {"sampleRate": rate, "formatID": "lpcm", "formatFlags": 14,
            "bytesPerPacket": bytes_per_packet, "framesPerPacket": 1,
            "bytesPerFrame": bytes_per_packet, "channelsPerFrame": 1,
            "bitsPerChannel": 8 * bytes_per_packet}


def request(codec, frame_duration, seconds, audio_tracks=8, long_gop=False, frame_size=0,
            captions=True, global_timecode=False, audio_rate=48000, frames=None):
    value, timescale = frame_duration
    if frames is None:
        frames = int(seconds * timescale // value)
    return {
        "path": "/tmp/premoov-worst.mov", "newFile": True, "blockSize": 4096,
        "duration": {"value": frames * value, "timescale": timescale},
        "settings": {
            "videoCodec": codec, "videoDimensions": [1920, 1080],
            "videoFrameDuration": {"value": value, "timescale": timescale},
            "maxVideoFrameSize": frame_size, "isLongGOP": long_gop,
            "numberOfFields": 1, "horizontalSpacing": 1, "verticalSpacing": 1,
            "numberOfAudioTracks": audio_tracks,
            "asbds": [asbd(audio_rate) for _ in range(audio_tracks)],
            "layouts": [{"tag": 6553601} for _ in range(audio_tracks)],
            "addClosedCaptionTrack": captions, "globalTimecode": global_timecode,
        },
    }


HOUR = 3600
CASES = {
    # The longest: ProRes 422 HQ 1080i29.97 with 8 tracks, far past what the room holds.
    "prores-2997-1000h": request("apch", (1001, 30000), 1000 * HOUR),
    "prores-2997-9h": request("apch", (1001, 30000), 9 * HOUR),
    # The most chunks a second that a chunk table gives: 1080p59.94 frames of 5.5 MB (one chunk
    # per 2 frames) with 16 tracks, for a day.
    "v210-5994-16ch-24h": request("v210", (1001, 60000), 24 * HOUR, audio_tracks=16,
                                  frame_size=5_529_600),
    # The highest rates: a million frames a second (no video table, but every group's audio,
    # timecode and caption runs), and a billion.
    "1M-fps-16ch": request("apch", (1, 1_000_000), 1000 * HOUR, audio_tracks=16,
                           frame_size=1000),
    "1G-fps-16ch": request("apch", (1, 1_000_000_000), 10 * HOUR, audio_tracks=16,
                           frame_size=1000),
    # Groups that reference nothing, 2^31 of them.
    "empty-groups-2^31": request("apch", (1, 1), 0, audio_tracks=16, captions=False,
                                 global_timecode=True, audio_rate=1, frames=2**31),
    # Groups of a timecode and a caption run only, one a second for 2^31 - 1 seconds: each adds
    # to the header, so the layout goes on until the room is full.
    "captions-1fps-2^31": request("2vuy", (1, 1), 0, audio_tracks=16, audio_rate=1,
                                  frames=2**31 - 1),
    # Long-GOP at its highest rate with video (59.94, a 24 MiB room), for a day.
    "longgop-5994-24h": request("xd5c", (1001, 60000), 24 * HOUR, long_gop=True,
                                frame_size=1_000_000),
    "longgop-2997-5h": request("xd5c", (1001, 30000), 5 * HOUR, long_gop=True,
                               frame_size=1_000_000),
    # Long-GOP at 409 frames a second: the largest room before the product wraps (171 MiB),
    # 16 tracks, a year.
    "longgop-409fps-16ch": request("xd5c", (1000, 409000), 8760 * HOUR, long_gop=True,
                                   audio_tracks=16, frame_size=1_000_000),
}


def header_room(req):
    s = req["settings"]
    if not s["isLongGOP"]:
        return 4 * MIB
    value = s["videoFrameDuration"]["value"]
    timescale = s["videoFrameDuration"]["timescale"]
    fps = -(-timescale // value)
    return ((fps * 10_485_760) % 2**32) // 25


def measure(premoov, command, path):
    argv = ["/usr/bin/time", "-f", "%M %e", premoov, command, path]
    if command == "write":
        argv += ["--header", os.devnull]
    result = subprocess.run(argv, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    peak_kb, seconds = result.stderr.strip().splitlines()[-1].split()
    if command == "write":
        answer = result.stdout.strip()
    else:
        answer = result.stdout[:200].split('"references"')[0]
    return result.returncode, int(peak_kb) * 1024, float(seconds), answer


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("premoov")
    parser.add_argument("--only")
    args = parser.parse_args()
    failures = 0
    print(f"{'request':24} {'cmd':5} {'exit':>4} {'room MiB':>9} {'peak MiB':>9} "
          f"{'bound MiB':>9} {'s':>6}  answer")
    with tempfile.TemporaryDirectory() as work:
        for name, req in CASES.items():
            if args.only and name != args.only:
                continue
            path = os.path.join(work, name + ".json")
            with open(path, "w") as f:
                json.dump(req, f)
            room = header_room(req)
            bound = 3 * room + 32 * MIB
            for command in ("write", "plan"):
                code, peak, seconds, answer = measure(args.premoov, command, path)
                ok = peak < bound and code in (0, 2)
                failures += not ok
                print(f"{name:24} {command:5} {code:4} {room / MIB:9.1f} {peak / MIB:9.1f} "
                      f"{bound / MIB:9.1f} {seconds:6.2f}  {answer[:90]}"
                      + ("" if ok else "   <-- over the bound or crashed"))
                sys.stdout.flush()
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
