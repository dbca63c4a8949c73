# shellcheck shell=bash
# Sourced by wine-run and wine-tests: a Wine of the asked word size with a prefix of its own in each build folder.
#
# 64: Debian's package wine64, whose program is not on the PATH.
# 32: Debian's 32-bit packages, unpacked into a folder, so that the machine need not become a two-architecture one.

wine_cache=${XDG_CACHE_HOME:-$HOME/.cache}/morvex-wine32

# The mirror and suite that the machine takes its own packages from, as a line of a sources list for i386.
wine32_source_line() {
    local keyring=/usr/share/keyrings/debian-archive-keyring.gpg trust=
    [ -f "$keyring" ] && trust=" signed-by=$keyring"
    # shellcheck disable=SC2016 # apt's own variables
    apt-get indextargets --format "deb [arch=i386$trust] \$(REPO_URI) \$(RELEASE) \$(COMPONENT)" \
        'Created-By: Packages' 'Origin: Debian' 'Component: main' |
        grep -vE '(-updates|-security|-backports)[ /]' | head -n 1
}

# A configuration in which apt knows i386 only and keeps all its state in the folder given.
wine32_apt_configuration() {
    mkdir -p "$1"/{lists/partial,archives/partial,parts}
    : >"$1/status"
    wine32_source_line >"$1/sources.list"
    cat >"$1/apt.conf" <<CONF
APT::Architecture "i386";
APT::Architectures { "i386"; };
APT::Sandbox::User "root";
Acquire::Languages "none";
Dir::State "$1";
Dir::State::status "$1/status";
Dir::State::lists "$1/lists";
Dir::Cache "$1";
Dir::Cache::archives "$1/archives";
Dir::Etc::sourcelist "$1/sources.list";
Dir::Etc::sourceparts "$1/parts";
Dir::Etc::preferencesparts "$1/parts";
CONF
}

wine32_fetch() {
    local work=$wine_cache/work package
    rm -rf "$work" && mkdir -p "$work"
    wine32_apt_configuration "$work/apt" || return
    (
        cd "$work"
        export APT_CONFIG=$work/apt/apt.conf
        apt-get -q update && apt-get -q download wine32 libwine
    ) >&2 || return
    for package in "$work"/*.deb; do
        dpkg-deb -x "$package" "$work/root" || return
    done
    # The package makes this file when it is installed; the 64-bit one, which is, made it for both word sizes.
    cp /usr/lib/x86_64-linux-gnu/wine/i386-windows/zlib1.dll "$work/root/usr/lib/i386-linux-gnu/wine/i386-windows/" ||
        return
    rm -rf "$wine_cache/root" && mv "$work/root" "$wine_cache/root" && rm -rf "$work"
}

wine32_ensure() {
    [ -x "$wine_cache/root/usr/lib/wine/wine" ] || wine32_fetch
}

# wine_select BITS PREFIX: names the loader, its server and the prefix in the environment.
wine_select() {
    export WINEDEBUG=-all LC_ALL=${LC_ALL:-C.UTF-8} WINEPREFIX=$2
    if [ "$1" = 32 ]; then
        export WINEARCH=win32
        export WINELOADER=$wine_cache/root/usr/lib/wine/wine WINESERVER=$wine_cache/root/usr/lib/wine/wineserver32
    else
        export WINEARCH=win64
        export WINELOADER=/usr/lib/wine/wine64 WINESERVER=/usr/lib/wine/wineserver64
    fi
}

# The start-up's exit code says little, so a program's own must come back, from one that uses the system's windows.
wine_prefix_works() {
    local code=0
    "$WINELOADER" cmd.exe /c exit 42 </dev/null >/dev/null 2>&1 || code=$?
    [ "$code" = 42 ]
}

# wine_ensure BITS PREFIX: after it that Wine is there and its prefix is made. Safe when several tests start at once.
wine_ensure() {
    wine_select "$1" "$2"
    [ -f "$WINEPREFIX/ready" ] && return
    mkdir -p "$wine_cache" "$WINEPREFIX"
    (
        flock 9
        [ -f "$WINEPREFIX/ready" ] && exit
        [ "$1" = 64 ] || wine32_ensure || exit
        "$WINELOADER" wineboot -i </dev/null >"$WINEPREFIX/wineboot.log" 2>&1 9>&- || true
        wine_prefix_works 9>&- && touch "$WINEPREFIX/ready"
    ) 9>"$wine_cache/lock"
}
