#!/usr/bin/env python3
"""MediaInfo's view of the extended movie: formats, raster, scan type and field order, colour,
pixel aspect, PCM layout, timecode reel and drop-frame flag, the caption track, durations within
one frame of the plan and frame counts equal to the plan.
"""

import json

import reader_check
from reader_check import run

# Which planned track each MediaInfo stream kind stands for; audio is numbered in order.
kKindTrack = {"Video": "video", "Text": "captions", "Other": "timecode"}


def body(args, expected, movie, check):
    mediainfo = args.tool or "mediainfo"
    document = json.loads(run([mediainfo, "--Full", "--Output=JSON", movie.movie]))
    tracks = document["media"]["track"]
    wanted = expected["mediainfo"]
    check.equal("track kinds", [t["@type"] for t in tracks], [w["@type"] for w in wanted])

    plan = movie.plan
    frame = expected["ffprobe"][0]  # the video stream: its time base and frame duration
    timescale = int(frame["time_base"].split("/")[1])
    frame_seconds = plan.media_duration("video") / plan.sample_count("video") / timescale
    video_seconds = plan.media_duration("video") / timescale
    audio_rates = [int(s["sample_rate"]) for s in expected["ffprobe"] if s["codec_type"] == "audio"]

    audio = 0
    for index, (track, fields) in enumerate(zip(tracks, wanted)):
        kind = track["@type"]
        for key, value in fields.items():
            check.equal(f"{kind} #{index} {key}", track.get(key), value)
        if kind == "General":
            check.equal("General FrameCount vs the plan", track.get("FrameCount"),
                        str(plan.sample_count("video")))
            seconds = video_seconds
        elif kind == "Audio":
            audio += 1
            name = f"audio{audio}"
            seconds = plan.media_duration(name) / audio_rates[audio - 1]
        else:
            name = kKindTrack[kind]
            # A single timecode sample may stand for the whole movie: its duration is the test.
            if kind in ("Video", "Text"):
                check.equal(f"{kind} FrameCount vs the plan", track.get("FrameCount"),
                            str(plan.sample_count(name)))
            seconds = plan.media_duration(name) / timescale
        duration = track.get("Duration")
        if check.true(f"{kind} #{index} has a duration", duration is not None):
            check.true(f"{kind} #{index} duration within one frame of the plan",
                       abs(float(duration) - seconds) <= frame_seconds,
                       f"MediaInfo {duration} s, planned {seconds:.6f} s")


if __name__ == "__main__":
    reader_check.main(__doc__, body)
