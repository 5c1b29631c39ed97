#!/usr/bin/env python3
"""mp4box.js reads the header alone (the media data payload is never handed to it) and lists
every sample of every track: offset, size, decode time, composition time and sync state must be
exactly the planned ones, compared as maximal runs of back-to-back alike samples.
"""

import json
import os

import reader_check
from reader_check import run


def body(args, expected, movie, check):
    node = args.tool or "node"
    script = os.path.join(os.path.dirname(os.path.abspath(__file__)), "mp4box_samples.js")
    listing = json.loads(run([node, script, movie.movie]))
    plan = movie.plan

    check.equal("mp4box.js errors", listing["errors"], [])
    ranges = listing["ranges"]
    check.equal("top-level atoms read", [r["type"] for r in ranges], ["moov", "free", "mdat"])
    mdat = ranges[-1]
    check.equal("media data atom start", mdat["start"], plan.mdat_start)
    check.equal("media data atom end", mdat["start"] + mdat["size"], plan.end)

    tracks = listing["tracks"]
    check.equal("track count", len(tracks), len(expected["tracks"]))
    for track, name, (handler, entry, timescale) in zip(tracks, expected["tracks"],
                                                         expected["mp4box"]):
        label = f"track {track['id']} ({name})"
        check.equal(f"{label} handler", track["handler"], handler)
        check.equal(f"{label} sample entries", track["sampleEntries"], [entry])
        check.equal(f"{label} media time scale", track["timescale"], timescale)
        check.equal(f"{label} sample count", track["sampleCount"], plan.sample_count(name))
        check.equal(f"{label} media duration", track["mediaDuration"], plan.media_duration(name))

        planned = [r.key() for r in plan.runs(name)]
        listed = [(r["offset"], r["size"], r["count"], r["dts"], r["duration"], r["ctsOffset"],
                   r["sync"]) for r in track["runs"]]
        check.equal(f"{label} run count", len(listed), len(planned))
        differing = [i for i, (a, b) in enumerate(zip(listed, planned)) if a != b]
        for i in differing[:5]:
            check.fail(f"{label} run {i}: mp4box.js (offset, size, count, dts, duration, "
                       f"cts-dts, sync) {listed[i]}, planned {planned[i]}")
        check.equal(f"{label} runs that differ from the plan", len(differing), 0)
        check.equal(f"{label} samples in runs", sum(r[2] for r in listed),
                    plan.sample_count(name))
        print(f"{label}: {track['sampleCount']} samples in {len(listed)} runs, listed from "
              f"{track['listedFrom']}")


if __name__ == "__main__":
    reader_check.main(__doc__, body)
