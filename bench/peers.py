#!/usr/bin/python3
"""Measures `pixmill develop` beside what a user of Debian has today, on the photographs of lomiri-wallpapers-16.04.

    bench/peers.py build/release/bin/pixmill [--runs 3] [--photos FOLDER]

JPEG to JPEG, quality 92, everything on one processor, each command as a user would call it: pixmill once for all
pictures, the others once for each. Prints a table in Markdown: the run that took least processor time of each, or the
only one of what takes more than half a minute. The peers do a near job, not the same: the table's last column says
what. A peer that is not installed is left out (libvips-tools, imagemagick, python3-opencv).
"""
import argparse
import glob
import json
import os
import shutil
import subprocess
import sys
import tempfile
import time

# Light by a table, detail by OpenCV's recursive domain transform at three widths, warmth: the nearest to our recipe. All
# its smoothings work at full size and 8 bits; ours go at full size, a half and a quarter, and at 16.
OPENCV = r"""
import sys, cv2, numpy as np
cv2.setNumThreads(1)
source, target = sys.argv[1:]
picture = cv2.imread(source)
luma, red, blue = cv2.split(cv2.cvtColor(picture, cv2.COLOR_BGR2YCrCb))
detail = luma.astype(np.float32)
base, sum = luma, np.zeros_like(detail)
for sigma, slope in ((2, 0.2), (8, 0.2), (32, 0.0)):
    smooth = cv2.edgePreservingFilter(cv2.merge([base] * 3), flags=1, sigma_s=sigma, sigma_r=0.15)[..., 0]
    sum += (1 + slope) * (base.astype(np.float32) - smooth)
    base = smooth
x = np.arange(256) / 255.0
base = cv2.LUT(base, np.clip(255 * (x + 0.3 * x * (1 - x) ** 3), 0, 255).astype(np.uint8))
luma = cv2.convertScaleAbs(cv2.max(base.astype(np.float32) + sum, 0))
red, blue = cv2.add(red, 3), cv2.subtract(blue, 3)
out = cv2.cvtColor(cv2.merge([luma, red, blue]), cv2.COLOR_YCrCb2BGR)
cv2.imwrite(target, out, [cv2.IMWRITE_JPEG_QUALITY, 92])
"""

RECIPE = ["light.shadows=0.3", "detail.fine.base.slope=0.2", "color.warmth=0.1"]
LONG = 30  # seconds of processor time


def pixmill(program, recipe, photos, out):
    words = [program, "develop", *photos, "-o", out, "--force", "--quiet", "--jobs", "1", "--quality", "92"]
    for setting in recipe:
        words += ["--set", setting]
    return [words + ["--json", os.path.join(out, f"report{len(recipe)}.json")]]


def shares(report):
    """What reading, developing and writing took of a run's time."""
    with open(report) as file:
        pictures = json.load(file)["pictures"]
    parts = {part: sum(picture[part] for picture in pictures) for part in ("read", "develop", "write")}
    return ", ".join(f"{part} {100 * took / sum(parts.values()):.0f} %" for part, took in parts.items())


def each(words):
    """A command for each picture, of words in which IN and OUT stand for the files."""

    def commands(photos, out):
        def named(word, photo):
            return word.replace("IN", photo).replace("OUT", os.path.join(out, os.path.basename(photo)))

        return [[named(word, photo) if "IN" in word or "OUT" in word else word for word in words] for photo in photos]

    return commands


def peers(script):
    convert = shutil.which("convert-im6.q16") or "/usr/bin/convert"
    rows = [
        ("vips copy", "vips", ["vips", "copy", "IN", "OUT[Q=92]"], "files alone: reads and writes"),
        ("vips sharpen", "vips", ["vips", "sharpen", "IN", "OUT[Q=92]", "--sigma", "2"],
         "one level of detail, by a Gaussian; no light, no colour"),
        ("ImageMagick convert", convert,
         [convert, "IN", "-sigmoidal-contrast", "2x35%", "-unsharp", "0x2+0.2", "-unsharp", "0x8+0.2",
          "-modulate", "100,105", "-quality", "92", "OUT"],
         "light by one curve, two levels of detail by Gaussians (halos), saturation"),
        ("Python, OpenCV", "/usr/bin/python3", ["/usr/bin/python3", script, "IN", "OUT"],
         "light, three levels of detail by the recursive domain transform at 8 bits, warmth"),
    ]
    has_opencv = subprocess.run(["/usr/bin/python3", "-c", "import cv2"], stderr=subprocess.DEVNULL).returncode == 0
    return [(name, each(words), job) for name, program, words, job in rows
            if shutil.which(program) and (name != "Python, OpenCV" or has_opencv)]


def run(commands):
    """Seconds, processor seconds, and the peak of memory in megabytes."""
    started, processor, peak = time.monotonic(), 0.0, 0.0
    for words in commands:
        child = subprocess.Popen(words, env={**os.environ, "VIPS_CONCURRENCY": "1", "MAGICK_THREAD_LIMIT": "1"})
        _, status, used = os.wait4(child.pid, 0)
        if status:
            sys.exit("failed: " + " ".join(words))
        processor += used.ru_utime + used.ru_stime
        peak = max(peak, used.ru_maxrss / 1024)
    return time.monotonic() - started, processor, peak


def best(commands, runs):
    found = []
    while len(found) < runs and (not found or found[-1][1] < LONG):
        found.append(run(commands))
    return min(found, key=lambda measured: measured[1])


def main():
    options = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    options.add_argument("program", help="the command pixmill")
    options.add_argument("--photos", default="/usr/share/backgrounds")
    options.add_argument("--runs", type=int, default=3)
    asked = options.parse_args()
    photos = sorted(glob.glob(os.path.join(asked.photos, "*.jpg")))
    if not photos:
        sys.exit("no photographs in " + asked.photos)
    os.sched_setaffinity(0, {max(os.sched_getaffinity(0))})

    with tempfile.TemporaryDirectory() as folder:
        script = os.path.join(folder, "peer.py")
        with open(script, "w") as file:
            file.write(OPENCV)
        ours = [("pixmill develop", lambda photos, out: pixmill(asked.program, RECIPE, photos, out),
                 "light, three levels of detail in zones, colour that follows"),
                ("pixmill develop, warmth alone", lambda photos, out: pixmill(asked.program, RECIPE[-1:], photos, out),
                 "colour")]
        print("| | pictures / processor second | processor seconds | seconds | peak MB | what it does |")
        print("|---|---|---|---|---|---|")
        for name, commands, job in [*ours, *peers(script)]:
            words = commands(photos, folder)
            seconds, processor, peak = best(words, asked.runs)
            print(f"| {name} | {len(photos) / processor:.2f} | {processor:.1f} | {seconds:.1f} | {peak:.0f} | {job} |",
                  flush=True)
        print(f"\n{len(photos)} pictures. pixmill's last run: {shares(os.path.join(folder, 'report3.json'))}; "
              f"with warmth alone: {shares(os.path.join(folder, 'report1.json'))}")


if __name__ == "__main__":
    main()
