#!/usr/bin/env python3
"""The package for Python beside what a user has at hand: OpenCV's and scikit-image's functions for the same work.

    peers.py [--side 4000] [--rounds 7]     prints a table of processor times at one thread and their ratios, and what a call costs

Needs pixmill on PYTHONPATH; rows of a peer that is not installed stay empty.
"""
import argparse
import statistics
import time

import numpy as np
import pixmill

try:
    import cv2

    cv2.setNumThreads(1)
except ImportError:
    cv2 = None
try:
    import skimage.color
    import skimage.filters
    import skimage.restoration
    import skimage.transform
except ImportError:
    skimage = None


def scene(side):
    random = np.random.default_rng(5)
    across = np.linspace(0, 40, side, dtype=np.float32)
    plane = 0.4 + 0.3 * np.sin(across)[:, None] * np.cos(1.7 * across)[None] + 0.2 * (across[None] > 20)
    return np.clip(plane + 0.02 * random.standard_normal((side, side), np.float32), 0, 1).astype(np.float32)


def rows(side):
    """(work, ours, OpenCV's, scikit-image's): each a call without arguments, or None."""
    f = scene(side)
    w, b = (f * 65535).astype(np.uint16), (f * 255).astype(np.uint8)
    rgb = np.dstack([b, b[::-1], b[:, ::-1]])
    rgbf, out, outw, outb = (rgb / np.float32(255)).astype(np.float32), np.empty_like(f), np.empty_like(w), np.empty_like(b)
    table = np.arange(65536, dtype=np.uint16)[::-1].copy()
    ximgproc = getattr(cv2, "ximgproc", None)
    contrib = (lambda work: work) if ximgproc else (lambda work: None)
    opencv = (lambda work: work) if cv2 else (lambda work: None)
    scikit = (lambda work: work) if skimage else (lambda work: None)
    kernel = np.ones((3, 3), np.uint8)

    def steps():
        low, high = cv2.erode(w, kernel), cv2.dilate(w, kernel)
        return np.where(high - w < w - low, high, low)

    def thrice():
        p = w
        for _ in range(3):
            p = cv2.blur(p, (11, 11), borderType=cv2.BORDER_REFLECT_101)

    def chroma():
        ycc = cv2.cvtColor(rgb, cv2.COLOR_RGB2YCrCb)
        return cv2.resize(ycc[..., 1:], None, fx=0.5, fy=0.5, interpolation=cv2.INTER_AREA)

    return [
        ("guided filter, one guide, radius 8", lambda: pixmill.guided_filter(f, radius=8, eps=0.002, out=out),
         contrib(lambda: ximgproc.guidedFilter(f, f, 8, 0.002)), None),
        ("guided filter, three guides, radius 8", lambda: pixmill.guided_filter(f, rgbf, radius=8, eps=0.002, out=out),
         contrib(lambda: ximgproc.guidedFilter(rgbf, f, 8, 0.002)), None),
        ("domain transform, recursive", lambda: pixmill.recursive_filter(f, sigma_s=20, sigma_r=0.3, out=out),
         contrib(lambda: ximgproc.dtFilter(f, f, 20, 0.3, mode=ximgproc.DTF_RF)), None),
        ("domain transform, convolution", lambda: pixmill.convolution_filter(f, 20, 0.3, out=out),
         contrib(lambda: ximgproc.dtFilter(f, f, 20, 0.3, mode=ximgproc.DTF_NC)), None),
        ("bilateral, 8 bits, 4 pixels and 25 values", lambda: pixmill.bilateral_filter(b, cell=4, range=25, out=outb),
         opencv(lambda: cv2.bilateralFilter(b, 13, 25, 4)), None),
        ("Gaussian, floats, sigma 8", lambda: pixmill.gaussian_filter(f, sigma=8, out=out),
         opencv(lambda: cv2.GaussianBlur(f, (0, 0), 8)), scikit(lambda: skimage.filters.gaussian(f, 8))),
        ("three box means, 16 bits, radius 5", lambda: pixmill.box_filter(w, 5, 3, out=outw), opencv(thrice), None),
        ("nearer of minimum and maximum", lambda: pixmill.extreme_sharpen(w, out=outw), opencv(steps), None),
        ("table of 65536 entries", lambda: pixmill.look_up(w, table, out=outw), None, lambda: np.take(table, w, out=outw)),
        ("doubling, cubic, 16 bits", lambda: pixmill.double_size(w),
         opencv(lambda: cv2.resize(w, None, fx=2, fy=2, interpolation=cv2.INTER_CUBIC)),
         scikit(lambda: skimage.transform.resize(w, (2 * side, 2 * side), 3, preserve_range=True))),
        ("pyramid step down, 16 bits", lambda: pixmill.halve_size(w, "pyramid"), opencv(lambda: cv2.pyrDown(w)),
         scikit(lambda: skimage.transform.pyramid_reduce(f))),
        ("R, G, B to luma and half-size colour", lambda: pixmill.PlanarPicture.from_packed(rgb), opencv(chroma),
         scikit(lambda: skimage.color.rgb2ycbcr(rgb))),
    ]


def seconds(work, rounds):
    """The median processor time of a call, the first left out."""
    times = []
    for _ in range(rounds + 1):
        before = time.process_time()
        work()
        times.append(time.process_time() - before)
    return statistics.median(times[1:])


def overhead(rounds):
    """Microseconds of a call on a plane of 4 x 4 pixels, the least of some rounds."""
    small = np.zeros((4, 4), np.uint16)
    out, count = np.empty_like(small), 20000
    calls = {
        "extreme_sharpen(p)": lambda: pixmill.extreme_sharpen(small),
        "extreme_sharpen(p, out=out)": lambda: pixmill.extreme_sharpen(small, out=out),
        "blend_alpha(a, b, m, 0.5, out=out)": lambda m=np.zeros((4, 4), np.uint8): pixmill.blend_alpha(
            small, small, m, 0.5, out=out),
        "rgb_to_luma(r, g, b, out=out)": lambda: pixmill.rgb_to_luma(small, small, small, out=out),
    }
    for name, call in calls.items():
        least = min(seconds(lambda: [call() for _ in range(count)], 1) for _ in range(rounds))
        print(f"| `{name}` | {least / count * 1e6:.2f} |")


def main():
    options = argparse.ArgumentParser(description=__doc__)
    options.add_argument("--side", type=int, default=4000)
    options.add_argument("--rounds", type=int, default=7)
    given = options.parse_args()
    pixmill.set_threads(1)
    print("| Work | ms | OpenCV | scikit-image or numpy |\n|---|---|---|---|")
    for name, ours, first, second in rows(given.side):
        mine = seconds(ours, given.rounds)
        ratios = [f"{seconds(peer, given.rounds) / mine:.1f}" if peer else "" for peer in (first, second)]
        print(f"| {name} | {mine * 1000:.1f} | {ratios[0]} | {ratios[1]} |", flush=True)
    print("\n| A call on 4 x 4 pixels | microseconds |\n|---|---|")
    overhead(given.rounds)


if __name__ == "__main__":
    main()
