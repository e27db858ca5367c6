#!/bin/bash
# What holds before a release and takes longer than a merge may wait: each part goes on where another one failed, the last lines
# name those. Logs go to build/nightly. As root, with room for two bare systems; takes hours on two processors.
# usage: scripts/nightly.sh [PART...]
set -uo pipefail
cd "$(dirname "$0")/.." || exit
export LC_ALL=C.UTF-8

part_tidy() { scripts/tidy.sh; }
# The README on a bare system of both releases, and each one's package through its life.
part_releases() { scripts/releases.sh; }
part_reproducible() { scripts/reproducible.sh; }
part_fleet() {
    scripts/install-packages.sh packages-nightly.txt && scripts/package.sh &&
        cmake --preset dev && cmake --build --preset dev --target mav-reference-server &&
        packaging/test-fleet.sh build/release/mav_*.deb build/dev/bin
}
part_start() {
    cmake --preset release && cmake --build --preset release --target Mav mav-hosttools bench_empty_window &&
        /usr/bin/python3 bench/startup/measure.py
}
part_idle() {
    cmake --preset dev && cmake --build --preset dev && /usr/bin/python3 bench/idle/measure.py --programs build/dev/bin --minutes 60
}
# The seed that the log ends with plays a failed run again.
part_soak() {
    scripts/install-packages.sh packages-nightly.txt &&
        cmake --preset dev && cmake --build --preset dev && /usr/bin/python3 bench/soak/measure.py --programs build/dev/bin --rounds 120
}
# What clients cost their server: short, since the figures of docs/fleet.md come from a longer run; judged is that nothing fails.
part_cost() {
    cmake --preset dev && cmake --build --preset dev --target bench_fleet mav-reference-server &&
        /usr/bin/python3 bench/fleet/measure.py --clients 200 --launch 30 --minutes 2 --outage 30
}
part_late() {
    cmake --preset dev && cmake --build --preset dev && /usr/bin/python3 scripts/demo/late.py --programs build/dev/bin
}
# Ten minutes for each door that reads what comes from outside.
part_fuzz() { scripts/fuzz.sh --seconds 600; }
# Twenty places of each flow instead of the first four and those that chance takes.
part_faults() {
    cmake --preset dev && cmake --build --preset dev --target tst_SystemFaults tst_PeerFaults &&
        MAV_FAULT_PLACES=20 ctest --preset dev -R Faults --output-on-failure
}
# The demo's whole story with programs that a report of a sanitizer ends with another status.
part_sanitized() {
    local preset
    export ASAN_OPTIONS=detect_leaks=0
    export TSAN_OPTIONS="suppressions=$PWD/tests/tsan.supp die_after_fork=0 ignore_noninstrumented_modules=1"
    for preset in asan tsan; do
        cmake --preset $preset &&
            cmake --build --preset $preset --target Mav mavctl mav-hosttools mav-reference-server mav-reference-agent &&
            MAV_DEMO_FOLDER=build/nightly/$preset /usr/bin/python3 scripts/demo/demo.py --programs build/$preset/bin --check || return
    done
}

[ $# -gt 0 ] || set -- tidy fuzz faults late sanitized releases reproducible fleet start idle soak cost
scripts/install-packages.sh || exit
mkdir -p build/nightly
failed=()
for part in "$@"; do
    declare -F "part_$part" >/dev/null || {
        echo "nightly.sh: no part $part" >&2
        exit 2
    }
done
for part in "$@"; do
    printf '==== [%3d min] %s: build/nightly/%s.log\n' $((SECONDS / 60)) "$part" "$part"
    "part_$part" >"build/nightly/$part.log" 2>&1 || {
        tail -n 20 "build/nightly/$part.log"
        failed+=("$part")
    }
done
printf '==== [%3d min] %s\n' $((SECONDS / 60)) "${failed[*]:+failed: }${failed[*]:-all good}"
[ ${#failed[@]} -eq 0 ]
