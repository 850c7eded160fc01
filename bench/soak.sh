#!/usr/bin/env bash
# soak.sh - a soak and load run against the sanitizer build of tessellan serving the demo
# library: mixed traffic (pages, JSON, thumbnails, shrunk pictures, film ranges, album downloads
# when the server has them, 304s) on many keep-alive connections, with SIGHUP every few seconds
# and the album file rewritten under it; then thousands of connections held open at once.
# Prints requests served, errors, p99 latency and the server's memory after warm-up and at the
# end beside their targets, and any sanitizer report the server wrote.
# Usage: bench/soak.sh [SECONDS] [CONNECTIONS] [HELD]    (default 30 s, 1000, 5000)
#   SERVER=path/to/tessellan bench/soak.sh ...  soaks another build of the server
#   THINK_MS (1000), HUP_EVERY (3 s), REWRITE_EVERY (5 s) and PREFS_EVERY (2 s: tessellanctl
#   publishes and unpublishes the private album, renames the site, or changes the thumbnails'
#   quality) tune the traffic.
#   SANITIZER=thread soaks the ThreadSanitizer build (build/tsan), which stops at its first report.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-30}
connections=${2:-1000}
held=${3:-5000}
. "$root/scripts/lib/packages.sh"
ensure_packages $BUILD_PACKAGES

# The server under test: the sanitizer build the tests use. The load client and the demo
# library writer: the optimised build, so that the client is not what limits the run.
if [ -z "${SERVER:-}" ] && [ "${SANITIZER:-}" = thread ]; then
    cmake -S "$root" -B "$root/build/tsan" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DTESSELLAN_TSAN=ON -DTESSELLAN_WERROR=ON >/dev/null
    nice cmake --build "$root/build/tsan" --target tessellan >/dev/null
    SERVER="$root/build/tsan/tessellan"
elif [ -z "${SERVER:-}" ]; then
    cmake -S "$root" -B "$root/build/test" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
        -DTESSELLAN_SANITIZE=ON -DTESSELLAN_WERROR=ON >/dev/null
    nice cmake --build "$root/build/test" --target tessellan >/dev/null
    SERVER="$root/build/test/tessellan"
fi
release="$root/build/release"
cmake -S "$root" -B "$release" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTESSELLAN_TESTS=OFF \
    -DTESSELLAN_BENCH=ON >/dev/null
nice cmake --build "$release" --target soak_client make_demo_library tessellanctl >/dev/null

work=$(mktemp -d /tmp/tessellan-soak.XXXXXX)
server_pid=""
cleanup() {
    [ -n "$prefs_pid" ] && kill "$prefs_pid" 2>/dev/null
    [ -n "$server_pid" ] && kill "$server_pid" 2>/dev/null && wait "$server_pid" 2>/dev/null
    rm -rf "$work"
}
prefs_pid=""
trap cleanup EXIT

mkdir -m 700 "$work/run"
"$release/make_demo_library" "$work/library" "$work/prefs.plist" --title "Soak" --port 0 >/dev/null
# A small quarantine, so that the memory figures follow the server's own use rather than the
# sanitizer's store of freed blocks; leaks are reported at the end.
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1:quarantine_size_mb=16"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1"
# ThreadSanitizer keeps a history of every access: memory grows under it whatever the server does.
growth_limit=5
[ "${SANITIZER:-}" = thread ] && growth_limit=1000
XDG_CACHE_HOME="$work/cache" XDG_RUNTIME_DIR="$work/run" "$SERVER" --prefs "$work/prefs.plist" \
    --resources "$root/resources" >"$work/server.log" 2>&1 &
server_pid=$!
port=""
for _ in $(seq 400); do
    port=$(sed -n 's/^serving on port \([0-9][0-9]*\)$/\1/p' "$work/server.log" | head -1)
    [ -n "$port" ] && break
    kill -0 "$server_pid" 2>/dev/null || break
    sleep 0.05
done
[ -n "$port" ] || { echo "the server did not start:"; cat "$work/server.log"; exit 1; }

echo "soak: $SERVER on port $port, $(nproc) cores (shared: the figures are noisy)"
# The preferences change under the server as tessellanctl changes them, each change followed by
# the tool's own signal to the running server.
ctl() { "$release/tessellanctl" --prefs "$work/prefs.plist" "$@" >/dev/null 2>&1 || true; }
(
    n=0
    while sleep "${PREFS_EVERY:-2}"; do
        n=$((n + 1))
        case $((n % 4)) in
        0) ctl publish 0 9 ;;
        1) ctl unpublish 0 9 ;;
        2) ctl set title "Soak $n" ;;
        3) ctl set thumbnail-quality $((n % 3)) ;;
        esac
    done
) &
prefs_pid=$!
status=0
"$release/soak_client" --port "$port" --pid "$server_pid" --album "$work/library/AlbumData.xml" \
    --seconds "$seconds" --connections "$connections" --held "$held" \
    --think-ms "${THINK_MS:-1000}" --hup-every "${HUP_EVERY:-3}" \
    --rewrite-every "${REWRITE_EVERY:-5}" --growth-limit "$growth_limit" || status=1
kill "$prefs_pid" 2>/dev/null || true
wait "$prefs_pid" 2>/dev/null || true
prefs_pid=""

# A clean stop lets the leak checker run; then every line a sanitizer wrote is shown.
alive=1
kill -0 "$server_pid" 2>/dev/null || alive=0
kill "$server_pid" 2>/dev/null || true
wait "$server_pid" 2>/dev/null || { [ $alive -eq 1 ] && echo "the server exited with an error"; status=1; }
server_pid=""
pattern="ERROR: (Address|Leak)Sanitizer|runtime error:|WARNING: ThreadSanitizer"
reports=$(grep -cE "$pattern" "$work/server.log" || true)
echo "sanitizer reports: $reports (target 0); server log lines: $(wc -l <"$work/server.log")"
if [ "$reports" -ne 0 ]; then
    grep -A40 -E "$pattern" "$work/server.log" | head -100
    status=1
fi
echo "distinct server log lines (most frequent first):"
sed -E 's/[0-9]+/N/g' "$work/server.log" | sort | uniq -c | sort -rn | head -12
exit $status
