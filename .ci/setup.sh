# shellcheck shell=bash disable=SC2034 # the lists are its users'
# Sourced by run-tests, run-sample and .ci/run: finds out which tools are missing and, on Debian, installs them.
#
# A need is "package:probe". The package is Debian's name for it. The probe tells whether it is there already, however
# it came: a path (wildcards allowed) or a command's name. So a machine of another system that has all tools is good
# enough, and on Debian nothing is asked of apt once all is there.

build_needs=(
    g++:g++
    cmake:cmake
    ninja-build:ninja
    pkg-config:pkg-config
    libgtest-dev:/usr/include/gtest/gtest.h
    locales:/usr/share/i18n/locales/ja_JP
)

ci_needs=(
    ca-certificates:/usr/sbin/update-ca-certificates
    git:git
    ccache:ccache
    clang:clang++
    "libclang-rt-14-dev:/usr/lib/llvm-14/lib/clang/*/lib/linux/libclang_rt.tsan*.a"
    llvm:llvm-symbolizer
    gdb:gdb
    tzdata:/usr/share/zoneinfo/Europe/Berlin
    clang-format:clang-format
    clang-tidy:clang-tidy
    g++-mingw-w64-x86-64-posix:x86_64-w64-mingw32-g++-posix
    g++-mingw-w64-i686-posix:i686-w64-mingw32-g++-posix
    googletest:/usr/src/googletest/CMakeLists.txt
    wine64:/usr/lib/wine/wine64
    libc6-i386:/lib/ld-linux.so.2
)

say() { printf '%s\n' "$*" >&2; }

is_there() {
    case $1 in
        /*) compgen -G "$1" >/dev/null ;;
        *) command -v "$1" >/dev/null ;;
    esac
}

# missing_of NEED...: the packages of the needs that are not met, one a line.
missing_of() {
    local need
    for need in "$@"; do
        is_there "${need#*:}" || printf '%s\n' "${need%%:*}"
    done
}

is_debian() {
    command -v apt-get >/dev/null && grep -qs '^ID=debian$' /etc/os-release
}

as_root() {
    if [ "$(id -u)" = 0 ]; then
        "$@"
    elif [ -t 0 ]; then
        sudo "$@"
    else
        sudo -n "$@"
    fi
}

can_be_root() {
    [ "$(id -u)" = 0 ] || command -v sudo >/dev/null
}

# One list that can't be had (an unused architecture's, say) makes the whole update fail, and is no reason to stop:
# the install says itself what it doesn't find.
apt_install() {
    local apt=(env DEBIAN_FRONTEND=noninteractive apt-get -y -q -o DPkg::Lock::Timeout=300)
    as_root "${apt[@]}" update </dev/null >&2 || say "setup: some package lists could not be fetched; going on"
    as_root "${apt[@]}" install --no-install-recommends "$@" </dev/null >&2
}

# meet_needs NEED...: returns with all needs met, or ends the program and says what is missing.
meet_needs() {
    local missing
    mapfile -t missing < <(missing_of "$@")
    [ ${#missing[@]} = 0 ] && return
    if ! is_debian; then
        say "setup: this is not Debian, where the set-up is done by itself. Missing here, by their names in Debian:"
        say "    ${missing[*]}"
        exit 3
    fi
    if ! can_be_root; then
        say "setup: neither root nor sudo. Have this done by somebody who may, then start again:"
        say "    apt-get install ${missing[*]}"
        exit 3
    fi
    say "setup: installing ${missing[*]}"
    apt_install "${missing[@]}" || say "setup: apt-get reported a failure"
    mapfile -t missing < <(missing_of "$@")
    [ ${#missing[@]} = 0 ] && return
    say "setup: still missing: ${missing[*]}"
    exit 3
}

# configure_once PRESET: configures the preset's folder unless that is done; the build looks after changes by itself.
configure_once() {
    [ -f "build/$1/build.ninja" ] || cmake --preset "$1" >&2
}
