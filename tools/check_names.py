#!/usr/bin/env python3
"""Proves that what the pages name is there: files of the tree, the reference's plain forms, and tests by Suite.Name."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGES = ["README.md", "CONTRIBUTING.md", "reference/README.md", *(f"docs/{p.name}" for p in (ROOT / "docs").glob("*.md"))]
PATH = re.compile(r"`((?:pixmill|reference|tests|bench|docs|tools|cmake|editor|tool|rows|core|primitives|curves)/[\w/.]*\.\w+)`")
PLAIN = re.compile(r"`(reference/\w+\.h)`")
TEST = re.compile(r"`([A-Z]\w+\.[A-Z]\w+)`")
MADE_UP = {"pixmill/filters/TThing.h", "tests/filters/TThing_test.cpp", "bench/filters/TThing_bench.cpp",
           "reference/thing.h", "pixmill/version.h"}  # examples, and what the build makes


def there(path):
    return path in MADE_UP or (ROOT / path).exists() or (ROOT / "pixmill" / path).exists()


def tests():
    known = set()
    for file in (ROOT / "tests").rglob("*.cpp"):
        known.update(f"{s}.{n}" for s, n in re.findall(r"^TEST(?:_F|_P)?\((\w+),\s*(\w+)\)", file.read_text(), re.M))
    return known


def main():
    known, missing = tests(), []
    for page in PAGES:
        text = (ROOT / page).read_text()
        missing += [f"{page}: {path} is not there" for path in PATH.findall(text) if not there(path)]
        missing += [f"{page}: no test {name}" for name in TEST.findall(text) if name not in known]
    for header in (ROOT / "pixmill").rglob("*.h"):
        missing += [f"{header.relative_to(ROOT)}: {path} is not there" for path in PLAIN.findall(header.read_text())
                    if not there(path)]
    print("\n".join(missing) if missing else f"{len(PAGES)} pages name what is there")
    return 1 if missing else 0


if __name__ == "__main__":
    sys.exit(main())
