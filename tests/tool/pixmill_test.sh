#!/usr/bin/env bash
# The command as a person uses it.  pixmill_test.sh CASE PIXMILL MAKE_PICTURES PROJECT
set -uo pipefail
case=$1 pixmill=$2 make=$3 project=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
failed=0

# expect CODE COMMAND...: runs it with its output in ./out and ./err.
expect() {
    local wanted=$1 code=0
    shift
    "$@" >out 2>err || code=$?
    ((code == wanted)) || fail "$* gave $code, wanted $wanted: $(cat err)"
}
fail() {
    echo "FAILED: $*" >&2
    failed=1
}
says() { grep -qF -- "$2" "$1" || fail "$1 lacks \"$2\": $(cat "$1")"; }
silent() { [[ ! -s $1 ]] || fail "$1 is not empty: $(cat "$1")"; }
only() { # FOLDER NAME...: nothing else lies there, hidden files but the ledger included
    local folder=$1
    shift
    [[ $(ls -A "$folder" | grep -vx .pixmill-done | sort | xargs) == "$(printf '%s\n' "$@" | sort | xargs)" ]] ||
        fail "$folder holds $(ls -A "$folder" | tr '\n' ' ')"
}

tiles() {
    "$make" 500 300 a.tif b.jpg
    for name in guided local-laplacian chroma; do
        expect 0 "$pixmill" filter $name a.tif whole.tif
        expect 0 "$pixmill" filter $name a.tif tiles.tif --tiles 64
        expect 0 "$pixmill" compare whole.tif tiles.tif
    done
    expect 0 "$pixmill" filter sharpen b.jpg whole.jpg
    expect 0 "$pixmill" filter sharpen b.jpg tiles.jpg --tiles 100
    cmp whole.jpg tiles.jpg || fail "tiles make another file"
    expect 1 "$pixmill" filter glow a.tif none.tif --tiles 64
    says err "needs the whole picture"
    [[ ! -e none.tif ]] || fail "an output of a filter that cannot be run in tiles"
}

batch() {
    "$make" 300 200 a.jpg b.png c.tif
    : >empty.jpg
    head -c 2000 a.jpg >cut.jpg
    "$make" giant giant.jpg
    mkdir twin && cp a.jpg twin/a.jpg
    expect 1 "$pixmill" develop a.jpg b.png c.tif empty.jpg cut.jpg giant.jpg none.jpg ./a.jpg twin/a.jpg -o made \
        --set light.shadows=0.4 --json report.json
    silent out
    only made a.jpg b.png c.tif
    says err "empty.jpg: is empty"
    says err "cut.jpg: is truncated"
    says err "giant.jpg: claims"
    says err "none.jpg: no such file"
    says err "./a.jpg: given twice"
    says err "twin/a.jpg: its output made/a.jpg is that of a.jpg already"
    says err "3 done, 0 skipped, 5 failed"
    [[ $(grep -c . err) == 10 ]] || fail "not a line each: $(cat err)"
    says report.json '"state": "twice"'
    expect 0 "$pixmill" develop cut.jpg -o cut-made.jpg --lenient
    says err truncated
    expect 1 "$pixmill" develop a.jpg -o .
    says err "would take the place of an input"
}

again() {
    "$make" 300 200 a.jpg b.png
    run() { expect 0 "$pixmill" develop a.jpg b.png -o made "$@"; }
    run
    says err "2 done, 0 skipped"
    run
    says err "0 done, 2 skipped"
    run --force
    says err "2 done, 0 skipped"
    run --set color.warmth=0.2
    says err "2 done, 0 skipped"
    run --set color.warmth=0.2
    says err "0 done, 2 skipped"
    touch a.jpg
    run --set color.warmth=0.2
    says err "1 done, 1 skipped"
    rm made/b.png
    run --set color.warmth=0.2
    says err "1 done, 1 skipped"
    echo >>made/b.png
    run --set color.warmth=0.2 --quiet
    silent err
    expect 0 "$pixmill" compare made/a.jpg made/a.jpg
    run --set color.warmth=0.2
    says err "0 done, 2 skipped"
}

formats() {
    "$make" 301 199 a.png
    for format in jpeg png tiff; do
        for depth in 8 16; do
            expect 0 "$pixmill" develop a.png -o "$format$depth/" --format $format --depth $depth
        done
    done
    for made in png8/a.png tiff8/a.tif jpeg8/a.jpg jpeg16/a.jpg; do
        expect 0 "$pixmill" info $made
        says out "301 x 199, 3 channels of 8 bits"
    done
    expect 0 "$pixmill" info --json tiff16/a.tif
    says out '"bits": 16'
    expect 0 "$pixmill" compare tiff16/a.tif png16/a.png
    says out "the same pixels"
    expect 0 "$pixmill" compare tiff8/a.tif png8/a.png
    expect 1 "$pixmill" compare a.png jpeg8/a.jpg --picture apart.png
    says out PSNR
    [[ -s apart.png ]] || fail "no picture of the difference"
    expect 1 "$pixmill" develop a.png -o a.HEIC
    says err "a.HEIC: has no format that can be written"
    [[ ! -e a.HEIC ]] || fail "made a.HEIC all the same"
    expect 1 "$pixmill" develop a.png -o b.jpg --format png
    says err "b.jpg: is a name of jpeg, and --format is png"
}

through() {
    "$make" alpha 90 60 a.png
    expect 0 "$pixmill" develop a.png -o neutral.png
    expect 0 "$pixmill" info neutral.png
    says out "90 x 60, 4 channels of 16 bits"
    "$pixmill" compare a.png neutral.png --json >out
    grep -qE '"psnr": ([4-9][0-9]|null)' out || fail "a neutral recipe changes colours: $(cat out)"
    "$make" alphaof neutral.png >alpha && "$make" alphaof a.png | cmp - alpha || fail "alpha has changed"
    expect 0 "$pixmill" filter gaussian a.png soft.png
    "$make" alphaof soft.png | cmp - alpha || fail "a filter changes alpha"
    expect 0 "$pixmill" filter sharpen a.png tiles.png --tiles 32
    "$make" alphaof tiles.png | cmp - alpha || fail "a filter in tiles changes alpha"
    "$make" 90 60 opaque.png
    expect 1 "$pixmill" compare a.png opaque.png # its colours, without alpha
    expect 0 "$pixmill" develop a.png -o dark.png --set light.brightness=-0.5
    expect 1 "$pixmill" compare neutral.png dark.png
    echo '{"version": 1, "locals": [{"mask": {"components": [{"linear": {"from": [0, 0.4], "to": [0, 0.6]}}]},
           "light": {"brightness": -0.5}}]}' >upper.json
    expect 0 "$pixmill" develop a.png -o upper.png --recipe upper.json
    expect 1 "$pixmill" compare neutral.png upper.png --picture where.png
    "$make" blackrows where.png >rows
    (($(cat rows) >= 20 && $(cat rows) <= 45)) || fail "the adjustment leaves $(cat rows) of 60 rows alone"
    expect 0 "$pixmill" develop a.png -o warm.png --set light.shadows=0.2 --set light.shadows=0
    expect 0 "$pixmill" compare neutral.png warm.png
}

fulldisk() {
    "$make" 900 600 a.png
    (
        ulimit -f 20
        expect 1 "$pixmill" develop a.png -o made --format tiff --depth 16
        says err "made/a.tif: cannot be written: File too large"
        expect 1 "$pixmill" develop a.png -o made --format jpeg
        expect 1 "$pixmill" filter sharpen a.png made/b.png
        only made
        exit $failed
    ) || failed=1
    expect 1 "$pixmill" develop a.png -o /dev/null/made
    expect 1 bash -c '"$1" recipe keys >/dev/full' - "$pixmill"
    says err "standard output cannot be written"
    expect 1 "$pixmill" develop a.png -o made/a.tif --json /dev/full
    [[ -e /dev/full ]] || fail "removed a device"
}

interrupt() {
    "$make" 3000 2000 a.tif
    for name in b c d e f; do cp a.tif $name.tif; done
    for delay in 0.2 1 begun; do
        rm -rf made
        # A shell's job in the background ignores interrupts unless told otherwise.
        env --default-signal=INT "$pixmill" develop ?.tif -o made --force --depth 16 \
            --set detail.fine.base.slope=0.5 2>words &
        local job=$! before after code=0
        if [[ $delay == begun ]]; then
            until [[ -n $(find made -type f 2>/dev/null) ]]; do sleep 0.1; done
        else
            sleep $delay
        fi
        kill -INT $job
        before=$(date +%s%N)
        wait $job || code=$?
        after=$(date +%s%N)
        ((code == 130)) || fail "interrupted after $delay gave $code: $(cat words)"
        ((after - before < 3000000000)) || fail "took $(((after - before) / 1000000)) ms to end"
        [[ -z $(find made -name '.*.part' 2>/dev/null) ]] || fail "left $(ls -A made)"
        for whole in made/*.tif; do
            [[ ! -e $whole ]] || expect 0 "$pixmill" info "$whole"
        done
    done
    says words interrupted
    env --ignore-signal=HUP "$pixmill" develop a.tif -o kept 2>words &
    local kept=$!
    until [[ -e kept ]]; do sleep 0.05; done
    kill -HUP $kept
    wait $kept || fail "a hangup that was to be ignored ended it: $(cat words)"
}

recipes() {
    echo '{"version": 1, "light": {"shadows": 0.3}}' >good.json
    echo '{"version": 1, "light": {"shadow": 0.3}}' >bad.json
    expect 0 "$pixmill" recipe check good.json
    silent out
    expect 1 "$pixmill" recipe check good.json bad.json
    says err "bad.json: light.shadow is unknown"
    expect 0 "$pixmill" recipe keys --markdown
    cmp out "$project/docs/recipe.md" || fail "docs/recipe.md is old: pixmill recipe keys --markdown > docs/recipe.md"
    expect 0 "$pixmill" page bash
    bash -n out || fail "the completion is no bash"
    says out light.shadows=
    bash -c 'source ./out; COMP_WORDS=(pixmill filter box --param r) COMP_CWORD=4 COMPREPLY=(); _pixmill 2>/dev/null
        [[ ${COMPREPLY[*]} == radius= ]]' || fail "a filter's parameters are not completed"
    expect 0 "$pixmill" page man
    says out detail.fine.shadows.slope
    expect 0 "$pixmill" help develop
    says out "--recipe"
    says out "color.chromaFloor"
    expect 2 "$pixmill" devlop
    says err '"devlop" is no command, wanted one of develop, filter'
    for usage in "" "develop" "develop a.jpg" "develop a.jpg -o b --jobs 0" "filter sharpen" "nonsense"; do
        expect 2 "$pixmill" $usage
        [[ $(grep -c . err) == 1 ]] || fail "$usage: $(cat err)"
    done
}

filters() {
    "$make" 67 53 a.png
    expect 0 "$pixmill" filter --list
    local names
    names=$(grep '^[a-z]' out)
    (($(wc -w <<<"$names") >= 19)) || fail "too few filters: $names"
    for name in $names; do
        expect 0 "$pixmill" filter "$name" a.png "$name.png"
        silent out
        silent err
        expect 0 "$pixmill" info "$name.png"
        says out "67 x 53, 3 channels of 16 bits"
    done
    expect 1 "$pixmill" compare a.png recursive.png
    cp a.png before.png
    expect 1 "$pixmill" filter box a.png ./a.png
    says err "would take the place of an input"
    expect 1 "$pixmill" compare a.png box.png --picture a.png
    cmp a.png before.png || fail "an input was overwritten"
    expect 0 "$pixmill" filter box a.png same.png --param radius=1 --param passes=2
    expect 1 "$pixmill" filter box a.png b.png --param radius=0
    says err "box.radius is \"0\", wanted a whole number of 1..1000"
    expect 1 "$pixmill" filter box a.png b.png --param radius=1.5
    says err "wanted a whole number of 1..1000"
    expect 1 "$pixmill" filter box a.png b.png --param width=3
    expect 1 "$pixmill" filter nonsense a.png b.png
    [[ ! -e b.png ]] || fail "a refused filter wrote"
}

$case
exit $failed
