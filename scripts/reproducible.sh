#!/bin/bash
# Builds the package twice, as two people would: in folders of different depth, with sources of different age, with other umask,
# host name, time zone, language and home, without a compiler cache, one after the other. Ends with status 0 when both are the same
# byte for byte; where they are not, diffoscope says what differs. As root, for the host name. Takes two builds of the client.
# usage: scripts/reproducible.sh
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh
scripts/install-packages.sh packages-nightly.txt
work=$(mktemp -d /var/tmp/mav-reproducible-XXXXXX)
trap 'rm -rf "$work"' EXIT
# Neither build may be given what the other one compiled.
export CCACHE_DISABLE=1

# build FOLDER UMASK HOST-NAME AGE-OF-THE-SOURCES TIME-ZONE LANGUAGE: a package of what is checked out, in FOLDER
build() {
    local folder=$work/$1
    mkdir -p "$folder" "$work/home-$3"
    (
        umask "$2"
        git ls-files -z | tar --create --null --files-from=- | tar --extract --no-same-permissions --touch -C "$folder"
        find "$folder" -type f -exec touch --date="$4" {} +
        env HOME="$work/home-$3" TZ="$5" LANG="$6" LC_ALL="$6" LANGUAGE="${6%_*}" USER="$3" LOGNAME="$3" \
            unshare --uts sh -c 'hostname "$0" && exec "$@"' "$3" "$folder/scripts/package.sh" >"$folder.log" 2>&1
    ) || {
        tail -n 50 "$folder.log" >&2
        exit 1
    }
    packages+=("$(echo "$folder"/build/release/mav_*.deb)")
}

packages=()
build a 022 first "2024-02-29 12:00" UTC C.UTF-8
build "second/folder with space" 077 second "2026-01-01 00:00" Asia/Kathmandu de_DE.UTF-8
if cmp "${packages[@]}"; then
    sha256sum "${packages[0]}" | sed "s|$work/a/||"
    echo "reproducible"
else
    diffoscope "${packages[@]}" || true
    exit 1
fi
