#!/bin/bash
# Looks for inputs that break what reads from outside: builds the fuzz targets with clang and the sanitizers and runs each for a
# while, from the inputs in tests/fuzz/corpus/TARGET and what earlier runs have found (build/fuzz/inputs). Prints the last line of
# each run. A finding ends its target; the input lies in build/fuzz/findings then, the log beside it in build/fuzz/logs, and the status
# is 1. --table writes the table of docs/quality.md anew.
# usage: scripts/fuzz.sh [--seconds N] [--table] [TARGET...]    a target is named as its folder of inputs; archive has more
set -euo pipefail
cd "$(dirname "$0")/.."
export LC_ALL=C.UTF-8
build=build/fuzz seconds=20 isTable=

while [[ ${1-} == --* ]]; do
    case "$1" in
    --seconds) seconds=${2:?} && shift ;;
    --table) isTable=yes ;;
    *) sed -n '2,/^set/s/^# \{0,1\}//p' "$0" >&2 && exit 2 ;;
    esac
    shift
done
if [ $# -eq 0 ]; then
    set -- tests/fuzz/fuzz_*.cpp
    set -- "${@##*/fuzz_}"
    set -- "${@%.cpp}"
fi
for target in "$@"; do
    [ -f "tests/fuzz/fuzz_$target.cpp" ] || { echo "fuzz.sh: no target $target" >&2 && exit 2; }
done

scripts/install-packages.sh
scripts/install-packages.sh packages-nightly.txt
cmake --preset fuzz
cmake --build --preset fuzz --target fuzzers
mkdir -p $build/{inputs,findings,logs}
# Many targets write a file or more an input.
TMPDIR=$(mktemp -d -p /dev/shm 2>/dev/null || mktemp -d)
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT

run() {
    local inputs=("$build/inputs/$1" "tests/fuzz/corpus/$1")
    [ "$1" != archive ] || inputs+=(tests/fuzz/corpus/refused_*)
    mkdir -p "${inputs[0]}"
    "$build/bin/fuzz_$1_run" "${inputs[@]}" -dict="tests/fuzz/dictionaries/$1.dict" -max_total_time="$seconds" -max_len=16384 \
        -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 -artifact_prefix="$build/findings/$1-" >"$build/logs/$1" 2>&1
}
# What a run had to say at last: its count, or what it found.
last_line() { grep -E '^(Done|SUMMARY|require:|ALARM)' "$1" | tail -n 1 || tail -n 1 "$1"; }
# "Done 1234 runs in 21 second(s)" as cells of the table; a run that ended with a finding tells its count elsewhere.
cells() {
    local runs took
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$1")
    took=$(sed -n 's/^Done .* runs in \([0-9]*\) second.*/\1/p' "$1")
    echo "${runs:-?} | ${took:--}"
}

failed=() rows=
for target in "$@"; do
    findings=0
    run "$target" || findings=1
    [ $findings -eq 0 ] || failed+=("$target")
    printf '%-16s %s\n' "$target" "$(last_line "$build/logs/$target")"
    rows+="| \`$target\` | $(cells "$build/logs/$target") | $findings |"$'\n'
done

if [ -n "$isTable" ]; then
    {
        printf '%s, %s, one at a time, clang with the address and undefined-behaviour sanitizers:\n\n' "$(date +%F)" \
            "$(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -n 1)"
        printf '| target | runs | seconds | findings |\n|---|---:|---:|---:|\n%s' "$rows"
    } >"$TMPDIR/table"
    sed -i -e '/^<!-- fuzz.sh -->$/,/^<!-- end -->$/{//!d}' -e "/^<!-- fuzz.sh -->\$/r $TMPDIR/table" docs/quality.md
fi
[ ${#failed[@]} -eq 0 ] || { echo "fuzz.sh: findings in ${failed[*]}" >&2 && exit 1; }
