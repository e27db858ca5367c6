#!/bin/bash
# Builds the Debian package of the release preset and checks it: build/release/mav_VERSION_ARCH.deb. Another build folder may be
# given. MAV_CLIENT_IDENTITY names the PKCS #12 file that the client presents to servers; without it the package carries none
# and a deployment puts its own beside the client. MAV_MAINTAINER is the package's maintainer, "Name <address>".
# usage: scripts/package.sh [build folder]
set -euo pipefail
cd "$(dirname "$0")/.."
export LC_ALL=C.UTF-8
umask 022
build=${1-build/release}

scripts/install-packages.sh
# What an earlier run was told is not kept.
settings=("-DMAV_CLIENT_IDENTITY:STRING=${MAV_CLIENT_IDENTITY:-none}")
if [ -n "${MAV_MAINTAINER-}" ]; then
    settings+=("-DMAV_MAINTAINER=$MAV_MAINTAINER")
else
    settings+=(-UMAV_MAINTAINER)
fi
cmake --preset release -B "$build" "${settings[@]}"
cmake --build "$build" --target package-files

made=$build/packaging
desktop-file-validate "$made"/*.desktop
# There is no homepage, which both checkers miss from Debian 13 on. The package is none of Debian's, where a first upload answers a
# request in its bug tracker.
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
judge() {
    if grep '^[EW]:' "$tree/findings" | grep -v -e url-homepage-missing -e appstream-metadata-validation-failed >&2; then
        exit 1
    fi
}
appstreamcli validate --no-net "$made/mav.metainfo.xml" >"$tree/findings" || judge

# Files carry the date of the changelog's first entry, so that the same programs make the same package.
SOURCE_DATE_EPOCH=$(dpkg-parsechangelog -l "$made/debian/changelog" -S Timestamp)
export SOURCE_DATE_EPOCH
package=$build/mav_$(dpkg-parsechangelog -l "$made/debian/changelog" -S Version)_$(dpkg --print-architecture).deb
rm -f "$package"
cpack --config "$build/CPackConfig.cmake"
lintian --allow-root --suppress-tags initial-upload-closes-no-bugs --tag-display-limit 0 "$package" >"$tree/findings"
judge
dpkg-deb --extract "$package" "$tree/files"
scripts/check-hardening.sh "$tree/files"
echo "$package"
