# serverlib.sh - tessellan servers started in the background on ports the system picks, for
# test scripts. Source it with bash; set exe (the tessellan executable) and work (a folder for
# the logs), and have the EXIT trap run stop_servers.
# shellcheck shell=bash

pids=()
server_port=""

# start_server NAME [ARGUMENT...] - runs "$exe" ARGUMENTS in the background, its output in
# $work/NAME.log, and waits up to 10 s for its "serving on port N" line: then server_port is N.
# Fails when the server ends or never says so. Its preferences should name port 0.
start_server() {
    local name=$1
    shift
    "${exe:?}" "$@" >"${work:?}/$name.log" 2>&1 &
    pids+=($!)
    for _ in $(seq 200); do
        server_port=$(sed -n 's/^serving on port \([0-9][0-9]*\)$/\1/p' "$work/$name.log" | head -1)
        [ -n "$server_port" ] && return 0
        kill -0 "${pids[-1]}" 2>/dev/null || return 1
        sleep 0.05
    done
    return 1
}

# stop_servers - ends the servers start_server started
stop_servers() {
    [ ${#pids[@]} -eq 0 ] || kill "${pids[@]}" 2>/dev/null
}
