"""What every reader check shares: the command line, the files premoov writes for a request, and
a checker that counts assertions and fails the test on any mismatch.
"""

import argparse
import json
import os
import shutil
import subprocess
import sys
import tempfile

import expectations
from movie_plan import MoviePlan


class Checker:
    """Collects failed expectations; a check passes only if it made assertions and none failed."""

    def __init__(self, name):
        self.name = name
        self.passed = 0
        self.failures = []

    def equal(self, what, actual, expected):
        if actual == expected:
            self.passed += 1
            return True
        self.failures.append(f"{what}: reader says {actual!r}, expected {expected!r}")
        return False

    def true(self, what, condition, detail=""):
        if condition:
            self.passed += 1
            return True
        self.failures.append(f"{what}{': ' + detail if detail else ''}")
        return False

    def fail(self, what):
        self.failures.append(what)

    def finish(self):
        for failure in self.failures[:60]:
            print(f"FAIL {self.name}: {failure}")
        if len(self.failures) > 60:
            print(f"FAIL {self.name}: ... and {len(self.failures) - 60} more")
        if self.passed == 0 and not self.failures:
            print(f"FAIL {self.name}: no assertion was made")
            return 1
        print(f"{self.name}: {self.passed} passed, {len(self.failures)} failed")
        return 1 if self.failures else 0


def run(command, allow_failure=False):
    """Runs a command and returns its standard output; stderr is passed through on failure."""
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
    if result.returncode != 0 and not allow_failure:
        sys.stderr.write(result.stderr.decode(errors="replace"))
        raise RuntimeError(f"{' '.join(command)} exited with {result.returncode}")
    return result.stdout.decode(errors="replace")


class WrittenMovie:
    """The files premoov writes for one request, in a scratch folder removed afterwards.

    movie: the header at offset 0, the file extended sparse to the reply's size.
    header: the header bytes alone, as a recorder finds them before any media is written.
    plan: the write map.
    """

    def __init__(self, premoov, request, work_dir):
        self.premoov = premoov
        self.request = request
        os.makedirs(work_dir, exist_ok=True)
        self.folder = tempfile.mkdtemp(prefix="readers-", dir=work_dir)
        self.movie = os.path.join(self.folder, "movie.mov")
        self.header = os.path.join(self.folder, "header.mov")
        try:
            self.plan = MoviePlan(json.loads(run([premoov, "plan", request])))
            self.reply = json.loads(run([premoov, "write", request, "--file", self.movie]))
            run([premoov, "write", request, "--header", self.header])
        except BaseException:
            self.remove()
            raise

    def check_reply(self, check):
        """The write reply, the plan and the files on disk agree."""
        check.equal("write reply fileSize vs plan", self.reply["fileSize"], self.plan.file_size)
        check.equal("write reply headerRoom vs plan", self.reply["headerRoom"],
                    self.plan.header_room)
        check.equal("write reply frameSize vs plan", self.reply["frameSize"],
                    self.plan.frame_size)
        check.equal("movie file size", os.path.getsize(self.movie), self.plan.file_size)
        check.equal("header file size", os.path.getsize(self.header), self.plan.header_room)

    def window(self, size):
        """A copy of the header extended to `size` bytes: the media a reader can reach is cut at
        `size`, so an hour-long movie can be read without reading an hour of bytes."""
        path = os.path.join(self.folder, "window.mov")
        shutil.copyfile(self.header, path)
        with open(path, "r+b") as f:
            f.truncate(size)
        return path

    def remove(self):
        shutil.rmtree(self.folder, ignore_errors=True)


def parse_arguments(description):
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--premoov", required=True, help="the premoov tool")
    parser.add_argument("--source-dir", required=True, help="the repository root")
    parser.add_argument("--work-dir", required=True, help="where scratch movies are written")
    parser.add_argument("--name", required=True, choices=sorted(expectations.MOVIES))
    parser.add_argument("--tool", default=None, help="the reader program, when not on PATH")
    return parser.parse_args()


def main(description, body):
    """Runs `body(args, expected, movie, check)` for the request named on the command line."""
    args = parse_arguments(description)
    expected = expectations.MOVIES[args.name]
    check = Checker(args.name)
    movie = WrittenMovie(args.premoov, os.path.join(args.source_dir, expected["request"]),
                         args.work_dir)
    try:
        movie.check_reply(check)
        body(args, expected, movie, check)
    finally:
        movie.remove()
    sys.exit(check.finish())


def stream_track_names(streams):
    """Names ffprobe's streams after premoov's tracks by their kind, in stream order."""
    names = []
    audio = 0
    for s in streams:
        kind, tag = s.get("codec_type"), s.get("codec_tag_string")
        if kind == "video":
            names.append("video")
        elif kind == "audio":
            audio += 1
            names.append(f"audio{audio}")
        elif kind == "subtitle" and tag in ("c708", "c608"):
            names.append("captions")
        elif kind == "data" and tag == "tmcd":
            names.append("timecode")
        else:
            names.append(f"unknown {kind} {tag}")
    return names


def ffprobe_streams(ffprobe, path):
    out = run([ffprobe, "-v", "error", "-show_streams", "-of", "json", path])
    return json.loads(out).get("streams", [])
