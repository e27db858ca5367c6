#!/bin/bash
# Builds everything and runs all tests on a bare Debian 12 or 13. Extra arguments go to ctest, e.g. -R Login.
set -euo pipefail
cd "$(dirname "$0")/.."
export LC_ALL=C.UTF-8

scripts/install-packages.sh
cmake --preset dev
cmake --build --preset dev
exec ctest --preset dev -j4 --output-on-failure "$@"
