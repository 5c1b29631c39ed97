#!/usr/bin/python3
"""premoov's caption scanning of vertical ancillary rows, on rows written by an independent
writer (GStreamer's ancillary encoder) and read back by an independent parser (GStreamer's):

- caption distribution packets made by `premoov captions scc` go into the rows, one a frame, as
  SMPTE 334 packets (DID 0x61, SDID 0x01), in 'v210' and 'UYVY' ('2vuy');
- `premoov captions vanc --json` must give, frame by frame, exactly the packets GStreamer wrote:
  row, sample stream, position, DID, SDID, data count, user data, parity and checksum right;
- `premoov captions vanc --recorder --json` must give the recorder's "c708" sample where its
  row-start, luma-only reading can find the packet, and say honestly what it gives where not;
- GStreamer's parser must read back what its encoder wrote, so the writer is checked too;
- rows we lay out ourselves put packets where GStreamer's encoder never does (the chroma
  stream, the row's end, a bad checksum or parity bit).

    check_vanc_oracles.py --premoov PATH [--work-dir DIR] [--quick]
"""

import argparse
import json
import os
import shutil
import subprocess
import sys
import tempfile
from dataclasses import dataclass, field
from pathlib import Path

import gstreamer_vbi as gv
import vanc_rows as vr

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "line21"))
from check_pairs import Checker  # noqa: E402

SCC = HERE.parent / "data" / "pop_on.scc"
FRAME_DURATION = "1001/30000"
PREMOOV_FORMAT = {"v210": "v210", "UYVY": "2vuy"}
CAPTION = (0x61, 0x01)
# Bar data (SMPTE 2016, 8 words) and an ATC timecode (SMPTE 12-2, 16 words).
BAR_DATA = (0x41, 0x05, bytes(range(1, 9)))
TIMECODE = (0x60, 0x60, bytes.fromhex("0010201030104010f0f0f0f0f0f0f0f0"))
# 14 user data words: a packet whose mixed-unit skip lands on the next packet's flag (below).
FOURTEEN_WORDS = (0x41, 0x05, bytes(range(0x20, 0x2E)))
SANITIZER_REPORT = "Sanitizer"


@dataclass
class Case:
    name: str
    width: int
    rows_per_frame: int = 1
    caption_row: int = 0
    before: list = field(default_factory=list)
    # Frames n with n % skip_every == skip_every - 1 carry no caption (0: every frame does).
    skip_every: int = 0
    # What the recorder's reading gives in 'v210' and in '2vuy': "cdp", "null" or
    # "luma from word 4" (see check_recorder).
    recorder: dict = field(default_factory=lambda: {"v210": "cdp", "UYVY": "cdp"})


def cases(quick):
    hd = [
        Case("row start", 1920),
        Case("row 2 of 4, some frames empty", 1920, rows_per_frame=4, caption_row=2,
             skip_every=4),
        # The recorder skips a packet by its data count: right in 2vuy (bytes), but in v210 it
        # adds a sample count to a 32-bit word index, deliberately, and lands inside the bar
        # data packet, which is no flag, so the row is given up and there is no sample.
        Case("behind bar data and a timecode", 1920, rows_per_frame=3, caption_row=1,
             before=[BAR_DATA, TIMECODE], recorder={"v210": "null", "UYVY": "cdp"}),
        # With 14 words the v210 skip lands on word 14, which holds luma sample 21, exactly
        # where the caption packet's flag starts (7 + 14): the recorder takes the packet and,
        # deliberately, reads its payload from word 4 of the row, which is not the cdp.
        Case("behind 14 words", 1920, before=[FOURTEEN_WORDS],
             recorder={"v210": "luma from word 4", "UYVY": "cdp"}),
        # Below 1280 pixels GStreamer interleaves the packet over all samples (the SD layout);
        # the recorder reads luma only, so it finds no flag and gives nothing.
        Case("SD layout", 720, rows_per_frame=2, caption_row=1,
             recorder={"v210": "null", "UYVY": "null"}),
    ]
    if quick:
        return hd
    return hd + [
        Case("behind a timecode", 1920, before=[TIMECODE], recorder={"v210": "null",
                                                                     "UYVY": "cdp"}),
        Case("1280 wide", 1280, rows_per_frame=2, caption_row=1),
        Case("3840 wide", 3840, rows_per_frame=2, caption_row=0, skip_every=3),
        Case("SD layout behind bar data", 720, before=[BAR_DATA],
             recorder={"v210": "null", "UYVY": "null"}),
    ]


def run(command):
    done = subprocess.run([str(c) for c in command], stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, check=False)
    return done.returncode, done.stdout.decode(errors="replace"), \
        done.stderr.decode(errors="replace")


def make_cdps(premoov, folder, frames):
    """One caption distribution packet a frame, cut out of the "c708" samples premoov writes:
    each a 'ccdp' atom, then the cdp, whose third byte is its length."""
    samples = folder / "samples.c708"
    code, out, err = run([premoov, "captions", "scc", SCC, "--frame-duration", FRAME_DURATION,
                          "--out", samples, "--frames", frames])
    if code != 0:
        raise RuntimeError(f"premoov captions scc exited with {code}: {out}{err}")
    data = samples.read_bytes()
    cdps = []
    offset = 0
    while offset + 10 < len(data):
        if data[offset:offset + 3] != b"\0\0\0" or data[offset + 4:offset + 8] != b"ccdp":
            raise RuntimeError(f"no 'ccdp' atom at byte {offset} of {samples}")
        length = data[offset + 10]
        cdps.append(data[offset + 8:offset + 8 + length])
        offset += 8 + length
    if offset != len(data) or len(cdps) != frames:
        raise RuntimeError(f"{samples}: {len(cdps)} packets, {len(data) - offset} bytes left")
    return cdps


def write_rows(folder, fmt, case, cdps):
    listing = folder / "cdps.txt"
    frame_cdps = [b"" if case.skip_every and n % case.skip_every == case.skip_every - 1 else cdp
                  for n, cdp in enumerate(cdps)]
    listing.write_text("".join(cdp.hex() + "\n" for cdp in frame_cdps))
    rows = folder / f"{fmt}-{case.width}.raw"
    command = ["/usr/bin/python3", "-B", HERE / "write_with_gstreamer.py", "--format", fmt,
               "--width", case.width, "--rows-per-frame", case.rows_per_frame, "--caption-row",
               case.caption_row, "--cdps", listing, "--out", rows]
    for did, sdid, data in case.before:
        command += ["--before", f"{did:02X}:{sdid:02X}:{data.hex()}"]
    code, out, err = run(command)
    if code != 0:
        raise RuntimeError(f"write_with_gstreamer.py exited with {code}: {out}{err}")
    return rows, frame_cdps, json.loads(out)


def premoov_vanc(checker, premoov, rows, fmt, width, rows_per_frame, recorder=False):
    """Exit status, one result a frame, and standard error. Under the sanitizer build a read
    past the buffer would be reported on standard error: there must be no such report."""
    command = [premoov, "captions", "vanc", rows, "--format", PREMOOV_FORMAT[fmt],
               "--bytes-per-row", vr.bytes_per_row(fmt, width), "--rows-per-frame",
               rows_per_frame, "--json"] + (["--recorder"] if recorder else [])
    code, out, err = run(command)
    checker.equal(f"{rows.name} {fmt} {'recorder' if recorder else 'scanner'}: sanitizer report",
                  [line for line in err.splitlines() if SANITIZER_REPORT in line
                   or "runtime error:" in line], [])
    text = out.strip()
    if text.startswith("["):
        frames = json.loads(text)
    else:
        frames = [json.loads(line) for line in text.splitlines() if line.strip()]
    return code, frames, err


def expected_packets(fmt, note, frame, payloads):
    """What our scanner must report for one frame, from where the writer found each packet."""
    packets = []
    for entry in note["packets"]:
        if entry["frame"] != frame:
            continue
        key = (entry["did"], entry["sdid"])
        packets.append({
            "row": entry["row"], "stream": entry["stream"], "position": entry["position"],
            "did": entry["did"], "sdid": entry["sdid"], "dataCount": entry["dataCount"],
            "parityOk": True if fmt == "v210" else None, "checksumOk": True, "cutShort": False,
            "caption": key == CAPTION, "userData": payloads[frame][key].hex().upper()})
        if key == CAPTION:
            # Whole cdps made by premoov captions scc: they read back as valid.
            packets[-1]["cdpOk"] = True
    return packets


def ordered(packets, like=None):
    """Packets in row, stream, position order; with `like`, each cut down to the keys of the
    expected packet at its place (what the caption packets' pairs read as is not checked here)."""
    packets = sorted(packets, key=lambda p: (p.get("row"), str(p.get("stream")),
                                             p.get("position")))
    if like is not None:
        keys = [set(p) for p in ordered(like)]
        packets = [{k: v for k, v in p.items() if i >= len(keys) or k in keys[i]}
                   for i, p in enumerate(packets)]
    return packets


def check_layout(checker, label, fmt, case, note, frame_cdps):
    """GStreamer's layout, measured in the rows it wrote: packets back to back from the row
    start, in the luma samples from 1280 pixels up and over all samples below."""
    stream = "luma" if case.width >= 1280 else "interleaved"
    expected = []
    for frame, cdp in enumerate(frame_cdps):
        position = 0
        for did, sdid, data in case.before + ([(*CAPTION, cdp)] if cdp else []):
            expected.append({"frame": frame, "row": case.caption_row, "stream": stream,
                             "position": position, "did": did, "sdid": sdid,
                             "dataCount": len(data)})
            position += 7 + len(data)
    checker.equal(f"{label}: GStreamer's layout", note["packets"], expected)
    checker.equal(f"{label}: bytes per row", note["bytesPerRow"], vr.bytes_per_row(fmt, case.width))


def check_gstreamer_parser(checker, label, rows, fmt, case, payloads):
    """GStreamer's own parser reads back every packet its encoder wrote, and nothing else."""
    size = vr.bytes_per_row(fmt, case.width)
    data = rows.read_bytes()
    with gv.Parser(fmt, case.width) as parser:
        for frame, frame_payloads in enumerate(payloads):
            found = []
            for index in range(case.rows_per_frame):
                start = (frame * case.rows_per_frame + index) * size
                packets, error = parser.packets(data[start:start + size])
                found += [(index, did, sdid, bytes(user)) for did, sdid, user in packets]
                checker.equal(f"{label} frame {frame} row {index}: GStreamer parser error",
                              error, False)
            expected = [(case.caption_row, did, sdid, user)
                        for (did, sdid), user in frame_payloads.items()]
            checker.equal(f"{label} frame {frame}: GStreamer parser", found, expected)


def caption_sample(payload):
    return (bytes((0, 0, 0, (len(payload) + 8) & 0xFF)) + b"ccdp" + payload).hex().upper()


def check_recorder(checker, label, fmt, case, rows, frame_cdps, results):
    mode = case.recorder[fmt]
    size = vr.bytes_per_row(fmt, case.width)
    data = rows.read_bytes()
    checker.equal(f"{label}: recorder frames", len(results), len(frame_cdps))
    for frame, (result, cdp) in enumerate(zip(results, frame_cdps)):
        what = f"{label} frame {frame}: recorder sample"
        if not cdp or mode == "null":
            checker.equal(what, result.get("frame"), frame)
            checker.equal(what, result.get("sample", "missing"), None)
            continue
        if mode == "cdp":
            expected = cdp
        else:
            # The packet is taken with its own data count, but the payload comes from the
            # luma samples from word 4 of the row on, which are samples 6, 7, 8 ...: the first
            # packet's user data, its checksum, then the caption packet's header.
            start = (frame * case.rows_per_frame + case.caption_row) * size
            luma = vr.stream(fmt, data[start:start + size], "luma")
            expected = bytes(value & 0xFF for value in luma[6:6 + len(cdp)])
            checker.equal(f"{what} differs from the cdp", expected != cdp, True)
        checker.equal(what, (result.get("frame"), result.get("sample")),
                      (frame, caption_sample(expected)))


def check_case(checker, premoov, folder, fmt, case, cdps):
    label = f"{fmt} {case.width} {case.name}"
    rows, frame_cdps, note = write_rows(folder, fmt, case, cdps)
    payloads = [{(did, sdid): data for did, sdid, data in case.before} for _ in frame_cdps]
    for frame, cdp in enumerate(frame_cdps):
        if cdp:
            payloads[frame][CAPTION] = cdp
    check_layout(checker, label, fmt, case, note, frame_cdps)
    check_gstreamer_parser(checker, label, rows, fmt, case, payloads)

    code, results, err = premoov_vanc(checker, premoov, rows, fmt, case.width, case.rows_per_frame)
    checker.equal(f"{label}: scanner exit status ({err.strip()})", code, 0)
    checker.equal(f"{label}: scanner frames", [r.get("frame") for r in results],
                  list(range(len(frame_cdps))))
    for frame, result in enumerate(results[:len(frame_cdps)]):
        expected = expected_packets(fmt, note, frame, payloads)
        checker.equal(f"{label} frame {frame}: scanner packets",
                      ordered(result.get("packets", []), expected),
                      ordered(expected))

    code, results, err = premoov_vanc(checker, premoov, rows, fmt, case.width,
                                      case.rows_per_frame, recorder=True)
    # Exit 1 when a sample made does not hold a valid cdp: only the misread one.
    misread = case.recorder[fmt] == "luma from word 4" and any(frame_cdps)
    checker.equal(f"{label}: recorder exit status ({err.strip()})", code, 1 if misread else 0)
    check_recorder(checker, label, fmt, case, rows, frame_cdps, results)
    rows.unlink()


def frame_file(folder, fmt, width, rows_per_frame, placements, name):
    """One frame of blank rows with packets laid out by us: (row, stream, position, words)."""
    rows = [vr.blank_row(fmt, width) for _ in range(rows_per_frame)]
    for row, stream, position, words in placements:
        rows[row] = vr.place(fmt, rows[row], stream, position, words)
    path = folder / f"{name}.raw"
    path.write_bytes(b"".join(rows))
    return path, rows


def bad_checksum(fmt, words):
    """The packet's words with the checksum's lowest bit flipped (its parity bits kept)."""
    return words[:-1] + [words[-1] ^ 1]


def bad_parity(words):
    """A 10-bit packet whose first user data word has bit 9 equal to bit 8; the checksum, which
    covers bits 0-8 only, still holds."""
    return words[:6] + [words[6] ^ 0x200] + words[7:]


def check_described(checker, premoov, folder, fmt, cdp):
    """Packets where GStreamer's encoder never puts them, in rows laid out by us."""
    words = vr.packet_words(fmt, *CAPTION, cdp)
    hex_cdp = cdp.hex().upper()
    ten_bit = fmt == "v210"
    width = 1920
    chroma_count = len(vr.stream(fmt, vr.blank_row(fmt, width), "chroma"))
    good = {"did": CAPTION[0], "sdid": CAPTION[1], "dataCount": len(cdp),
            "parityOk": True if ten_bit else None, "checksumOk": True, "cutShort": False,
            "caption": True, "userData": hex_cdp, "cdpOk": True}
    cut_at = chroma_count - 30
    cases = [
        # (name, placements, scanner packets, scanner exit, GStreamer finds, recorder sample)
        ("chroma at 100", [(1, "chroma", 100, words)],
         [{"row": 1, "stream": "chroma", "position": 100, **good}], 0, True, None),
        ("luma at 300", [(0, "luma", 300, words)],
         [{"row": 0, "stream": "luma", "position": 300, **good}], 0, True, None),
        # GStreamer's parser converts only the first `width` bytes of a UYVY row (half of it),
        # so it misses a packet at luma sample 1000 of 1920; in v210 it reads the whole row.
        ("luma at 1000", [(0, "luma", 1000, words)],
         [{"row": 0, "stream": "luma", "position": 1000, **good}], 0, ten_bit, None),
        # The recorder checks no checksum and takes the packet; GStreamer's parser drops it.
        ("bad checksum", [(0, "luma", 0, bad_checksum(fmt, words))],
         [{"row": 0, "stream": "luma", "position": 0, **good, "checksumOk": False}], 1, False,
         caption_sample(cdp)),
        # The row's end cuts the packet after 24 of its user data words. GStreamer's parser
        # reports the error in v210; in UYVY it fills only the first half of each stream, so
        # the packet runs into samples it never filled, its checksum fails and it is dropped.
        ("cut short", [(1, "chroma", cut_at, words)],
         [{"row": 1, "stream": "chroma", "position": cut_at, **good, "checksumOk": False,
           "cutShort": True, "userData": cdp[:24].hex().upper(), "cdpOk": False}], 1, False,
         None),
    ]
    if ten_bit:
        # Parity is not part of the checksum; GStreamer's parser and the recorder ignore it.
        cases.append(("bad parity", [(0, "luma", 0, bad_parity(words))],
                      [{"row": 0, "stream": "luma", "position": 0, **good, "parityOk": False}],
                      1, True, caption_sample(cdp)))
    for name, placements, expected, status, gstreamer_finds, sample in cases:
        label = f"{fmt} {width} described, {name}"
        path, rows = frame_file(folder, fmt, width, 2, placements, name.replace(" ", "-"))
        code, results, _ = premoov_vanc(checker, premoov, path, fmt, width, 2)
        checker.equal(f"{label}: scanner exit status", code, status)
        checker.equal(f"{label}: scanner",
                      [(r.get("frame"), ordered(r.get("packets", []), expected)) for r in results],
                      [(0, ordered(expected))])
        code, results, _ = premoov_vanc(checker, premoov, path, fmt, width, 2, recorder=True)
        # The recorder checks neither parity nor checksum: each sample it makes holds the cdp.
        checker.equal(f"{label}: recorder exit status", code, 0)
        checker.equal(f"{label}: recorder", [(r.get("frame"), r.get("sample", "missing"))
                                             for r in results], [(0, sample)])
        with gv.Parser(fmt, width) as parser:
            found = []
            errors = []
            for row in rows:
                packets, error = parser.packets(row)
                found += packets
                errors.append(error)
        checker.equal(f"{label}: GStreamer parser", found,
                      [(*CAPTION, cdp)] if gstreamer_finds else [])
        checker.equal(f"{label}: GStreamer parser error", any(errors),
                      name == "cut short" and ten_bit)
        path.unlink()
    check_longer_than_its_row(checker, premoov, folder, fmt, cdp)


def check_longer_than_its_row(checker, premoov, folder, fmt, cdp):
    """A caption packet at the start of 48-pixel rows, longer than its row. The recorder reads
    the payload on into the next row of the frame, as recorders always have, but never past the
    frame's buffer: in the frame's last row it gives nothing."""
    width = 48
    words = vr.packet_words(fmt, *CAPTION, cdp)
    for row in (0, 1):
        label = f"{fmt} {width} described, longer than row {row} of 2"
        path, rows = frame_file(folder, fmt, width, 2, [(row, "luma", 0, words)],
                                f"long-{row}")
        code, results, _ = premoov_vanc(checker, premoov, path, fmt, width, 2)
        packets = results[0].get("packets", []) if len(results) == 1 else []
        checker.equal(f"{label}: scanner", [(p.get("row"), p.get("position"), p.get("caption"),
                                             p.get("cutShort")) for p in packets],
                      [(row, 0, True, True)])
        checker.equal(f"{label}: scanner exit status", code, 1)
        code, results, _ = premoov_vanc(checker, premoov, path, fmt, width, 2, recorder=True)
        expected = None
        if row == 0:
            # The payload is the luma of the frame's rows taken as one run from the packet's
            # fourth user data position (v210: word 4, luma sample 6) on.
            frame = b"".join(rows)
            length = len(cdp) if fmt == "v210" else cdp[2]
            luma = vr.stream(fmt, frame, "luma")
            expected = caption_sample(bytes(v & 0xFF for v in luma[6:6 + length]))
            checker.equal(f"{label}: the payload fits in the frame", 6 + length <= len(luma),
                          True)
        checker.equal(f"{label}: recorder", [(r.get("frame"), r.get("sample", "missing"))
                                             for r in results], [(0, expected)])
        # Blank luma in place of the cdp's end: the sample holds no valid cdp, exit 1.
        checker.equal(f"{label}: recorder exit status", code, 1 if expected else 0)
        path.unlink()


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--premoov", required=True, type=Path)
    parser.add_argument("--work-dir", default=None)
    parser.add_argument("--quick", action="store_true", help="fewer frames, widths and cases")
    args = parser.parse_args(argv)
    checker = Checker("vanc oracles")
    if args.work_dir:
        os.makedirs(args.work_dir, exist_ok=True)
    folder = Path(tempfile.mkdtemp(prefix="vanc-", dir=args.work_dir))
    try:
        cdps = make_cdps(args.premoov, folder, 8 if args.quick else 30)
        for fmt in vr.FORMATS:
            for case in cases(args.quick):
                check_case(checker, args.premoov, folder, fmt, case, cdps)
            check_described(checker, args.premoov, folder, fmt, cdps[0])
    finally:
        shutil.rmtree(folder, ignore_errors=True)
    return checker.finish()


if __name__ == "__main__":
    sys.exit(main())
