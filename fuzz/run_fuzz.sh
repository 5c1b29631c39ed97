#!/usr/bin/env bash
# Builds the keyed unarchiver fuzzer with clang++ in BUILD_DIR and runs it for SECONDS (30) over
# a copy of the seed corpus. Any finding (crash, sanitizer report, leak, timeout, out-of-memory)
# fails the run; the input that found it is left in BUILD_DIR/artifacts.
#   fuzz/run_fuzz.sh BUILD_DIR [SECONDS]
set -euo pipefail

build_dir=${1:?usage: run_fuzz.sh BUILD_DIR [SECONDS]}
seconds=${2:-30}
here=$(cd "$(dirname "$0")" && pwd)
cxx=${CXX:-clang++}

mkdir -p "$build_dir"
generator=()
command -v ninja > /dev/null && generator=(-G Ninja)
cmake -S "$here" -B "$build_dir" "${generator[@]}" -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo > "$build_dir/configure.log" 2>&1 ||
  { cat "$build_dir/configure.log"; exit 1; }
cmake --build "$build_dir" -j2

corpus="$build_dir/corpus"
artifacts="$build_dir/artifacts"
rm -rf "$corpus" "$artifacts"
mkdir -p "$corpus" "$artifacts"
cp "$here"/corpus/keyed_unarchiver/* "$corpus"/

"$build_dir/keyed_unarchiver_fuzzer" \
  -max_total_time="$seconds" -rss_limit_mb=2048 -timeout=10 -max_len=65536 \
  -print_final_stats=1 -dict="$here/keyed_unarchiver.dict" \
  -artifact_prefix="$artifacts/" "$corpus"
echo "keyed_unarchiver_fuzzer: no findings in ${seconds} s; corpus now $(ls "$corpus" | wc -l) inputs"
