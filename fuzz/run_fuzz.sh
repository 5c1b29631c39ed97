#!/usr/bin/env bash
# Builds the fuzz targets with clang++ in BUILD_DIR, or runs one of them for SECONDS (30) over a
# copy of its seed corpus. Any finding (crash, sanitizer report, leak, timeout, out-of-memory)
# fails the run; the input that found it is left in BUILD_DIR/artifacts/TARGET. A target's own
# libFuzzer flags, one a line, may be kept in fuzz/TARGET.options; they override the defaults.
#   fuzz/run_fuzz.sh --build BUILD_DIR
#   fuzz/run_fuzz.sh BUILD_DIR TARGET [SECONDS]      (TARGET: keyed_unarchiver, ...)
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
cxx=${CXX:-clang++}

build() {
  local build_dir=$1
  mkdir -p "$build_dir"
  local generator=()
  command -v ninja > /dev/null && generator=(-G Ninja)
  cmake -S "$here" -B "$build_dir" "${generator[@]}" -DCMAKE_CXX_COMPILER="$cxx" \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo > "$build_dir/configure.log" 2>&1 ||
    { cat "$build_dir/configure.log"; exit 1; }
  cmake --build "$build_dir" -j2
}

if [ "${1:-}" = "--build" ]; then
  build "${2:?usage: run_fuzz.sh --build BUILD_DIR}"
  exit 0
fi

build_dir=${1:?usage: run_fuzz.sh BUILD_DIR TARGET [SECONDS]}
target=${2:?usage: run_fuzz.sh BUILD_DIR TARGET [SECONDS]}
seconds=${3:-30}
fuzzer="$build_dir/${target}_fuzzer"
[ -x "$fuzzer" ] || build "$build_dir"

corpus="$build_dir/corpus/$target"
artifacts="$build_dir/artifacts/$target"
rm -rf "$corpus" "$artifacts"
mkdir -p "$corpus" "$artifacts"
cp "$here/corpus/$target"/* "$corpus"/
dict=()
[ -f "$here/$target.dict" ] && dict=(-dict="$here/$target.dict")
options=()
if [ -f "$here/$target.options" ]; then
  while read -r option; do
    case "$option" in "" | "#"*) ;; *) options+=("$option") ;; esac
  done < "$here/$target.options"
fi

"$fuzzer" -max_total_time="$seconds" -rss_limit_mb=2048 -timeout=10 -max_len=65536 \
  "${options[@]}" -print_final_stats=1 "${dict[@]}" -artifact_prefix="$artifacts/" "$corpus"
echo "${target}_fuzzer: no findings in ${seconds} s; corpus now $(ls "$corpus" | wc -l) inputs"
