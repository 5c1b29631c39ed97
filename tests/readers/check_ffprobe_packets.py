#!/usr/bin/env python3
"""ffprobe lists the packets of the written movie straight from its sample tables: every video,
timecode and caption sample must be the planned one (file position, size, order, count, duration,
keyframe mark, display offset), and the PCM pieces of each audio track must tile exactly the
planned audio bytes.
"""

import reader_check
from reader_check import run

# FFmpeg hands PCM out in pieces of at most this many frames.
kMaxPcmPieceFrames = 1024


def read_packets(ffprobe, path):
    out = run([ffprobe, "-v", "error", "-show_entries",
               "packet=stream_index,pts,dts,duration,size,pos,flags", "-of", "csv=p=0:nk=0", path],
              allow_failure=True)
    packets = []
    for line in out.splitlines():
        if not line.strip():
            continue
        fields = dict(item.split("=", 1) for item in line.split(","))
        packets.append({
            "stream": int(fields["stream_index"]),
            "pts": None if fields["pts"] == "N/A" else int(fields["pts"]),
            "dts": None if fields["dts"] == "N/A" else int(fields["dts"]),
            "duration": None if fields["duration"] == "N/A" else int(fields["duration"]),
            "size": int(fields["size"]),
            "pos": int(fields["pos"]),
            "key": fields["flags"].startswith("K"),
        })
    return packets


def cut_at_window(packets, window):
    """With a window, the last packet read may be cut short at the window's end: it is set apart,
    and only the whole packets before it are compared with the plan."""
    if window is None or not packets:
        return packets, None
    last = packets[-1]
    if last["pos"] + last["size"] == window:
        return packets[:-1], last
    return packets, None


def check_samples(check, track, planned, packets, window, stop):
    """Video, timecode, captions: packet for packet."""
    if window is None:
        check.equal(f"{track}: packet count", len(packets), len(planned))
    else:
        # Everything planned before the point where the reader stopped must have been listed.
        reachable = sum(1 for s in planned if s.offset + s.size <= stop)
        check.true(f"{track}: packets listed before the window's end", len(packets) >= reachable,
                   f"{len(packets)} listed, {reachable} planned before byte {stop}")
        check.true(f"{track}: some packets listed", len(packets) > 0)
        check.true(f"{track}: no more packets than planned", len(packets) <= len(planned))
    mismatches = 0
    shift = None  # FFmpeg moves decode times back when display offsets go negative
    for i, (p, s) in enumerate(zip(packets, planned)):
        problems = []
        if (p["pos"], p["size"]) != (s.offset, s.size):
            problems.append(f"pos/size {p['pos']}/{p['size']}, planned {s.offset}/{s.size}")
        if p["duration"] != s.duration:
            problems.append(f"duration {p['duration']}, planned {s.duration}")
        if p["key"] != s.keyframe:
            problems.append(f"keyframe {p['key']}, planned flags {s.flags:#x}")
        if p["pts"] is None or p["dts"] is None:
            problems.append("no pts/dts")
        else:
            if shift is None:
                shift = p["dts"] - s.dts
            if p["dts"] - shift != s.dts:
                problems.append(f"dts {p['dts']} (shift {shift}), planned {s.dts}")
            if p["pts"] - p["dts"] + shift != s.display_offset:
                problems.append(f"pts-dts {p['pts'] - p['dts']}, planned display offset "
                                f"{s.display_offset} (decode shift {shift})")
        if problems:
            mismatches += 1
            if mismatches <= 10:
                check.fail(f"{track}: packet {i}: " + "; ".join(problems))
    check.equal(f"{track}: packets that differ from the plan", mismatches, 0)
    if shift is not None:
        lowest = min(s.display_offset for s in planned)
        check.equal(f"{track}: decode time shift", shift, min(0, lowest))


def check_pieces(check, track, ranges, packets, bytes_per_frame, window, stop):
    """PCM audio: pieces of at most 1024 frames, back to back, covering the planned ranges."""
    mismatches = 0
    index = 0  # the planned range the next piece belongs in
    cursor = ranges[0][0] if ranges else None
    pts = None
    for i, p in enumerate(packets):
        problem = None
        while index < len(ranges) and cursor == ranges[index][1]:
            index += 1
            cursor = ranges[index][0] if index < len(ranges) else None
        if index >= len(ranges):
            problem = f"piece at {p['pos']} past the planned audio"
        elif p["pos"] != cursor:
            problem = f"piece at {p['pos']}, the planned audio continues at {cursor}"
        elif p["pos"] + p["size"] > ranges[index][1]:
            problem = (f"piece {p['pos']}+{p['size']} crosses the planned range end "
                       f"{ranges[index][1]}")
        elif p["size"] % bytes_per_frame != 0 or p["size"] // bytes_per_frame > kMaxPcmPieceFrames:
            problem = f"piece of {p['size']} bytes is not 1 to 1024 whole frames"
        elif p["pts"] != (0 if pts is None else pts):
            problem = f"piece pts {p['pts']}, the audio before it ends at {pts or 0}"
        if problem:
            mismatches += 1
            if mismatches <= 10:
                check.fail(f"{track}: piece {i}: {problem}")
            break
        cursor = p["pos"] + p["size"]
        pts = p["pts"] + p["size"] // bytes_per_frame
    check.equal(f"{track}: pieces that break the tiling", mismatches, 0)
    if mismatches:
        return
    covered = sum(p["size"] for p in packets)
    if window is None:
        planned = sum(end - start for start, end in ranges)
        check.equal(f"{track}: bytes covered by pieces", covered, planned)
    else:
        reachable = sum(min(end, stop) - start for start, end in ranges if start < stop)
        check.true(f"{track}: pieces cover the planned audio before the window's end",
                   covered >= reachable,
                   f"{covered} bytes listed, {reachable} planned before {stop}")
        check.true(f"{track}: some pieces listed", covered > 0)


def body(args, expected, movie, check):
    ffprobe = args.tool or "ffprobe"
    window = expected.get("packetWindow")
    path = movie.movie if window is None else movie.window(window)
    streams = reader_check.ffprobe_streams(ffprobe, path)
    names = reader_check.stream_track_names(streams)
    check.equal("track order (ffprobe streams)", names, expected["tracks"])
    # A track may be planned without samples (a frame rate that lays out no video): it is still
    # listed as a stream, with no packets.
    empty = expected.get("tracksWithoutSamples", [])
    check.equal("planned tracks", sorted(movie.plan.track_names()),
                sorted(t for t in expected["tracks"] if t not in empty))

    packets, cut = cut_at_window(read_packets(ffprobe, path), window)
    stop = window
    if window is not None:
        if cut is not None:
            stop = cut["pos"]
        check.true("the window cuts the movie", window < movie.plan.end)
    by_stream = {}
    for p in packets:
        by_stream.setdefault(p["stream"], []).append(p)
    check.equal("streams with packets", sorted(by_stream),
                [i for i, name in enumerate(names) if name not in empty])

    audio_bytes = expected["audioBytesPerFrame"]
    for index, track in enumerate(names):
        listed = by_stream.get(index, [])
        if track.startswith("audio"):
            number = int(track[len("audio"):])
            check_pieces(check, track, movie.plan.byte_ranges(track), listed,
                         audio_bytes[number - 1], window, stop)
        elif track in ("video", "timecode", "captions"):
            check_samples(check, track, list(movie.plan.samples(track)), listed, window, stop)


if __name__ == "__main__":
    reader_check.main(__doc__, body)
