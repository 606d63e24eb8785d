#!/usr/bin/env python3
"""Proves from the includes that no file of the library reaches up, or sideways into another floor's detail/ folder.

The order of the floors is tools/layers.txt. Installed headers include installed headers alone.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
GROUND = {"pixmill/core/Export.h", "pixmill/version.h"}  # macros alone; below every floor
UMBRELLA = "pixmill/pixmill.h"


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


def main():
    order, public = floors(), installed()
    files = sorted(p.relative_to(ROOT).as_posix() for p in (ROOT / "pixmill").rglob("*") if p.suffix in (".h", ".cpp"))
    found = [fault for file in files for fault in faults(file, order, public)]
    print("\n".join(found) if found else f"{len(files)} files keep to the order of the floors")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
