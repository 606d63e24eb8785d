# Sourced by ./check and ./demo: goes to the project's folder, installs what is missing, builds.

cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit 1

say() { printf '\n== %s\n' "$*"; }

# Installs the packages of tools/packages.txt that are not there yet, as root or through sudo.
install_packages() {
    local missing=() package as_root=()
    while read -r package; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
    done < <(grep -v '^#' tools/packages.txt)
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

# build PRESET [TARGET...]: configures once, then builds what has changed.
build() {
    local preset=$1
    shift
    say "Building ($preset)"
    [[ -f build/$preset/build.ninja ]] || cmake --preset "$preset"
    cmake --build --preset "$preset" ${1:+--target "$@"}
}
