#!/bin/bash
# Rolls a package out as an organisation does: a signed archive, offered over a local connection, and the Ansible role on a bare
# Debian of the package's release. Installs, sets up, runs again without a change, upgrades under a running client, goes back,
# refuses what is wrong, removes; ends with status 0 when all holds, else 1. As root; bare-system.sh says what else. PROGRAMS is a
# folder of this system's with the reference server, which doctor wants to reach. Everything listens on loopback only.
# usage: packaging/test-fleet.sh DEB PROGRAMS
set -euo pipefail
export LC_ALL=C.UTF-8
umask 022

[ $# -eq 2 ] && [ -f "$1" ] && [ -x "$2/mav-reference-server" ] || {
    echo "usage: packaging/test-fleet.sh DEB PROGRAMS" >&2
    exit 2
}
here=$(realpath "$(dirname "$0")")
. "$here/bare-system.sh"
use_package "$1"
programs=$(realpath "$2")
config="/Library/Application Support/QenCloud/.QenConfig"
autostart=/etc/xdg/autostart/com.qencloud.mav.desktop
identity=/Applications/Mav/Mav.app/Contents/Resources/client.p12

# A key that nobody needs after this run.
make_key() {
    install -d -m 700 "$work/gnupg"
    export GNUPGHOME=$work/gnupg
    quietly gpg --batch --passphrase "" --quick-generate-key "Mav test archive <archive@mav.invalid>" ed25519 sign never
}
offer() { quietly "$here/repository.sh" "$work/archive" archive@mav.invalid "$1"; }

# Sets port to the one that the command's output names, by the pattern.
start_listener() {
    local said=$work/$1.log pattern=$2
    shift 2
    "$@" >"$said" 2>&1 &
    started+=($!)
    within 30 grep -qE "$pattern" "$said" || fail "$* does not start: $(cat "$said")"
    port=$(sed -nE "s/.*$pattern.*/\1/p" "$said" | head -n 1)
}

# Sets one value of the play; yes, no and texts.
value() { sed -i "/^$1:/d" "$tree/tmp/fleet/values.yml" && echo "$1: $2" >>"$tree/tmp/fleet/values.yml"; }
play() {
    "$@" ansible-playbook --inventory localhost, --connection local --extra-vars @/tmp/fleet/values.yml /tmp/fleet/ansible/site.yml \
        >"$work/play" 2>&1
}
# Runs the role and wants exactly so many changes; "some" for a run that has to change something.
changes() {
    local found
    play inside || fail "the role failed: $(cat "$work/play")"
    found=$(sed -nE 's/^localhost .* changed=([0-9]+) .*/\1/p' "$work/play")
    [ "$found" = "$1" ] || { [ "$1" = some ] && [ "$found" -gt 0 ]; } || fail "$found changes, not $1: $(cat "$work/play")"
}
# Runs the role, which has to fail with these words and change nothing.
refuses() {
    local words=$1
    shift
    play "$@" && fail "no failure: $(cat "$work/play")"
    grep -qF -- "$words" "$work/play" || fail "it does not say \"$words\": $(cat "$work/play")"
    grep -q '^changed: ' "$work/play" && fail "a refused run changed something: $(cat "$work/play")"
    true
}
installed() { inside dpkg-query -W -f '${db:Status-Status} ${Version}' mav; }

step "a bare $release in $tree, with Ansible"
make_system "$release"
# What is only recommended would stay behind in the end.
printf 'APT::Install-Recommends "false";\n' >"$tree/etc/apt/apt.conf.d/98bare"
install_inside ansible-core python3-apt xvfb dbus xdotool x11-utils
install_needs
mkdir "$tree/tmp/fleet"
cp -R "$here/ansible" "$tree/tmp/fleet/ansible"
note_files

step "a signed archive and a management server on loopback"
make_key
offer "$deb"
start_listener web 'port ([0-9]+)' python3 -u -m http.server 0 --bind 127.0.0.1 --directory "$work/archive"
archive_port=$port
start_listener server '^ready http=([0-9]+)' "$programs/mav-reference-server" --folder "$work/server" --port 0 --https-port 0
cp "$work/archive/mav-archive.asc" "$tree/tmp/fleet/"
: >"$tree/tmp/fleet/values.yml"
value mav_archive_uri "http://127.0.0.1:$archive_port"
value mav_archive_key /tmp/fleet/mav-archive.asc
value mav_server "127.0.0.1:$port"

step "the role refuses a person without rights, before anything is there"
value ansible_become false
refuses "let the play become root" as_user

value ansible_become true

step "install and set up"
changes some
[ "$(installed)" = "installed $version" ] || fail "installed is: $(installed)"
[ "$(as_user mavctl server show | head -n 1)" = "intranet 127.0.0.1:$port" ] || fail "the server is not set"
step "  a second run changes nothing"
changes 0

step "the server by hand: refused to a person, idempotent for root"
as_user mavctl server set 10.0.0.1 2>"$work/said" && fail "a person may set the server"
grep -q 'Permission denied' "$work/said" || fail "the reason is: $(cat "$work/said")"
[ "$(inside mavctl server set "127.0.0.1:$port")" = "unchanged 127.0.0.1:$port" ] || fail "not unchanged"

step "a server that the window refuses"
value mav_server mav.example.org
before=$(inside sha256sum "$config")
refuses "not an IPv4 address" inside
[ "$(inside sha256sum "$config")" = "$before" ] || fail "the configuration was written"
value mav_server "127.0.0.1:$port"

step "upgrade under a running client"
start_session
start_client /usr/bin/mav -agent
higher=${version%-*}.1-${version##*-}
repack "$higher" "$work/higher.deb"
offer "$work/higher.deb"
changes 1
[ "$(installed)" = "installed $higher" ] || fail "installed is: $(installed)"
sleep 3
runs_client || fail "the upgrade ended the client"
step "  the client goes on; a second run changes nothing"
changes 0

step "autostart off, an identity, and both back"
value mav_autostart false
changes 1
inside grep -qx Hidden=true "$autostart" || fail "the autostart is on"
openssl rand 64 >"$tree/tmp/fleet/client.p12"
value mav_identity /tmp/fleet/client.p12
changes some
as_user cmp "$identity" "$identity" || fail "a person cannot read the identity"
changes 0
value mav_autostart true
value mav_identity '""'
changes 2
inside grep -q Hidden "$autostart" && fail "the autostart is off"
inside test ! -e "$identity" || fail "the identity is still there"

step "go back to $version"
offer "$deb"
value mav_version "$version"
changes 1
[ "$(installed)" = "installed $version" ] || fail "installed is: $(installed)"
runs_client || fail "going back ended the client"
changes 0
end_process "$client"

step "remove"
value mav_state absent
value mav_purge true
changes some
changes 0
same_as_before
