#!/bin/bash
# Takes a package through its life on a bare Debian 12, in a folder of its own: installs it, starts the client as a user on a
# virtual display, upgrades it under the running client, removes and purges it, and looks for what stays behind. Ends with
# status 0 when all holds, else 1. As root; needs debootstrap. Downloads are kept in $MAV_PACKAGE_CACHE, by default
# ~/.cache/mav-package-test; $MAV_DEBIAN_MIRROR is where they come from, by default where this system's come from.
# usage: packaging/test-package.sh DEB
set -euo pipefail
export LC_ALL=C.UTF-8
umask 022

[ $# -eq 1 ] && [ -f "$1" ] || {
    echo "usage: packaging/test-package.sh DEB" >&2
    exit 2
}
[ "$(id -u)" -eq 0 ] || {
    echo "test-package.sh: a system in a folder can only be made as root" >&2
    exit 2
}
deb=$(realpath "$1")
version=$(dpkg-deb -f "$deb" Version)
cache=${MAV_PACKAGE_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/mav-package-test}
mirror=${MAV_DEBIAN_MIRROR:-$(apt-get indextargets --format '$(REPO_URI)' 'Identifier: Packages' | grep -m 1 /debian/\?$ || true)}
# Abstract sockets of displays are shared with the machine.
display=:$((100 + $$ % 900))
work=$(mktemp -d /var/tmp/mav-package-XXXXXX)
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
    LOGNAME=tester "DISPLAY=$display" XDG_RUNTIME_DIR=/run/tester DBUS_SESSION_BUS_ADDRESS=unix:path=/run/tester/bus)
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
        echo "test-package.sh: $work is still mounted in and stays" >&2
        status=1
    else
        rm -rf --one-file-system "$work"
    fi
    [ $status -eq 0 ] && step "all good" || step "failed with status $status"
    exit "$status"
}
trap clean_up EXIT
trap 'exit 1' INT TERM HUP

install_inside() {
    quietly inside apt-get -q -y --no-install-recommends -o APT::Sandbox::User=root install "$@"
}

# Every file but those of the kernel, of users, of the package system and of caches.
files_inside() {
    inside find / \( -path /proc -o -path /sys -o -path /dev -o -path /run -o -path /tmp -o -path /home -o -path /root \
        -o -path /var/lib/dpkg -o -path /var/lib/apt -o -path /var/cache -o -path /var/log \) -prune \
        -o -printf '%p %y %m %U:%G\n' | sort
}

check_is_folder() {
    local is
    is=$(inside stat -c '%U:%G %a' "$1") || fail "no folder $1"
    [ "$is" = "root:root 755" ] || fail "$1 is $is, not root:root 755"
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

# A package of nothing but the dependencies, in $1.
make_needs() {
    mkdir -p "$work/needs/DEBIAN"
    {
        printf 'Package: mav-needs\nVersion: 1\nArchitecture: all\nMaintainer: %s\n' "$(dpkg-deb -f "$deb" Maintainer)"
        dpkg-deb -f "$deb" Depends | sed 's/^/Depends: /'
        printf 'Description: what mav depends on\n'
    } >"$work/needs/DEBIAN/control"
    quietly dpkg-deb --root-owner-group -b "$work/needs" "$1"
}

make_tree() {
    mkdir -p "$cache/bootstrap" "$cache/apt/partial" "$tree"
    quietly debootstrap --variant=minbase --cache-dir="$cache/bootstrap" bookworm "$tree" ${mirror:+"$mirror"}
    mount_in -t proc proc "$tree/proc"
    mount_in -t sysfs -o ro sysfs "$tree/sys"
    mount_in --bind "$cache/apt" "$tree/var/cache/apt/archives"
    mount_in -t tmpfs -o mode=1777,nosuid,nodev tmpfs "$tree/tmp"
    mount_in -t tmpfs -o mode=1777,nosuid,nodev tmpfs "$tree/dev/shm"
    # Downloaded packages stay for the next time, and no service is started.
    printf 'Binary::apt-get::APT::Keep-Downloaded-Packages "true";\n' >"$tree/etc/apt/apt.conf.d/99keep"
    printf '#!/bin/sh\nexit 101\n' >"$tree/usr/sbin/policy-rc.d"
    chmod 755 "$tree/usr/sbin/policy-rc.d"
    cp /etc/resolv.conf "$tree/etc/resolv.conf"
    quietly inside apt-get -q update
    inside useradd --create-home --shell /bin/sh tester
    cp "$deb" "$tree/var/tmp/mav.deb"
}

# Each plug-in that the client loads finds its libraries, with nothing installed but what the package asks for.
check_plugins() {
    local plugins missing
    plugins=$(inside find / -xdev -path '*/qt6/plugins/*' -name '*.so')
    for wanted in platforms/libqxcb imageformats/libqsvg imageformats/libqgif tls/libqopensslbackend; do
        grep -q "/$wanted.so$" <<<"$plugins" || fail "no plug-in $wanted"
        missing=$(inside ldd "$(grep "/$wanted.so$" <<<"$plugins")" | grep 'not found' || true)
        [ -z "$missing" ] || fail "$wanted lacks $missing"
    done
}

check_commands() {
    [ "$(inside readlink /usr/bin/mav)" = /Applications/Mav/Mav.app/Contents/MacOS/Mav ] || fail "mav is no link to the client"
    quietly inside mavctl --help
    local said status=0
    said=$(as_user mavctl doctor 2>&1) || status=$?
    # Without agent and server there are problems to report.
    [ $status -eq 1 ] || fail "mavctl doctor ended with status $status: $said"
    grep -q "^good .*agent's folder" <<<"$said" || fail "mavctl doctor does not see the agent's folder: $said"
    inside find / -xdev -name 'mav*reference*' | grep . && fail "reference programs are installed"
    quietly as_user mavctl device
    quietly inside /Applications/Mav/Mav.app/Contents/Tools/scutil --get ComputerName
    for file in /usr/lib/systemd/system/mav-facts.service /usr/share/dbus-1/system.d/com.qencloud.mav.HostFacts.conf \
        /usr/share/dbus-1/system-services/com.qencloud.mav.HostFacts.service /usr/lib/sysusers.d/mav-facts.conf; do
        inside test -f "$file" || fail "no $file"
    done
    # Without a bus it says so and ends.
    said=$(inside /Applications/Mav/Mav.app/Contents/Services/mav-facts 2>&1) && fail "mav-facts runs without a bus"
    grep -q "there is no system bus" <<<"$said" || fail "mav-facts cannot start: $said"
}

start_session() {
    inside install -d -o tester -g tester -m 700 /run/tester
    "${as_tester[@]}" Xvfb "$display" -screen 0 1280x800x24 -nolisten tcp >"$work/xvfb.log" 2>&1 &
    started+=($!)
    within 20 as_user xwininfo -root || fail "no display: $(cat "$work/xvfb.log")"
    "${as_tester[@]}" dbus-daemon --session --nofork --nopidfile --address=unix:path=/run/tester/bus >"$work/bus.log" 2>&1 &
    started+=($!)
    within 20 inside test -S /run/tester/bus || fail "no session bus: $(cat "$work/bus.log")"
}

# Sets client to its process id.
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

window_facts() {
    as_user sh -c 'for window in $(xdotool search --onlyvisible --class "^Mav$"); do
        xwininfo -id "$window" | grep -E "xwininfo|Width|Height|Map State"
    done' | tr -s ' \n' ' '
}

step "a bare Debian 12 in $tree"
make_tree

step "install what $version depends on, and nothing it only recommends"
make_needs "$tree/var/tmp/mav-needs.deb"
install_inside /var/tmp/mav-needs.deb
check_plugins

step "note the system without the package"
install_inside xvfb dbus xdotool x11-utils
files_inside >"$work/without"

step "install $version, mavctl"
install_inside /var/tmp/mav.deb
check_is_folder "/Library"
check_is_folder "/Library/Application Support"
check_is_folder "/Library/Application Support/QenCloud"
start_session
check_commands

step "start the client as a user"
start_client /usr/bin/mav -agent
sleep 5
runs_client || fail "the client ended by itself: $(cat "$work/client.log")"
step "  $(window_facts)"
as_user sh -c 'grep -q "start Mav" "$HOME"/Library/Logs/QenCloud/Logs/*.log' || fail "the client has no log"
status=0
as_user /usr/bin/mav || status=$?
[ $status -eq 1 ] || fail "a second start ended with status $status, not 1"

step "upgrade under the running client"
higher=${version%-*}.1-1
repack "$higher" "$tree/var/tmp/mav-higher.deb"
install_inside /var/tmp/mav-higher.deb
[ "$(inside dpkg-query -W -f '${db:Status-Status} ${Version}' mav)" = "installed $higher" ] || fail "not upgraded"
sleep 3
runs_client || fail "the upgrade ended the client"
step "  the client goes on"
quietly inside dpkg-reconfigure mav
quietly inside apt-get -q -y --no-install-recommends install --reinstall /var/tmp/mav-higher.deb

step "end the client, start the upgraded one and end that"
end_process "$client"
start_client /usr/bin/mav
grep -q "<string>${higher%-*}</string>" "$tree/Applications/Mav/Mav.app/Contents/Info.plist" ||
    fail "the version is the old one"
end_process "$client"

step "a folder of the agent that is not safe is put right, its files are left alone"
inside touch "/Library/Application Support/QenCloud/.QenConfig" "/Library/Application Support/QenCloud/record_server.archive"
inside chown tester: "/Library/Application Support/QenCloud" "/Library/Application Support/QenCloud/.QenConfig"
inside chmod 777 "/Library/Application Support/QenCloud"
quietly inside dpkg-reconfigure mav
check_is_folder "/Library/Application Support/QenCloud"
[ "$(inside stat -c %U "/Library/Application Support/QenCloud/.QenConfig")" = tester ] || fail "a file of the agent was changed"

step "remove: the agent's files and the settings of administrators stay"
quietly inside apt-get -q -y remove mav
inside test ! -e /Applications || fail "/Applications is still there"
inside test -e "/Library/Application Support/QenCloud/record_server.archive" || fail "a removal took a state file"
inside test -e /etc/xdg/autostart/com.qencloud.mav.desktop || fail "a removal took the settings"

step "purge: only the agent's file stays, and nothing when that is gone"
quietly inside apt-get -q -y purge mav
inside test -e "/Library/Application Support/QenCloud/.QenConfig" || fail "the purge took a file of the agent"
inside test ! -e "/Library/Application Support/QenCloud/record_server.archive" || fail "the purge left the client's file"
inside rm -r /Library
install_inside /var/tmp/mav.deb
inside touch "/Library/Application Support/QenCloud/record_server.archive"
quietly inside apt-get -q -y purge mav
rm -f "$tree/var/tmp/mav-higher.deb"
files_inside >"$work/after"
diff "$work/without" "$work/after" || fail "the system is not as it was"

step "what the user made is still there"
as_user sh -c 'ls "$HOME"/Library/Logs/QenCloud/Logs/*.log "$HOME/Library/Application Support/QenCloudL" >/dev/null' ||
    fail "the purge took files of a user"
