#!/bin/bash
# Client, management server and agent in one folder, on a bare Debian 12 or 13. With a display the real client opens on it and
# stays until Ctrl+C; without one it is driven on a virtual display. --check does the latter, ends by itself with status
# 0 or 1 and needs no display. The folder is demo/ or $MAV_DEMO_FOLDER.
set -euo pipefail
cd "$(dirname "$0")/.."
export LC_ALL=C.UTF-8

scripts/install-packages.sh
cmake --preset dev >/dev/null
cmake --build --preset dev --target Mav mavctl mav-reference-server mav-reference-agent
exec /usr/bin/python3 scripts/demo/demo.py --programs build/dev/bin "$@"
