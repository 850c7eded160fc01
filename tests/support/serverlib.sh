# serverlib.sh - tessellan servers started in the background on ports the system picks, for
# test scripts. Source it with bash. start_server needs exe (the tessellan executable) and work
# (a folder for the logs) set; the caller's EXIT trap should run stop_servers.
# shellcheck shell=bash

pids=()
server_port=""

# port_open PORT - something accepts connections on 127.0.0.1:PORT
port_open() {
    (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null
}

# start_server NAME [ARGUMENT...] - runs "$exe" ARGUMENTS in the background with its output in
# $work/NAME.log, and waits up to 10 s for its "serving on port N" line; then server_port is N.
# Fails when the server ends or never says so. Its preferences should name port 0, so that the
# system picks a free port and no other process can take it between choosing and binding.
start_server() {
    local name=$1 log
    shift
    log="${work:?}/$name.log"
    "${exe:?}" "$@" >"$log" 2>&1 &
    pids+=($!)
    server_port=""
    for _ in $(seq 200); do
        server_port=$(sed -n 's/^serving on port \([0-9][0-9]*\)$/\1/p' "$log" | head -1)
        [ -n "$server_port" ] && return 0
        kill -0 "${pids[-1]}" 2>/dev/null || return 1
        sleep 0.05
    done
    return 1
}

# stop_servers - ends the servers start_server started
stop_servers() {
    local pid
    for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null; done
}
