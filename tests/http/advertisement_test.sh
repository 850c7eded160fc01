#!/usr/bin/env bash
# advertisement_test.sh - the server as a browser on the network sees it: a loopback-only
# Avahi daemon on a system D-Bus, avahi-browse, and servers started before and after the daemon.
# Usage: advertisement_test.sh TESSELLAN_EXECUTABLE RESOURCES_DIR
set -u
exe=$1
skip() { echo "SKIPPED: $*"; exit 77; }
fail() { echo "FAILED: $*"; cat "$work"/*.log 2>/dev/null; exit 1; }
# shellcheck source=../support/serverlib.sh
. "$(dirname "$0")/../support/serverlib.sh"

[ "$(id -u)" -eq 0 ] || skip "needs root to start a system bus and avahi-daemon"
for tool in dbus-daemon avahi-daemon avahi-browse; do
    command -v $tool >/dev/null || skip "$tool is not installed"
done

work=$(mktemp -d /tmp/tessellan-adv.XXXXXX)
bus_pid=""
daemon_pid=""
trap 'stop_servers; kill $daemon_pid $bus_pid 2>/dev/null; wait 2>/dev/null; rm -rf "$work"' EXIT

# start_titled NAME - a server titled $title on a port the system picks (server_port)
start_titled() {
    printf '<plist><dict><key>port</key><integer>0</integer><key>title</key><string>%s</string>
<key>siteLayout</key><string>Default</string></dict></plist>\n' "$title" >"$work/$1.plist"
    start_server "$1" --prefs "$work/$1.plist" --resources "$2" || fail "server $1 did not start"
}

# serves PORT - answers a request for the start page
serves() {
    exec 3<>"/dev/tcp/127.0.0.1/$1" || return 1
    printf 'GET / HTTP/1.1\r\nHost: x\r\n\r\n' >&3
    local line
    read -r -t 5 line <&3
    exec 3<&-
    [[ "$line" == "HTTP/1.1 200 OK"* ]]
}

# advertised NAME PORT - avahi-browse lists the service with that name and port (waits up to
# 30 s; a browse that stalls on a busy daemon is cut off and tried again)
advertised() {
    local until=$((SECONDS + 30))
    while [ $SECONDS -lt $until ]; do
        timeout 5 avahi-browse -rpt _http._tcp 2>/dev/null | grep -F "=;" | grep -F ";$1;" | grep -qF ";$2;\"path=/\"" && return 0
        sleep 0.25
    done
    return 1
}

# A system bus of our own unless one is running already.
if ! dbus-send --system --dest=org.freedesktop.DBus --print-reply / org.freedesktop.DBus.GetId >/dev/null 2>&1; then
    mkdir -p /run/dbus
    rm -f /run/dbus/pid
    bus_pid=$(dbus-daemon --system --fork --print-pid) || fail "could not start dbus-daemon"
fi

title="Tessellan advertisement $$"
start_titled first "$2"
port1=$server_port
if ! avahi-daemon --check 2>/dev/null; then
    # No daemon yet: the server must say so once and serve anyway.
    serves "$port1" || fail "the server does not serve without an mDNS responder"
    grep -q "no mDNS responder reachable" "$work/first.log" || fail "no line about the missing responder"
    printf '[server]\nallow-interfaces=lo\nuse-ipv6=no\n[wide-area]\nenable-wide-area=no\n[publish]\npublish-hinfo=no\npublish-workstation=no\n' >"$work/avahi.conf"
    avahi-daemon -f "$work/avahi.conf" --daemonize || fail "could not start avahi-daemon"
    for _ in $(seq 40); do [ -s /run/avahi-daemon/pid ] && break; sleep 0.1; done
    daemon_pid=$(cat /run/avahi-daemon/pid)
fi

echo "first server on port $port1, looking for its advertisement"
advertised "${title// /\\032}" "$port1" || fail "'$title' on port $port1 was not advertised"

start_titled second "$2"
port2=$server_port
serves "$port2" || fail "the second server does not serve"
echo "second server on port $port2, looking for its advertisement"
advertised "${title// /\\032}\\032\\0352" "$port2" || fail "the second server did not take the name '$title #2'"
grep -q "advertising as '$title #2'" "$work/second.log" || fail "the second server did not say which name it took"
serves "$port1" || fail "the first server stopped serving"
echo "advertisement: 1 passed, 0 failed"
