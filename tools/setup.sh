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

# fetch_portrait FILE: one picture of a person, in the public domain, out of a Debian package that is not installed. Where
# it cannot be had, says so, and what comes after goes on without.
fetch_portrait() {
    local file=$1 folder
    [[ ! -f $file ]] || return 0
    mkdir -p "$(dirname "$file")" || return 0
    folder=$(mktemp -d "$(dirname "$file")/fetching.XXXXXX") || return 0
    chmod 755 "$folder" # apt fetches as another user
    if (cd "$folder" && apt-get download -qq python3-skimage) >/dev/null 2>&1 &&
        dpkg-deb --fsys-tarfile "$folder"/*.deb |
        tar -xO ./usr/lib/python3/dist-packages/skimage/data/astronaut.png >"$folder/portrait" 2>/dev/null; then
        mv "$folder/portrait" "$file"
    else
        echo "The portrait could not be fetched (Debian's python3-skimage): the pictures of skin are left out." >&2
    fi
    rm -rf "$folder"
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
