#!/bin/bash
# Builds and runs every test under the thread sanitizer. Extra arguments go to ctest.
set -euo pipefail
cd "$(dirname "$0")/.."
export LC_ALL=C.UTF-8

scripts/install-packages.sh
cmake --preset tsan
cmake --build --preset tsan
exec ctest --preset tsan -j4 --output-on-failure "$@"
