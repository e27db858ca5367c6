#!/bin/bash
# Runs clang-tidy over src, reference, hosttools, factsservice and tools with the compile commands of a configured build folder
# (default build/dev); every finding is an error. First proves with a planted bad file that findings are found. --changed takes
# only what is other than in the last release (tag), else in the last 20 commits, or where the branch left SINCE; a header by
# one source that reads it.
# usage: scripts/tidy.sh [--changed[=SINCE]] [build folder]
set -euo pipefail
cd "$(dirname "$0")/.."
since=
case "${1-}" in
--changed=*)
    since=$(git merge-base HEAD "${1#--changed=}")
    shift
    ;;
--changed)
    since=$(git describe --tags --abbrev=0 HEAD^ 2>/dev/null || git rev-parse --quiet --verify HEAD~20 ||
        git rev-list --max-parents=0 HEAD)
    shift
    ;;
esac
build=${1-build/dev}
scripts/install-packages.sh packages-lint.txt

if [ ! -f "$build/compile_commands.json" ]; then
    cmake --preset dev -B "$build"
fi
# Generated headers (forms, mocs) have to exist before their users can be read.
mapfile -t generators < <(ninja -C "$build" -t targets all | sed -n 's/^\([A-Za-z0-9_.-]*_autogen\): phony$/\1/p')
cmake --build "$build" --target "${generators[@]}"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp .clang-tidy "$work"

cat >"$work/planted.cpp" <<'EOF'
#include <string>
#include <utility>
std::size_t planted() {
    std::string text("moved away");
    const std::string other = std::move(text);
    return text.size() + other.size();
}
EOF
if clang-tidy-14 --quiet "$work/planted.cpp" -- -std=c++20 >"$work/planted.log" 2>&1; then
    echo "clang-tidy accepts a use after move: it checks nothing" >&2
    exit 1
fi
grep -q 'bugprone-use-after-move' "$work/planted.log" || {
    cat "$work/planted.log" >&2
    exit 1
}

# Compile commands are written for gcc; what clang does not know of them is left out. So are the precompiled headers: each
# source has to include what it uses.
sed -E 's/ -(fno-sanitize-recover|fsanitize)=[^ ]*//g; s/ -fpch-preprocess| -Winvalid-pch| -include [^ ]*cmake_pch[^ ]*//g' "$build/compile_commands.json" >"$work/compile_commands.json"
list=$(grep -oE '"file": "[^"]*"' "$work/compile_commands.json" | cut -d'"' -f4 |
    grep -E "^$PWD/(src|reference|hosttools|factsservice|tools)/" | sort -u)
if [ -n "$since" ]; then
    mapfile -t changed < <(git diff --name-only --diff-filter=d "$since" -- src reference hosttools factsservice tools .clang-tidy scripts/tidy.sh)
    # Other rules are rules for everything.
    if ! grep -qxE '\.clang-tidy|scripts/tidy\.sh' < <(printf '%s\n' "${changed[@]}"); then
        list=$(for file in "${changed[@]}"; do
            case "$file" in
            *.cpp) grep -xF "$PWD/$file" <<<"$list" ;;
            *.h) tr '\n' '\0' <<<"$list" | xargs -0 grep -lE "#include \"([^\"]*/)?$(basename "$file")\"" | head -n 1 ;;
            esac
        done | sort -u || true)
    fi
fi
[ -n "$list" ] || {
    echo "clang-tidy: no changed file"
    exit
}
count=$(wc -l <<<"$list")
echo "clang-tidy over $count files"
failed=0
xargs -r -d '\n' -n 1 -P "$(nproc)" sh -c 'clang-tidy-14 --quiet -p "$0" "$1" >"$0/$$.log" 2>&1 || { cat "$0/$$.log"; exit 1; }' "$work" \
    <<<"$list" || failed=1
if [ "$failed" -ne 0 ]; then
    echo "clang-tidy: findings above" >&2
    exit 1
fi
echo "clang-tidy: no findings"
