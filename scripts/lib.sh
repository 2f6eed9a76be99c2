# What the scripts share: messages, packages, building. Sourced by bash with the root of the project
# as current directory.

# The Debian that the package names are of.
debian_release=bookworm

# Needed to build the programs.
build_packages="g++ cmake ninja-build pkg-config libjson-c-dev libssl-dev libcli11-dev nlohmann-json3-dev libmosquitto-dev
libnftables-dev libmnl-dev libldns-dev libcpp-httplib-dev"
# Needed by the simulated demo besides.
demo_packages="mosquitto iproute2"
# Needed by the demo with real packets besides; the browser is the biggest of them, 70 MB to fetch.
access_point_packages="$demo_packages nftables dnsmasq-base udhcpc iperf3 curl python3 freeradius
freeradius-utils chromium-headless-shell"
# Needed to build and run the tests and benchmarks besides.
test_packages="libgtest-dev libgmock-dev libbenchmark-dev iputils-ping mosquitto-clients $access_point_packages"
# Needed by the presets that build with clang.
clang_packages="clang libclang-rt-dev"
# Needed by the presets of the board, beside its compiler.
board_packages="cmake ninja-build pkg-config qemu-user-static"

if [ -t 1 ] && [ -z "${NO_COLOR:-}" ]; then
    bold=$'\033[1m' red=$'\033[31m' plain=$'\033[0m'
else
    bold='' red='' plain=''
fi

say() { printf '%s== %s%s\n' "$bold" "$*" "$plain"; }

fail() {
    printf '%s%s: %s%s\n' "$red" "$(basename "$0")" "$*" "$plain" >&2
    exit 1
}

# Has Ctrl-C, SIGTERM and a closed terminal end this script without a word, after the command $1.
on_ending() {
    last_command=$1
    trap end INT TERM HUP PIPE
}

end() {
    set +e
    trap '' INT TERM HUP PIPE
    trap - EXIT
    exec >/dev/null 2>&1
    eval "$last_command"
    exit 130
}

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        fail "needs root for: $* (no sudo here; run it as root once)"
    fi
}

# Takes build/$1.lock for the process that calls this, while no other run of these scripts has it.
lock() {
    mkdir -p build
    exec {lock_fd}>"build/$1.lock"
    flock --nonblock "$lock_fd" || { say "waiting for another run"; flock "$lock_fd"; }
}

# Installs those of the Debian packages $@ that are missing; without any it asks nobody anything.
install_missing() {
    local package missing=()
    for package in "$@"; do
        if [ "$(dpkg-query -W -f '${db:Status-Abbrev}' "$package" 2>/dev/null)" != "ii " ]; then
            missing+=("$package")
        fi
    done
    if [ ${#missing[@]} -eq 0 ]; then
        return
    fi
    say "installing missing packages, which takes some minutes:"
    fold -s -w 76 <<<"${missing[*]}"
    as_root scripts/install-packages "${missing[@]}" || fail "could not install them"
}

# The Debian archives that this machine's apt reads, one a line: URI, release, component.
debian_archives() {
    apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(COMPONENT)' 'Origin: Debian' \
        'Created-By: Packages' | sort -u
}

# Configures preset $1 and builds its targets "${@:2}", or all of it.
build() (
    preset=$1
    shift
    say "building preset $preset"
    lock "$preset"
    if command -v ccache >/dev/null; then
        export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER-ccache}
    fi
    cmake --preset "$preset" >/dev/null || fail "configuring preset $preset failed"
    cmake --build --preset "$preset" -j "$(nproc)" ${1+--target "$@"} ||
        fail "building preset $preset failed"
)
