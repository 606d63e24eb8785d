"""The command pixmill-batch, which `pixmill batch` starts."""
from __future__ import annotations

import argparse
import json
import logging
import os
import sys

from . import __version__
from ._errors import Error

DONE, FAILED, INTERRUPTED = 0, 1, 130


def options() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        prog="pixmill batch",
        description="Develops pictures by a recipe on worker processes, on this machine or on a Dask cluster. "
        "A picture that fails is told, and the rest goes on; one that is done already, by the same recipe, is left.",
        epilog="Exit codes: 0 all went well; 1 a picture failed; 2 the command line is not understood; 130 interrupted.",
    )
    add = parser.add_argument
    add("--version", action="version", version=f"pixmill-batch {__version__}")
    add("files", nargs="+", metavar="IN", help="pictures: JPEG, PNG, TIFF, camera raw, HEIF, OpenEXR")
    add("-o", "--out", required=True, help="a folder, made if need be")
    add("--recipe", metavar="FILE", help="a recipe, JSON; neutral unless told")
    add("--set", action="append", default=[], metavar="KEY=VALUE", help="one of the recipe's members; may come often")
    add("--format", choices=["jpeg", "png", "tiff"], help="as each picture has unless told, tiff for others")
    add("--depth", type=int, choices=[8, 16], help="bits of a sample; as each picture has unless told")
    add("--quality", type=int, help="of JPEG, 1 to 100")
    add("--lenient", action="store_true", help="take what can be read of a damaged picture")
    add("--max-megapixels", type=float, help="refuse larger pictures")
    add("--workers", type=int, help="processes on this machine; as many as processors unless told")
    add("--scheduler", metavar="ADDRESS", help="of a Dask cluster, tcp://host:8786, in place of this machine")
    add("--patience", type=float, default=60.0, metavar="SECONDS", help="to wait for a scheduler that is away")
    add("--force", action="store_true", help="do pictures again that are done")
    add("--json", metavar="FILE", help="write a report, - for standard output")
    add("--quiet", action="store_true", help="tell of failures alone")
    return parser


def bar(done: int, total: int) -> None:
    """One line that is drawn over itself."""
    width = 40
    filled = width * done // max(total, 1)
    end = "\n" if done == total else ""
    print(f"\r[{'#' * filled}{'.' * (width - filled)}] {done} of {total}", end=end, file=sys.stderr, flush=True)


def write_report(report: object, path: str) -> None:
    text = json.dumps(report, indent=2) + "\n"
    if path == "-":
        sys.stdout.write(text)
        sys.stdout.flush()
    else:
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)


def run(told: argparse.Namespace) -> int:
    from . import dask  # late: --help needs none of it

    logging.getLogger("distributed").setLevel(logging.CRITICAL)  # what matters stands in the report
    given = vars(told)
    names = ["out", "recipe", "format", "depth", "quality", "lenient", "max_megapixels", "workers", "scheduler"]
    report = dask.develop_many(
        told.files,
        **{name: given[name] for name in [*names, "patience", "force"]},
        tool="pixmill" if told.scheduler else os.environ.get("PIXMILL", "pixmill"),  # each machine has its own
        options=tuple(word for one in told.set for word in ("--set", one)),
        progress=bar if sys.stderr.isatty() and not told.quiet else None,
    )
    if told.json:
        pictures = [picture._asdict() for picture in report.pictures]
        write_report({"seconds": report.seconds, "pictures": pictures}, told.json)
    if not told.quiet or report.count("failed"):
        print(report, file=sys.stderr)
    return FAILED if report.count("failed") else DONE


def main(arguments: list[str] | None = None) -> int:
    told = options().parse_args(arguments)
    try:
        return run(told)
    except KeyboardInterrupt:
        return INTERRUPTED
    except (Error, OSError, ImportError) as failure:
        print(f"pixmill batch: {failure}", file=sys.stderr)
        return FAILED
