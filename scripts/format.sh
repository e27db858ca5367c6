#!/bin/bash
# Lays out all C++ files; with --check changes nothing and fails when a file is not laid out.
set -euo pipefail
cd "$(dirname "$0")/.."

options=(-i)
case "${1-}" in
"") ;;
--check) options=(--dry-run --Werror) ;;
*)
    echo "usage: scripts/format.sh [--check]" >&2
    exit 2
    ;;
esac
scripts/install-packages.sh packages-lint.txt
folders=()
for folder in src reference hosttools factsservice tools tests bench; do
    [ ! -d "$folder" ] || folders+=("$folder")
done
find "${folders[@]}" \( -name '*.cpp' -o -name '*.h' \) -print0 |
    xargs -0 -r -n 20 -P "$(nproc)" clang-format-14 "${options[@]}"
