#!/usr/bin/env python3
"""ffprobe's view of each stream (codec tag, raster, field order, colour, pixel aspect, channel
layout, frame counts, timecode reel and drop-frame mark), on the header alone and on the movie
extended to its full size.
"""

import reader_check


def field(stream, key):
    if key.startswith("tags."):
        return stream.get("tags", {}).get(key[len("tags."):])
    return stream.get(key)


def check_streams(check, label, streams, expected, skipped, plan):
    names = reader_check.stream_track_names(streams)
    check.equal(f"{label}: track order", names, expected["tracks"])
    check.equal(f"{label}: stream count", len(streams), len(expected["ffprobe"]))
    for index, (stream, wanted) in enumerate(zip(streams, expected["ffprobe"])):
        track = names[index]
        for key, value in wanted.items():
            if key in skipped.get(track, []):
                continue
            actual = field(stream, key)
            # ffprobe prints some numbers as strings and others as numbers; the text compares.
            check.equal(f"{label}: stream {index} ({track}) {key}",
                        None if actual is None else str(actual),
                        None if value is None else str(value))
        check.equal(f"{label}: stream {index} ({track}) nb_frames vs the plan",
                    str(stream.get("nb_frames")), str(plan.sample_count(track)))
        if "tags.timecode" in wanted:
            drop = wanted["tags.timecode"].count(";") == 1
            timecode = field(stream, "tags.timecode") or ""
            check.equal(f"{label}: stream {index} ({track}) drop-frame mark ';'",
                        ";" in timecode, drop)


def body(args, expected, movie, check):
    ffprobe = args.tool or "ffprobe"
    check_streams(check, "header alone", reader_check.ffprobe_streams(ffprobe, movie.header),
                  expected, {}, movie.plan)
    check_streams(check, "extended movie", reader_check.ffprobe_streams(ffprobe, movie.movie),
                  expected, expected.get("ffprobeMediaDecides", {}), movie.plan)


if __name__ == "__main__":
    reader_check.main(__doc__, body)
