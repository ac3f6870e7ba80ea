# Helpers shared by the bench drivers (bench/http-bench, bench/realtime-bench); sourced.
# shellcheck shell=bash disable=SC2034  # line_buffered is used by the scripts sourcing this

# env_number NAME DEFAULT MIN MAX: the whole number in environment variable NAME, or DEFAULT;
# exits 2 when it is not one within MIN..MAX.
env_number() {
    local name=$1 value=${!1:-$2}
    if ! [[ $value =~ ^[0-9]+$ ]] || ((value < $3 || value > $4)); then
        echo "${0##*/}: $name must be a whole number from $3 to $4, not '$value'" >&2
        exit 2
    fi
    echo "$value"
}

stop_process() { # pid: SIGTERM, then SIGKILL if it is still there after 5 s
    local pid=$1
    kill -TERM "$pid" 2>/dev/null || return 0
    for _ in $(seq 50); do
        kill -0 "$pid" 2>/dev/null || break
        sleep 0.1
    done
    kill -KILL "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
}

# Line-buffered stdout, so a "listening" line reaches its file as soon as it is printed.
line_buffered=()
command -v stdbuf >/dev/null && line_buffered=(stdbuf -oL)

# listening_port PID FILE SERVICE: prints PORT from the line "SERVICE listening on
# http://127.0.0.1:PORT" in FILE, waiting up to 10 s; fails when PID exits first or time runs out.
listening_port() {
    local pid=$1 file=$2 service=$3 port
    for _ in $(seq 100); do
        port=$(sed -n "s|^$service listening on http://127\.0\.0\.1:\([0-9][0-9]*\).*|\1|p" \
            "$file" | head -n 1)
        if [[ -n $port ]]; then
            echo "$port"
            return 0
        fi
        kill -0 "$pid" 2>/dev/null || return 1
        sleep 0.1
    done
    return 1
}

machine_line() {
    local cpu
    cpu=$(sed -n 's/^model name[[:space:]]*:[[:space:]]*//p' /proc/cpuinfo | head -n 1)
    echo "Machine: $(nproc) CPUs, ${cpu:-unknown CPU}, Linux $(uname -r)"
}
