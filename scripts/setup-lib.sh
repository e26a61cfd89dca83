# Shared by scripts/demo and scripts/test: messages, and the packages of Debian 12 that a step needs.
# Sourced, never run. Every step says what it does and is skipped when its result is there.

KELZOR_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
KELZOR_JOBS=$(nproc)
export DEBIAN_FRONTEND=noninteractive

# What the library, the development system and the example are built from.
KELZOR_BUILD_PACKAGES=(g++ cmake ninja-build ccache iso-codes libcli11-dev nlohmann-json3-dev)
# What the tests and gates need beside that.
KELZOR_TEST_PACKAGES=(googletest clang-format pkg-config python3)
# The 32-bit build runs against the compiler's own 32-bit libraries; no second architecture is needed.
KELZOR_X86_PACKAGES=(g++-multilib)

# Slim images leave out translations; the development system reads the names of countries from these.
KELZOR_CATALOGUES='/usr/share/locale/*/LC_MESSAGES/iso_*.mo'
KELZOR_CATALOGUE_SAMPLE=/usr/share/locale/de/LC_MESSAGES/iso_3166-1.mo

say() { printf '== %s\n' "$*"; }

die() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

package_installed() { dpkg-query -W -f='${db:Status-Abbrev}\n' "$1" 2>/dev/null | grep -q '^ii'; }

# Runs a command as root; $KELZOR_WANTED says what for, should there be no way to become root.
as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo --preserve-env=DEBIAN_FRONTEND "$@"
    else
        die "needs root or sudo once, for: $KELZOR_WANTED"
    fi
}

# apt_install <apt-get install's arguments>: a mirror in trouble gets several chances. A failing update
# alone is no reason to give up, since one broken source doesn't keep the others from being used.
apt_install() {
    local pause
    for pause in 5 15 30 0; do
        as_root apt-get -q update || say "not every package list could be read; going on with what is there"
        if as_root apt-get -q install -y --no-install-recommends \
            -o "DPkg::Options::=--path-include=$KELZOR_CATALOGUES" "$@"; then
            return 0
        fi
        [ "$pause" -eq 0 ] || { say "the installation failed; trying again in $pause seconds" && sleep "$pause"; }
    done
    return 1
}

# need_packages <names>: installs those that are missing.
need_packages() {
    command -v dpkg-query >/dev/null || die "this is no Debian system; install what corresponds to: $*"
    local missing=() name
    for name in "$@"; do package_installed "$name" || missing+=("$name"); done
    if [ ${#missing[@]} -eq 0 ]; then
        say "packages: all there"
        return
    fi
    KELZOR_WANTED="apt-get install ${missing[*]}"
    say "packages: installing ${missing[*]}"
    apt_install "${missing[@]}" || die "could not be installed: ${missing[*]}"
}

need_catalogues() {
    [ -e "$KELZOR_CATALOGUE_SAMPLE" ] && return
    KELZOR_WANTED="the translations of iso-codes"
    say "iso-codes: installing its translations again, which were left out"
    apt_install --reinstall iso-codes
    [ -e "$KELZOR_CATALOGUE_SAMPLE" ] || die "iso-codes came without $KELZOR_CATALOGUE_SAMPLE"
}

need_build_tools() {
    need_packages "${KELZOR_BUILD_PACKAGES[@]}" "$@"
    need_catalogues
}

need_x86_tools() { need_packages "${KELZOR_X86_PACKAGES[@]}"; }

can_build_x86() { [ "$(dpkg --print-architecture)" = amd64 ]; }
