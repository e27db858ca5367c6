# A bare Debian of either release in a folder of its own, for the scripts that try something from the beginning: sourced by them.
# As root; needs debootstrap. Downloads are kept in $MAV_PACKAGE_CACHE, by default ~/.cache/mav-package-test; $MAV_DEBIAN_MIRROR
# is where they come from, by default where this system's come from; $MAV_BARE_SYSTEMS is where the folder is made, by default
# /var/tmp. When the script ends, its processes, mounts and the folder
# go; it ends with "all good" or with its status.
# shellcheck shell=bash

[ "$(id -u)" -eq 0 ] || {
    echo "$(basename "$0"): a system in a folder can only be made as root" >&2
    exit 2
}
cache=${MAV_PACKAGE_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/mav-package-test}
mirror=${MAV_DEBIAN_MIRROR:-$(apt-get indextargets --format '$(REPO_URI)' 'Identifier: Packages' | grep -m 1 /debian/\?$ || true)}
work=$(mktemp -d "${MAV_BARE_SYSTEMS:-/var/tmp}/mav-bare-XXXXXX")
tree=$work/tree
started=()
mounted=()

step() { printf '[%3ds] %s\n' "$SECONDS" "$1"; }
fail() {
    printf 'FAILED: %s\n' "$1" >&2
    exit 1
}
# Holds the commands of one step; shows what they said only when one of them fails.
quietly() {
    "$@" >"$work/said" 2>&1 || {
        cat "$work/said" >&2
        fail "$*"
    }
}
# Both become the command that follows, so that a process started in the background has the known id.
as_root=(chroot "$tree" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8
    DEBIAN_FRONTEND=noninteractive)
as_tester=("${as_root[@]}" setpriv --reuid=tester --regid=tester --init-groups env HOME=/home/tester USER=tester
    LOGNAME=tester XDG_RUNTIME_DIR=/run/tester DBUS_SESSION_BUS_ADDRESS=unix:path=/run/tester/bus)
inside() { "${as_root[@]}" "$@"; }
as_user() { "${as_tester[@]}" "$@"; }
# Waits up to $1 seconds for the rest to succeed.
within() {
    local tries=$(($1 * 5))
    shift
    until "$@" >/dev/null 2>&1; do
        tries=$((tries - 1))
        [ $tries -gt 0 ] || return 1
        sleep 0.2
    done
}
end_process() {
    kill "$1" 2>/dev/null || return 0
    within 10 sh -c "! kill -0 $1" || kill -KILL "$1" 2>/dev/null || true
    wait "$1" 2>/dev/null || true
}
mount_in() {
    mount "$@"
    mounted=("${!#}" "${mounted[@]}")
}
# Processes first, they hold the mounts; the folder goes only when nothing is mounted in it.
clean_up() {
    local status=$?
    trap - EXIT
    local index
    for ((index = ${#started[@]} - 1; index >= 0; index--)); do
        end_process "${started[index]}"
    done
    for point in "${mounted[@]}"; do
        umount "$point" || umount --lazy "$point" || status=1
    done
    if grep -q " $work" /proc/self/mounts; then
        echo "$(basename "$0"): $work is still mounted in and stays" >&2
        status=1
    else
        rm -rf --one-file-system "$work"
    fi
    [ $status -eq 0 ] && step "all good" || step "failed with status $status"
    exit "$status"
}
trap clean_up EXIT
trap 'exit 1' INT TERM HUP

# What stays from one run to the next, by release.
keep_downloads() {
    mkdir -p "$cache/bootstrap" "$cache/apt/$1/partial"
    mount_in --bind "$cache/apt/$1" "$tree/var/cache/apt/archives"
    printf 'Binary::apt-get::APT::Keep-Downloaded-Packages "true";\n' >"$tree/etc/apt/apt.conf.d/99keep"
}

# The release of that name (bookworm, trixie) with a person "tester" and nothing else, no service started.
make_system() {
    mkdir -p "$cache/bootstrap" "$tree"
    quietly debootstrap --variant=minbase --cache-dir="$cache/bootstrap" "$1" "$tree" ${mirror:+"$mirror"}
    mount_in -t proc proc "$tree/proc"
    mount_in -t sysfs -o ro sysfs "$tree/sys"
    mount_in -t tmpfs -o mode=1777,nosuid,nodev tmpfs "$tree/tmp"
    mount_in -t tmpfs -o mode=1777,nosuid,nodev tmpfs "$tree/dev/shm"
    keep_downloads "$1"
    printf '#!/bin/sh\nexit 101\n' >"$tree/usr/sbin/policy-rc.d"
    chmod 755 "$tree/usr/sbin/policy-rc.d"
    cp /etc/resolv.conf "$tree/etc/resolv.conf"
    quietly inside apt-get -q update
    inside useradd --create-home --shell /bin/sh tester
}
install_inside() {
    quietly inside apt-get -q -y --no-install-recommends -o APT::Sandbox::User=root install "$@"
}

# A display and a session bus for the person; the programs of "xvfb dbus xdotool x11-utils" are there. Abstract sockets of
# displays are shared with the machine.
start_session() {
    as_tester+=("DISPLAY=:$((100 + $$ % 900))")
    inside install -d -o tester -g tester -m 700 /run/tester
    "${as_tester[@]}" Xvfb "${as_tester[-1]#DISPLAY=}" -screen 0 1280x800x24 -nolisten tcp >"$work/xvfb.log" 2>&1 &
    started+=($!)
    within 20 as_user xwininfo -root || fail "no display: $(cat "$work/xvfb.log")"
    "${as_tester[@]}" dbus-daemon --session --nofork --nopidfile --address=unix:path=/run/tester/bus >"$work/bus.log" 2>&1 &
    started+=($!)
    within 20 inside test -S /run/tester/bus || fail "no session bus: $(cat "$work/bus.log")"
}

# Starts the installed client for the person, by the given command; sets client to its process id.
start_client() {
    "${as_tester[@]}" "$@" >"$work/client.log" 2>&1 &
    client=$!
    started+=("$client")
    within 30 as_user xdotool search --onlyvisible --class '^Mav$' || fail "no window: $(cat "$work/client.log")"
    runs_client || fail "process $client is not the client"
}
runs_client() {
    local program
    program=$(readlink "/proc/$client/exe") || return 1
    [[ ${program% (deleted)} == */Applications/Mav/Mav.app/Contents/MacOS/Mav* ]]
}

# Sets deb, version and release from the package that is tried.
use_package() {
    deb=$(realpath "$1")
    version=$(dpkg-deb -f "$deb" Version)
    case "$version" in
    *+deb12) release=bookworm ;;
    *+deb13) release=trixie ;;
    *) fail "version $version is for neither Debian 12 nor 13" ;;
    esac
}

# Installs what the package depends on, and nothing that it only recommends, by a package of nothing but its dependencies.
install_needs() {
    mkdir -p "$work/needs/DEBIAN"
    {
        printf 'Package: mav-needs\nVersion: 1\nArchitecture: all\nMaintainer: %s\n' "$(dpkg-deb -f "$deb" Maintainer)"
        dpkg-deb -f "$deb" Depends | sed 's/^/Depends: /'
        printf 'Description: what mav depends on\n'
    } >"$work/needs/DEBIAN/control"
    quietly dpkg-deb --root-owner-group -b "$work/needs" "$tree/var/tmp/mav-needs.deb"
    install_inside /var/tmp/mav-needs.deb
}

# The same files as version $1, in $2.
repack() {
    rm -rf "$work/repacked"
    quietly dpkg-deb -R "$deb" "$work/repacked"
    sed -i "s/^Version: .*/Version: $1/" "$work/repacked/DEBIAN/control"
    sed -i "s|<string>${version%-*}</string>|<string>${1%-*}</string>|" \
        "$work/repacked/Applications/Mav/Mav.app/Contents/Info.plist"
    quietly dpkg-deb --root-owner-group -b "$work/repacked" "$2"
}

# Every file but those of the kernel, of users, of the package system and of caches.
files_inside() {
    inside find / \( -path /proc -o -path /sys -o -path /dev -o -path /run -o -path /tmp -o -path /home -o -path /root \
        -o -path /var/lib/dpkg -o -path /var/lib/apt -o -path /var/cache -o -path /var/log \) -prune \
        -o -printf '%p %y %m %U:%G\n' | sort
}
note_files() { files_inside >"$work/without"; }
same_as_before() {
    files_inside >"$work/after"
    diff "$work/without" "$work/after" >"$work/said" || {
        head -n 40 "$work/said" >&2
        fail "the system is not as it was"
    }
}
