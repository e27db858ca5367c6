#!/bin/bash
# What the README says, on a bare system of each Debian release: builds, tests, runs the demo, packages, and takes the package
# through its life. Logs and packages go to build/releases/RELEASE. What this machine's compiler cache holds is used and added to.
# As root; packaging/bare-system.sh says what else.
# usage: scripts/releases.sh [RELEASE...]     (bookworm, trixie)
set -euo pipefail
cd "$(dirname "$0")/.."
export LC_ALL=C.UTF-8
umask 022
scripts/install-packages.sh

# The command, as root in the copy of the sources; what it says goes to a log.
from_readme() {
    local log=$results/$1.log
    shift
    step "$release: $*"
    inside sh -c 'cd /srv/mav && exec "$@"' sh "$@" >"$log" 2>&1 </dev/null || {
        tail -n 100 "$log" >&2
        fail "$release: $*"
    }
}

on_bare_release() {
    local release=$1 results=$PWD/build/releases/$1 package
    . packaging/bare-system.sh
    rm -rf "$results"
    mkdir -p "$results"
    step "$release: a bare system in $tree"
    make_system "$release"
    mkdir -p "$tree/srv/mav" "$tree/root/.cache/ccache" "${CCACHE_DIR:-$HOME/.cache/ccache}"
    mount_in --bind "${CCACHE_DIR:-$HOME/.cache/ccache}" "$tree/root/.cache/ccache"
    git ls-files -z | tar --create --null --files-from=- | tar --extract -C "$tree/srv/mav"

    from_readme test scripts/test.sh
    from_readme demo scripts/demo.sh --check
    from_readme package scripts/package.sh
    package=$(echo "$tree"/srv/mav/build/release/mav_*.deb)
    cp "$package" "$results"
    # Run from here: a system in a folder cannot make another one.
    packaging/test-package.sh "$results/$(basename "$package")"
}

[ $# -gt 0 ] || set -- bookworm trixie
for release in "$@"; do
    (on_bare_release "$release")
done
