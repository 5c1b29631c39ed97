#!/usr/bin/env bash
# Builds premoov, then does what a recorder does before it starts an hour of 1080i29.97 ProRes
# 422 HQ with eight audio tracks, timecode and captions: asks for the movie header of the file it
# will record, writes the file it records into, and shows what a reader finds in it. Writes
# nothing but that file (PREMOOV_EXAMPLE_OUT, /tmp/premoov-example.mov by default).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh --build-only

echo "Building premoov (release; a few minutes the first time)..."
cmake --preset release > /dev/null
build_log=build/release/example-build.log
if ! cmake --build --preset release --target premoov > "$build_log" 2>&1; then
  cat "$build_log"
  exit 1
fi
premoov=build/release/tools/premoov/premoov
request=examples/prores_hq_1080i2997_8ch_1h.json
out=${PREMOOV_EXAMPLE_OUT:-/tmp/premoov-example.mov}

cat << STORY

1. The request, $request:
   a recorder is about to record 1 hour of ProRes 422 HQ, 1920x1080 at 29.97 frames a second,
   with 8 mono 24-bit audio tracks, timecode and CEA-708 captions. Before the first frame it
   asks for the file's movie header.

2. premoov writes that header at offset 0 of $out
   and sets the file to the size the recording will reach:
STORY
echo "   $("$premoov" write "$request" --file "$out" --text)"
on_disk=$(du -k "$out" | cut -f1)
cat << STORY
   The file takes only $((on_disk / 1024)) MiB on disk: past the header it is a hole (a sparse file)
   that fills in as the recorder writes its frames and samples where the header says they are.
   (On a file system without sparse files it would take its whole size at once.)

3. What a reader finds in it (premoov inspect $out):
   every sample of the hour is already placed, at the offset where the recorder will write it.

STORY
"$premoov" inspect "$out" --text | sed 's/^./   &/'

if command -v ffprobe > /dev/null; then
  echo
  echo "4. ffprobe, an independent reader, opens the same file before anything is recorded:"
  ffprobe -v fatal -show_entries format=duration:stream=codec_type,codec_name,profile,width,height,sample_rate,channels \
    -of compact=p=0 "$out" | awk -F'|' '
    function field(name,   i, kv) {
      for (i = 1; i <= NF; i++) { split($i, kv, "="); if (kv[1] == name) return kv[2] }
      return ""
    }
    /^duration=/ { split($0, kv, "="); duration = kv[2]; next }
    field("codec_type") == "video" { video = field("codec_name") " " field("profile") " " field("width") "x" field("height") }
    field("codec_type") == "audio" { audio++; audioKind = field("codec_name") " " field("sample_rate") " Hz " field("channels") " ch" }
    field("codec_type") == "subtitle" { subtitles++ }
    field("codec_type") == "data" { data++ }
    END {
      printf "   %.1f s; video %s; %d audio streams of %s; %d caption stream; %d data stream (timecode)\n",
        duration, video, audio, audioKind, subtitles, data
    }'
fi

cat << STORY

The file stays until you remove it: rm $out
STORY
