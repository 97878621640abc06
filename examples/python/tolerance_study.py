"""A tolerance study: thousands of four-bar variants whose link lengths are off by a normal
manufacturing error, each turned through a full crank revolution; how far the rocker's swing
and its output angle stray from the nominal linkage. Plotted.

    python3 examples/python/tolerance_study.py [--variants 2000] [--out DIR]

Writes tolerance_study.png and tolerance_study.npz (the curves, for comparison with the Dask
run of the same study).
"""

import argparse
import time
from pathlib import Path

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt
import numpy as np

from fourbar_study import NOMINAL, load_fourbar, output_curve, tolerance_variants, variant_curves

CRANK = np.arange(0.0, 360.0, 10.0)


def plot(curves, nominal, lengths, path):
    swing = np.nanmax(curves, axis=1) - np.nanmin(curves, axis=1)
    nominal_swing = nominal.max() - nominal.min()
    fig, (left, right) = plt.subplots(1, 2, figsize=(11, 4.5))
    deviation = curves - nominal
    for q, shade in ((0.0, 0.15), (0.05, 0.35)):
        left.fill_between(CRANK, np.nanquantile(deviation, q, axis=0),
                          np.nanquantile(deviation, 1 - q, axis=0), color="tab:blue",
                          alpha=shade, linewidth=0,
                          label="all variants" if q == 0 else "90% of variants")
    left.axhline(0, color="black", linewidth=0.8)
    left.set_xlabel("crank angle (deg)")
    left.set_ylabel("output angle - nominal (deg)")
    left.set_title("Output angle error over a turn")
    left.legend(loc="upper right")
    left.grid(alpha=0.3)
    right.hist(swing[np.isfinite(swing)], bins=50, color="tab:green", alpha=0.8)
    right.axvline(nominal_swing, color="black", linestyle="--", label="nominal")
    right.set_xlabel("rocker swing (deg)")
    right.set_ylabel("variants")
    right.set_title(f"{len(lengths)} variants, link lengths sigma "
                    f"{np.std(lengths - NOMINAL):.2f}")
    right.legend()
    fig.tight_layout()
    fig.savefig(path, dpi=110)
    return swing, nominal_swing


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--variants", type=int, default=2000)
    parser.add_argument("--out", type=Path, default=Path("."))
    args = parser.parse_args()

    base = load_fourbar()
    nominal = output_curve(base.copy(), CRANK)
    lengths = tolerance_variants(args.variants)
    start = time.perf_counter()
    curves = variant_curves(base.to_json(), lengths, CRANK)
    took = time.perf_counter() - start

    args.out.mkdir(parents=True, exist_ok=True)
    swing, nominal_swing = plot(curves, nominal, lengths, args.out / "tolerance_study.png")
    np.savez(args.out / "tolerance_study.npz", lengths=lengths, crank=CRANK, curves=curves)
    failed = int(np.isnan(curves).any(axis=1).sum())
    print(f"{args.variants} variants x {len(CRANK)} crank angles in {took:.2f} s "
          f"({took / (args.variants * (len(CRANK) + 1)) * 1e6:.1f} us per drive); "
          f"swing {nominal_swing:.3f} nominal, {np.nanmin(swing):.3f} to "
          f"{np.nanmax(swing):.3f}; {failed} variants with unreachable positions; "
          f"wrote {args.out / 'tolerance_study.png'}")


if __name__ == "__main__":
    main()
