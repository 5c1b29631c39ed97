#!/usr/bin/env bash
# Builds premoov and writes the header of a 1-hour 1080i29.97 ProRes 422 HQ recording with eight
# audio tracks, timecode and captions: the file a recorder starts from, then its atom tree.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh --build-only
cmake --preset release >/dev/null
cmake --build --preset release --target premoov
out=${PREMOOV_EXAMPLE_OUT:-/tmp/premoov-example.mov}
build/release/tools/premoov/premoov write examples/prores_hq_1080i2997_8ch_1h.json --file "$out"
# What a reader finds in it: its tracks and metadata (the whole atom tree is in the .json file).
build/release/tools/premoov/premoov inspect "$out" > "$out.inspect.json"
sed -n '/"tracks"/,$p' "$out.inspect.json"
echo "Atom tree and tracks: $out.inspect.json"
