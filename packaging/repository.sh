#!/bin/bash
# Puts packages into a signed apt archive in a folder, which a web server then offers; makes the archive when there is none. From
# then on it offers exactly these packages, each to the release that it was built for, also when they are older: so a roll-out
# goes back. KEY is the id of a secret key of gpg; its public half is written beside the archive as mav-archive.asc.
# Needs reprepro and gpg.
# usage: packaging/repository.sh FOLDER KEY DEB...
set -euo pipefail
[ $# -ge 3 ] || {
    echo "usage: packaging/repository.sh FOLDER KEY DEB..." >&2
    exit 2
}
folder=$1
key=$2
shift 2
architecture=$(dpkg --print-architecture)
mkdir -p "$folder/conf"
for release in bookworm trixie; do
    printf 'Codename: %s\nComponents: main\nArchitectures: %s\nSignWith: %s\n\n' "$release" "$architecture" "$key"
done >"$folder/conf/distributions"
gpg --batch --armor --export "$key" >"$folder/mav-archive.asc"
[ -s "$folder/mav-archive.asc" ] || {
    echo "repository.sh: gpg has no key $key" >&2
    exit 1
}
for deb in "$@"; do
    case $(dpkg-deb -f "$deb" Version) in
    *+deb12) release=bookworm ;;
    *+deb13) release=trixie ;;
    *)
        echo "repository.sh: $deb was built for neither Debian 12 nor 13" >&2
        exit 1
        ;;
    esac
    reprepro --silent --export=silent-never --basedir "$folder" remove "$release" mav
    reprepro --silent --export=silent-never --basedir "$folder" includedeb "$release" "$deb"
done
reprepro --silent --basedir "$folder" export
