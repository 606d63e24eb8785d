# Sourced by ./check, ./demo and tools/*.sh: goes to the project's folder, installs what is missing, builds.

cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit 1

say() { printf '\n== %s\n' "$*"; }

# packages_of PART...: the packages under these headings of tools/packages.txt.
packages_of() {
    awk -v parts=" $* " '
        /^# [a-z0-9_]+: / { wanted = index(parts, " " substr($2, 1, length($2) - 1) " "); next }
        wanted && /^[^#]/' tools/packages.txt
}

# install_packages PART...: installs the parts' packages that are not there yet, as root or through sudo.
install_packages() {
    local missing=() package as_root=()
    for package in $(packages_of build "$@"); do
        [[ $package == npm ]] && command -v npm >/dev/null && continue # Node's own packages bring it along
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
    done
    ((${#missing[@]})) || return 0

    say "Installing ${missing[*]}"
    if ((EUID != 0)); then
        command -v sudo >/dev/null || {
            echo "These packages are missing, and neither root nor sudo is here to install them: ${missing[*]}" >&2
            exit 1
        }
        as_root=(sudo)
    fi
    "${as_root[@]}" apt-get update -qq
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

# configure PRESET: once.
configure() {
    [[ -f build/$1/build.ninja ]] || cmake --preset "$1"
}

# build PRESET [TARGET...]: configures once, then builds what has changed.
build() {
    local preset=$1
    shift
    say "Building ($preset)"
    configure "$preset"
    cmake --build --preset "$preset" ${1:+--target "$@"}
}
