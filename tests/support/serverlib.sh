# serverlib.sh - free ports and tessellan servers started in the background, for test scripts.
# Source it with bash. start_server needs exe (the tessellan executable) and work (a folder for
# the logs) set; the caller's EXIT trap should run stop_servers.
# shellcheck shell=bash

pids=()

# port_open PORT - something accepts connections on 127.0.0.1:PORT
port_open() {
    (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null
}

# free_port - prints a port nothing on 127.0.0.1 listens on
free_port() {
    local port
    while :; do
        port=$((20000 + RANDOM % 40000))
        port_open "$port" || { echo "$port"; return; }
    done
}

# start_server NAME PORT [ARGUMENT...] - runs "$exe" ARGUMENTS in the background with its output
# in $work/NAME.log, and waits up to 10 s for it to accept on PORT; fails when it does not
start_server() {
    local name=$1 port=$2
    shift 2
    "${exe:?}" "$@" >"${work:?}/$name.log" 2>&1 &
    pids+=($!)
    for _ in $(seq 200); do
        port_open "$port" && return 0
        sleep 0.05
    done
    return 1
}

# stop_servers - ends the servers start_server started
stop_servers() {
    local pid
    for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null; done
}
