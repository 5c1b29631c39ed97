"""The write map `premoov plan` prints, and the per-sample and per-run views the reader checks use.

Each reference is `count` samples of size/count bytes back to back from `offset`, each lasting
`duration` in its media's time scale.
"""

from dataclasses import dataclass


@dataclass(frozen=True)
class Sample:
    offset: int
    size: int
    dts: int  # decode time, media time scale, from 0
    duration: int
    display_offset: int  # composition minus decode time
    flags: int

    @property
    def sync(self):
        """A sync sample: the 'not sync' bit (0x1) is clear."""
        return not self.flags & 0x1

    @property
    def keyframe(self):
        """What FFmpeg marks K: sync samples and partial-sync samples (flag 0x10000)."""
        return self.sync or bool(self.flags & 0x10000)


@dataclass
class Run:
    """Back-to-back samples of one size, duration, display offset and sync state."""

    offset: int
    size: int
    count: int
    dts: int
    duration: int
    display_offset: int
    sync: bool

    def end(self):
        return self.offset + self.size * self.count

    def key(self):
        return (self.offset, self.size, self.count, self.dts, self.duration,
                self.display_offset, self.sync)


class RunList:
    """Runs built sample group by sample group, merged wherever nothing changes."""

    def __init__(self):
        self.runs = []

    def add(self, offset, size, count, dts, duration, display_offset, sync):
        if count == 0:
            return
        if self.runs:
            last = self.runs[-1]
            if (last.end() == offset and last.size == size and last.duration == duration
                    and last.display_offset == display_offset and last.sync == sync
                    and last.dts + last.duration * last.count == dts):
                last.count += count
                return
        self.runs.append(Run(offset, size, count, dts, duration, display_offset, sync))


class MoviePlan:
    def __init__(self, document):
        self.header_room = document["headerRoom"]
        self.mdat_start = document["mdatStart"]
        self.frame_size = document["frameSize"]
        self.end = document["end"]
        self.file_size = document["fileSize"]
        self.references = {}
        for reference in document["references"]:
            self.references.setdefault(reference["track"], []).append(reference)
        for track, references in self.references.items():
            for r in references:
                if r["count"] <= 0 or r["size"] % r["count"] != 0:
                    raise ValueError(f"{track}: reference {r} does not split into equal samples")

    def track_names(self):
        return list(self.references)

    def sample_count(self, track):
        return sum(r["count"] for r in self.references.get(track, []))

    def media_duration(self, track):
        return sum(r["count"] * r["duration"] for r in self.references.get(track, []))

    def samples(self, track):
        """Every planned sample of a track, in decode order."""
        dts = 0
        for r in self.references.get(track, []):
            size = r["size"] // r["count"]
            for i in range(r["count"]):
                yield Sample(r["offset"] + i * size, size, dts, r["duration"],
                             r.get("displayOffset", 0), r["flags"])
                dts += r["duration"]

    def runs(self, track):
        """The planned samples as maximal runs; never expands a reference sample by sample."""
        runs = RunList()
        dts = 0
        for r in self.references.get(track, []):
            sync = not r["flags"] & 0x1
            runs.add(r["offset"], r["size"] // r["count"], r["count"], dts, r["duration"],
                     r.get("displayOffset", 0), sync)
            dts += r["count"] * r["duration"]
        return runs.runs

    def byte_ranges(self, track):
        """[start, end) byte ranges of a track, back-to-back references merged."""
        ranges = []
        for r in self.references.get(track, []):
            if ranges and ranges[-1][1] == r["offset"]:
                ranges[-1][1] = r["offset"] + r["size"]
            else:
                ranges.append([r["offset"], r["offset"] + r["size"]])
        return [tuple(x) for x in ranges]
