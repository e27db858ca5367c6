#!/bin/bash
# Takes a package through its life on a bare Debian of the release that it was built for, in a folder of its own: installs it,
# starts the client as a user on a virtual display, upgrades it under the running client, removes and purges it, and looks for
# what stays behind. Ends with status 0 when all holds, else 1. As root; bare-system.sh says what else.
# usage: packaging/test-package.sh DEB
set -euo pipefail
export LC_ALL=C.UTF-8
umask 022

[ $# -eq 1 ] && [ -f "$1" ] || {
    echo "usage: packaging/test-package.sh DEB" >&2
    exit 2
}
. "$(dirname "$0")/bare-system.sh"
use_package "$1"

check_is_folder() {
    local is
    is=$(inside stat -c '%U:%G %a' "$1") || fail "no folder $1"
    [ "$is" = "root:root 755" ] || fail "$1 is $is, not root:root 755"
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

window_facts() {
    as_user sh -c 'for window in $(xdotool search --onlyvisible --class "^Mav$"); do
        xwininfo -id "$window" | grep -E "xwininfo|Width|Height|Map State"
    done' | tr -s ' \n' ' '
}

step "a bare $release in $tree"
make_system "$release"
cp "$deb" "$tree/var/tmp/mav.deb"

step "install what $version depends on, and nothing it only recommends"
install_needs
check_plugins

step "note the system without the package"
install_inside xvfb dbus xdotool x11-utils
note_files

step "install $version, mavctl"
install_inside /var/tmp/mav.deb
check_is_folder "/Library"
check_is_folder "/Library/Application Support"
check_is_folder "/Library/Application Support/QenCloud"
check_is_folder "/Library/Logs/QenCloud/v5/Logs"
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
higher=${version%-*}.1-${version##*-}
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
same_as_before

step "what the user made is still there"
as_user sh -c 'ls "$HOME"/Library/Logs/QenCloud/Logs/*.log "$HOME/Library/Application Support/QenCloudL" >/dev/null' ||
    fail "the purge took files of a user"
