#!/usr/bin/env bash
# Builds premoov under AddressSanitizer and UndefinedBehaviorSanitizer and runs every test: unit
# tests, the real readers (ffprobe, MediaInfo, mp4box.js) on the files we write, and the
# end-to-end recording test. Then the header service and its tests again, under ThreadSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
if [ -f tests/readers/package.json ]; then
  (cd tests/readers && npm ci --no-audit --no-fund --loglevel=error)
fi
cmake --preset sanitize >/dev/null
cmake --build --preset sanitize
ctest --preset sanitize
# The service's threads (connections, the main queue, cancels) under ThreadSanitizer: a build of
# its own, only the service and its tests; a report fails the test (halt_on_error in the preset).
cmake --preset tsan >/dev/null && cmake --build --preset tsan --target service_tests premoovd && ctest --preset tsan
