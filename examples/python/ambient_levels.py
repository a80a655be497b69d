#!/usr/bin/env python3
"""Tone-maps a picture for three ambient light levels and plots the tone curves and the pictures
before and after.

usage: ambient_levels.py [PICTURE.png] [--save FIGURE.png]
The picture defaults to the repository's data/coffee.png. Reading PNG pictures and plotting need
matplotlib (Debian: python3-matplotlib); without it the script says so and only prints how bright
each result is, on a gradient of its own.
"""
import argparse
import pathlib

import numpy as np

import alad

LUX = (1000, 10000, 40000)  # indoors, overcast daylight, direct sun
SOURCE_LUX = 300            # the light pictures are made for


def tone_map(picture12, dst_lux):
    """A still picture through the engine (CLTM then AGTM): the CLTM passes a sequence's first
    frame through, so the picture is run twice and the second result kept."""
    height, width, _ = picture12.shape
    engine = alad.Engine(width=width, height=height, order=1, src_lux=SOURCE_LUX, dst_lux=dst_lux)
    engine.run(picture12)
    return engine.run(picture12)


def main():
    default = pathlib.Path(__file__).resolve().parents[2] / "data" / "coffee.png"
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("picture", nargs="?", default=str(default))
    parser.add_argument("--save", help="write the figure to this file instead of showing it")
    args = parser.parse_args()
    try:
        import matplotlib
        if args.save:
            matplotlib.use("Agg")
        import matplotlib.image
        import matplotlib.pyplot as plt
    except ImportError:
        plt = None
        print("matplotlib is not installed (Debian: apt-get install python3-matplotlib): no plots, "
              "and a gradient instead of the picture")

    if plt:
        rgb = matplotlib.image.imread(args.picture)[..., :3]  # PNG: float 0..1, R, G, B
        picture8 = np.ascontiguousarray(np.round(rgb * 255)[..., ::-1]).astype(np.uint8)
    else:
        ramp = np.linspace(0, 255, 256).astype(np.uint8)
        picture8 = np.ascontiguousarray(np.stack([np.tile(ramp, (64, 1))] * 3, axis=2))
    picture12 = alad.widen8(picture8)  # B, G, R, 12-bit
    results = {lux: tone_map(picture12, lux) for lux in LUX}
    for lux, result in results.items():
        print(f"{lux:6d} lux: mean level {picture12.mean():7.1f} -> {result.mean():7.1f} (of 4095)")
    if not plt:
        return

    def shown(image12):
        return image12[..., ::-1] / 4095.0  # R, G, B for matplotlib

    figure, axes = plt.subplots(1, 2 + len(LUX), figsize=(4 * (2 + len(LUX)), 4))
    codes = np.arange(256) / 255
    axes[0].plot(codes, codes, "k:", label="identity")
    for lux in LUX:
        axes[0].plot(codes, alad.tone_curve(SOURCE_LUX, lux), label=f"{lux} lux")
    axes[0].set(title="ambient tone curves", xlabel="input code", ylabel="output code")
    axes[0].legend()
    axes[1].imshow(shown(picture12))
    axes[1].set_title(f"before ({SOURCE_LUX} lux)")
    for axis, lux in zip(axes[2:], LUX):
        axis.imshow(shown(results[lux]))
        axis.set_title(f"after, {lux} lux")
    for axis in axes[1:]:
        axis.axis("off")
    figure.tight_layout()
    if args.save:
        figure.savefig(args.save)
        print("figure written to", args.save)
    else:
        plt.show()


if __name__ == "__main__":
    main()
