"""Every filter from an array to an array of its shape, with the type it is tried on."""
import pixmill

FLOATS = ["recursive_filter", "convolution_filter", "interpolated_filter", "guided_filter", "gaussian_filter", "glow"]
WORDS = [
    "guided_filter",
    "bilateral_filter",
    "gradient_guide",
    "local_laplacian",
    "box_filter",
    "extreme_sharpen",
    "light_curve",
    "finest_detail",
]
BYTES = ["guided_filter", "bilateral_filter", "gradient_guide", "box_filter"]
CASES = (
    [(name, "floats") for name in FLOATS] + [(name, "words") for name in WORDS] + [(name, "bytes") for name in BYTES]
    + [("compact", "colours")]
)
if hasattr(pixmill, "least_squares"):
    CASES.append(("least_squares", "floats"))
