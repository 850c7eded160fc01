#!/usr/bin/env bash
# layout_vs_nginx.sh - requests per second for layout files through tessellan and through nginx
# (one worker, keep-alive, no access log) serving the same files, measured with wrk on loopback.
# The servers run on one core and wrk on the other; each figure is the median of ROUNDS runs
# taken in turn, so that a passing disturbance hits both servers alike.
# Usage: bench/layout_vs_nginx.sh [SECONDS] [ROUNDS]   (builds the optimised server when needed)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-5}
rounds=${2:-3}
. "$root/scripts/lib/packages.sh"
ensure_packages $BUILD_PACKAGES wrk nginx-light

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
taskset -c 1 "$build/tessellan" --prefs "$work/prefs.plist" --resources "$work/resources" >"$work/tessellan.log" 2>&1 &
pids+=($!)
tpid=$!

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
    types { text/html html; text/css css; application/x-javascript js; }
    server { listen 127.0.0.1:$nport; root $layout; }
}
CONF
taskset -c 1 nginx -c "$work/nginx.conf" &
pids+=($!)
sleep 1

npid=$(pgrep -P "${pids[1]}" | head -1) # the nginx worker

# rate URL PID - requests per second, and the server's processor time per request in
# microseconds (steadier than the rate when other programs disturb the machine).
rate() {
    local before after out
    before=$(awk '{print $14 + $15}' "/proc/$2/stat")
    out=$(taskset -c 0 wrk -t1 -c32 -d"${seconds}s" "$1")
    after=$(awk '{print $14 + $15}' "/proc/$2/stat")
    echo "$out" | awk -v ticks=$((after - before)) -v hz="$(getconf CLK_TCK)" '
        /requests in/ {n = $1} /Requests\/sec/ {r = $2}
        END {printf "%s %.2f\n", r, ticks * 1e6 / hz / n}'
}
median() { sort -n | awk '{v[NR]=$1} END {print v[int((NR+1)/2)]}'; }
printf '%-12s %12s %12s %7s %14s %12s\n' "file" "tessellan" "nginx" "ratio" "tessellan us" "nginx us"
for file in index.html two-k.js; do
    rate "http://127.0.0.1:$tport/$file" "$tpid" >/dev/null # warm up
    : >"$work/t" && : >"$work/n"
    for _ in $(seq "$rounds"); do
        rate "http://127.0.0.1:$tport/$file" "$tpid" >>"$work/t"
        rate "http://127.0.0.1:$nport/$file" "$npid" >>"$work/n"
    done
    t=$(cut -d' ' -f1 <"$work/t" | median)
    n=$(cut -d' ' -f1 <"$work/n" | median)
    tu=$(cut -d' ' -f2 <"$work/t" | median)
    nu=$(cut -d' ' -f2 <"$work/n" | median)
    printf '%-12s %12s %12s %7.2f %14s %12s\n' "$file" "$t" "$n" "$(echo "$t / $n" | bc -l)" "$tu" "$nu"
done
echo "(requests per second with wrk -t1 -c32, and server processor time per request; medians of"
echo " $rounds runs of ${seconds}s; target ratio >= 0.90)"
