#!/usr/bin/env bash
# layout_vs_nginx.sh - requests per second through tessellan and through nginx (one worker,
# keep-alive, no access log) for the same bytes, measured with wrk on loopback: layout files,
# a layout file gzip-compressed, a JSON reply (nginx serves the same bytes from a file) and a
# revalidated thumbnail (If-None-Match answered 304; nginx revalidates the thumbnail file).
# The servers run on one core and wrk on the other; each figure is the median of ROUNDS runs
# taken in turn, so that a passing disturbance hits both servers alike.
# Usage: bench/layout_vs_nginx.sh [SECONDS] [ROUNDS]   (builds the optimised server when needed)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-5}
rounds=${2:-3}
. "$root/scripts/lib/packages.sh"
ensure_packages $BUILD_PACKAGES wrk nginx-light curl bc

build="$root/build/release"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTESSELLAN_TESTS=OFF >/dev/null
cmake --build "$build" >/dev/null

work=$(mktemp -d /tmp/tessellan-bench.XXXXXX)
pids=()
trap 'for p in "${pids[@]}"; do kill "$p" 2>/dev/null; done; wait 2>/dev/null; rm -rf "$work"' EXIT

layout="$work/resources/layouts/Default"
mkdir -p "$layout"
cp "$root"/resources/layouts/Default/* "$layout"/
head -c 2048 /dev/zero | tr '\0' 'x' >"$layout/two-k.js"

port() { echo $((20000 + RANDOM % 40000)); }
tport=$(port)
nport=$(port)
cat >"$work/prefs.plist" <<PLIST
<plist><dict><key>port</key><integer>$tport</integer><key>siteLayout</key><string>Default</string></dict></plist>
PLIST
"$build/make_demo_library" "$work/library" "$work/prefs.plist" --port "$tport" >/dev/null
taskset -c 1 "$build/tessellan" --prefs "$work/prefs.plist" --resources "$work/resources" >"$work/tessellan.log" 2>&1 &
pids+=($!)
tpid=$!
for _ in $(seq 50); do curl -s -o /dev/null "http://127.0.0.1:$tport/" && break; sleep 0.1; done

# nginx serves the JSON reply's bytes from a file, and a thumbnail file of the same library.
curl -s "http://127.0.0.1:$tport/json/getsite" >"$layout/getsite.json"
album=$(curl -s "http://127.0.0.1:$tport/json/getalbums?l=0" | grep -o '"id":[0-9]*' | head -1 | cut -d: -f2)
photo=$(curl -s "http://127.0.0.1:$tport/json/getpics?l=0&a=$album&i=0&c=1" | grep -o '"id":[0-9]*' | head -1 | cut -d: -f2)
thumbnail=$(find "$work/library/Thumbnails" -name '*.jpg' | sort | head -1)
cp "$thumbnail" "$layout/thumbnail.jpg"

cat >"$work/nginx.conf" <<CONF
worker_processes 1;
daemon off;
pid $work/nginx.pid;
error_log $work/nginx-error.log;
events { worker_connections 1024; }
http {
    access_log off;
    keepalive_requests 1000000;
    keepalive_timeout 60s;
    default_type application/octet-stream;
    types { text/html html; text/css css; application/x-javascript js; text/javascript json; image/jpeg jpg; }
    gzip on;
    gzip_types application/x-javascript text/css text/javascript;
    server { listen 127.0.0.1:$nport; root $layout; }
}
CONF
taskset -c 1 nginx -c "$work/nginx.conf" &
pids+=($!)
sleep 1

npid=$(pgrep -P "${pids[1]}" | head -1) # the nginx worker

# etag URL - the ETag a server gives the URL, or nothing.
etag() { curl -s -D - -o /dev/null "$1" | tr -d '\r' | sed -n 's/^[Ee][Tt][Aa][Gg]: //p'; }
# status URL HEADER - the status a server answers with that request header.
status() { curl -s -o /dev/null -w '%{http_code}' -H "$2" "$1"; }

# rate URL PID [HEADER] - requests per second, and the server's processor time per request in
# microseconds (steadier than the rate when other programs disturb the machine).
rate() {
    local before after out
    local args=()
    [ -n "${3:-}" ] && args=(-H "$3")
    before=$(awk '{print $14 + $15}' "/proc/$2/stat")
    out=$(taskset -c 0 wrk -t1 -c32 -d"${seconds}s" "${args[@]}" "$1")
    after=$(awk '{print $14 + $15}' "/proc/$2/stat")
    echo "$out" | awk -v ticks=$((after - before)) -v hz="$(getconf CLK_TCK)" '
        /requests in/ {n = $1} /Requests\/sec/ {r = $2}
        END {printf "%s %.2f\n", r, ticks * 1e6 / hz / n}'
}
median() { sort -n | awk '{v[NR]=$1} END {print v[int((NR+1)/2)]}'; }

# row NAME TESSELLAN_PATH NGINX_PATH [TESSELLAN_HEADER] [NGINX_HEADER]
row() {
    local name=$1 tu="http://127.0.0.1:$tport$2" nu="http://127.0.0.1:$nport$3"
    rate "$tu" "$tpid" "${4:-}" >/dev/null # warm up
    : >"$work/t" && : >"$work/n"
    for _ in $(seq "$rounds"); do
        rate "$tu" "$tpid" "${4:-}" >>"$work/t"
        rate "$nu" "$npid" "${5:-}" >>"$work/n"
    done
    local t n tus nus
    t=$(cut -d' ' -f1 <"$work/t" | median)
    n=$(cut -d' ' -f1 <"$work/n" | median)
    tus=$(cut -d' ' -f2 <"$work/t" | median)
    nus=$(cut -d' ' -f2 <"$work/n" | median)
    printf '%-16s %12s %12s %7.2f %14s %12s\n' "$name" "$t" "$n" "$(echo "$t / $n" | bc -l)" "$tus" "$nus"
}

printf '%-16s %12s %12s %7s %14s %12s\n' "request" "tessellan" "nginx" "ratio" "tessellan us" "nginx us"
row index.html /index.html /index.html
row two-k.js /two-k.js /two-k.js
row "app.js gzip" /app.js /app.js "Accept-Encoding: gzip" "Accept-Encoding: gzip"
row "json getsite" /json/getsite /getsite.json
thumb="/thumbnail/?l=0&a=$album&p=$photo"
ttag=$(etag "http://127.0.0.1:$tport$thumb")
ntag=$(etag "http://127.0.0.1:$nport/thumbnail.jpg")
if [ -n "$ttag" ] && [ "$(status "http://127.0.0.1:$tport$thumb" "If-None-Match: $ttag")" = 304 ]; then
    row "thumbnail 304" "$thumb" /thumbnail.jpg "If-None-Match: $ttag" "If-None-Match: $ntag"
else
    printf '%-16s %12s\n' "thumbnail 304" "n/a: thumbnails carry no validator in this build"
fi
echo "(requests per second with wrk -t1 -c32, and server processor time per request; medians of"
echo " $rounds runs of ${seconds}s on a machine others share, so expect noise; target ratio >= 0.90."
echo " nginx compresses app.js per request at its default level 1; tessellan compresses it once.)"
