#!/bin/bash
# Installs what building, testing and the demo need on Debian 12 or 13, or the packages of another list; does nothing when all of
# it is there.
# usage: scripts/install-packages.sh [LIST]
set -euo pipefail
cd "$(dirname "$0")"

release=$(. /etc/os-release && echo "${VERSION_ID-}")
mapfile -t wanted < <(sed -e 's/#.*//' -e 's/[[:space:]]//g' -e "s/^$release://" -e '/^$/d' -e '/:/d' "${1-packages.txt}")
installed=$(dpkg-query --show --showformat='${db:Status-Status} ${Package}\n' "${wanted[@]}" 2>/dev/null |
    sed -n 's/^installed //p' || true)
missing=()
for package in "${wanted[@]}"; do
    grep -qxF "$package" <<<"$installed" || missing+=("$package")
done
if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

echo "Installing: ${missing[*]}"
as_root=()
if [ "$(id -u)" -ne 0 ]; then
    as_root=(sudo)
    command -v sudo >/dev/null || {
        echo "Neither root nor sudo: cannot install these packages." >&2
        exit 1
    }
fi
apt_get=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -o Acquire::Retries=3 -o DPkg::Lock::Timeout=300 -q -y)
"${apt_get[@]}" update
"${apt_get[@]}" install --no-install-recommends "${missing[@]}"
