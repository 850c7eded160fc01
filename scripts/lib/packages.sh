# packages.sh - installs the Debian packages a script needs, once, and only those missing.
# Sourced by scripts/run and scripts/test.

# Packages every build needs.
BUILD_PACKAGES="g++ cmake ninja-build pkg-config libuv1-dev libhttp-parser-dev libexpat1-dev
libjpeg62-turbo-dev libicu-dev libavahi-client-dev zlib1g-dev libdeflate-dev liblcms2-dev libheif-dev
libavformat-dev libavcodec-dev libswscale-dev"

# ensure_packages PKG... - apt-get installs whichever of PKG are not installed yet.
ensure_packages() {
    local missing=()
    local pkg
    for pkg in "$@"; do
        if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed'; then
            missing+=("$pkg")
        fi
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    local sudo=""
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || { echo "need root (or sudo) to install: ${missing[*]}" >&2; return 1; }
        sudo="sudo"
    fi
    echo "installing: ${missing[*]}"
    # Package lists on a fresh machine are empty: refresh them once per script run.
    if [ -z "${TESSELLAN_APT_UPDATED:-}" ]; then
        $sudo apt-get update -qq || return 1
        export TESSELLAN_APT_UPDATED=1
    fi
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
}
