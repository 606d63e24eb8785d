#!/usr/bin/env python3
"""Proves from the includes that no file of the library reaches up, or sideways into another floor's detail/ folder.

The order of the floors is tools/layers.txt. Installed headers include installed headers alone. docs/architecture.md holds
the floors and their includes as a picture, which is proven too.

    check_layers.py              tells what is wrong, and fails where anything is
    check_layers.py --draw       draws the picture anew
    check_layers.py --installed  lists the installed headers
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
GROUND = {"pixmill/core/Export.h", "pixmill/version.h"}  # macros alone; below every floor
UMBRELLA = "pixmill/pixmill.h"
PICTURE = re.compile(r"```mermaid\n.*?```\n", re.S)


def floors():
    lines = (ROOT / "tools/layers.txt").read_text().splitlines()
    return [line.split()[0] for line in lines if line and not line.startswith("#")]


def installed():
    """The headers that the build files list as public."""
    headers = {UMBRELLA}
    for listing in (ROOT / "pixmill").rglob("CMakeLists.txt"):
        folder = listing.parent.relative_to(ROOT).as_posix()
        for public in re.findall(r"PUBLIC FILE_SET \w+.*?FILES(.*?)(?:PRIVATE|\))", listing.read_text(), re.S):
            headers.update(f"{folder}/{name}" for name in re.findall(r"[\w/]+\.h", public))
    return headers


def faults(file, order, public):
    floor = file.split("/")[1]
    for line, text in enumerate((ROOT / file).read_text().splitlines(), 1):
        match = re.match(r"#include <(pixmill/(\w+)[^>]*)>", text)
        if not match or match.group(1) in GROUND:
            continue
        target, other = match.group(1), match.group(2)
        where = f"{file}:{line}: includes {target}"
        if file in public and target not in public:
            yield f"{where}, which is not installed, from a header that is"
        if file == UMBRELLA:
            continue
        if other not in order:
            yield f"{where}, which is on no floor of tools/layers.txt"
        elif order.index(other) > order.index(floor):
            yield f"{where}: {other} is above {floor}"
        elif other != floor and "/detail/" in target:
            yield f"{where}: detail/ belongs to {other} alone"


def reached(files, order):
    """The floors below that each floor includes; one that is reached through another of them is left out."""
    below = {floor: set() for floor in order}
    for file in files:
        floor = file.split("/")[1]
        for target in re.findall(r"#include <(pixmill/[^>]*)>", (ROOT / file).read_text()):
            other = target.split("/")[1]
            if floor in below and other in below and other != floor and target not in GROUND:
                below[floor].add(other)
    every = {}
    for floor in order:
        every[floor] = below[floor].union(*(every[other] for other in below[floor] if other in every))
    return {f: [o for o in order if o in below[f] and not any(o in every[x] for x in below[f])] for f in order}


def drawn(files, order):
    """The picture: a box for each floor that has files, an arrow for each that it is built on."""
    lines = (ROOT / "tools/layers.txt").read_text().splitlines()
    told = dict(line.split(maxsplit=1) for line in lines if line and not line.startswith("#"))
    used = [floor for floor in order if any(file.startswith(f"pixmill/{floor}/") for file in files)]
    rows = ["```mermaid", "flowchart TD"]
    rows += [f'    {floor}["<b>{floor}</b><br/>{told[floor]}"]' for floor in reversed(used)]
    down = reached(files, used)
    rows += [f"    {floor} --> {' & '.join(down[floor])}" for floor in reversed(used) if down[floor]]
    return "\n".join(rows + ["```", ""])


def main():
    order, public = floors(), installed()
    if "--installed" in sys.argv:
        print("\n".join(sorted(header for header in public if (ROOT / header).exists())))
        return 0
    files = sorted(p.relative_to(ROOT).as_posix() for p in (ROOT / "pixmill").rglob("*") if p.suffix in (".h", ".cpp"))
    page = ROOT / "docs/architecture.md"
    picture, text = drawn(files, order), page.read_text()
    if "--draw" in sys.argv:
        page.write_text(PICTURE.sub(picture, text))
        return 0
    found = [fault for file in files for fault in faults(file, order, public)]
    if picture not in text:
        found.append("docs/architecture.md: the picture of the floors is an old one; tools/check_layers.py --draw")
    print("\n".join(found) if found else f"{len(files)} files keep to the order of the floors")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
