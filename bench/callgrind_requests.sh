#!/usr/bin/env bash
# callgrind_requests.sh - processor instructions the server spends per request (all its threads,
# counted by callgrind), for the rows of layout_vs_nginx.sh: steady on a busy machine, where
# wall-clock rates are not. Each row sends COUNT requests on one keep-alive connection; a run
# with no requests is taken off, so start-up and shutdown do not count.
# Usage: bench/callgrind_requests.sh [COUNT] [SERVER]   (SERVER: another build's tessellan, to
# compare against; default the optimised build of this tree)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
count=${1:-2000}
. "$root/scripts/lib/packages.sh"
ensure_packages $BUILD_PACKAGES valgrind curl python3

build="$root/build/release"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTESSELLAN_TESTS=OFF >/dev/null
cmake --build "$build" >/dev/null
server=${2:-$build/tessellan}

work=$(mktemp -d /tmp/tessellan-callgrind.XXXXXX)
trap 'rm -rf "$work"' EXIT
layout="$work/resources/layouts/Default"
mkdir -p "$layout"
cp "$root"/resources/layouts/Default/* "$layout"/
head -c 2048 /dev/zero | tr '\0' 'x' >"$layout/two-k.js"
port=$((20000 + RANDOM % 40000))
cat >"$work/prefs.plist" <<PLIST
<plist><dict><key>port</key><integer>$port</integer><key>siteLayout</key><string>Default</string></dict></plist>
PLIST
"$build/make_demo_library" "$work/library" "$work/prefs.plist" --port "$port" >/dev/null

# instructions PATH HEADER N - the server's instructions for a run answering N requests.
instructions() {
    local out="$work/callgrind.out"
    valgrind --tool=callgrind --callgrind-out-file="$out" "$server" --prefs "$work/prefs.plist" \
        --resources "$work/resources" >"$work/server.log" 2>&1 &
    local pid=$!
    for _ in $(seq 300); do curl -s -o /dev/null "http://127.0.0.1:$port/json/getsite" && break; sleep 0.2; done
    python3 - "$port" "$1" "$2" "$3" <<'PY'
import http.client, re, sys
port, path, header, n = int(sys.argv[1]), sys.argv[2], sys.argv[3], int(sys.argv[4])
c = http.client.HTTPConnection("127.0.0.1", port)
def get(target, headers={}):
    c.request("GET", target, headers=headers)
    reply = c.getresponse()
    return reply, reply.read().decode("latin-1")
if path == "THUMBNAIL":  # the first photo's thumbnail, revalidated with its own tag
    album = re.search(r'"id":(\d+)', get("/json/getalbums?l=0")[1]).group(1)
    photo = re.search(r'"id":(\d+)', get(f"/json/getpics?l=0&a={album}&i=0&c=1")[1]).group(1)
    path = f"/thumbnail/?l=0&a={album}&p={photo}"
    header = "If-None-Match: " + get(path)[0].getheader("ETag")
headers = dict([header.split(": ", 1)]) if header else {}
for _ in range(n):
    c.request("GET", path, headers=headers)
    c.getresponse().read()
PY
    kill -TERM "$pid"
    wait "$pid" || true
    awk '/^summary:|^totals:/ {print $2; exit}' "$out"
}

printf '%-16s %14s\n' "request" "instr/request"
row() {
    local base with
    base=$(instructions "$2" "${3:-}" 0)
    with=$(instructions "$2" "${3:-}" "$count")
    printf '%-16s %14d\n' "$1" $(((with - base) / count))
}
row index.html /index.html
row two-k.js /two-k.js
row "app.js gzip" /app.js "Accept-Encoding: gzip"
row "json getsite" /json/getsite
row "thumbnail 304" THUMBNAIL
echo "(callgrind, $count requests on one connection; the count of a run without requests is taken off)"
