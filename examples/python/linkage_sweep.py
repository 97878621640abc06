"""A four-bar linkage's output angle over a full turn of its crank, plotted.

    python3 examples/python/linkage_sweep.py [--out DIR]

Writes linkage_sweep.png: the rocker angle and the transmission angle against the crank angle.
"""

import argparse
import math
from pathlib import Path

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt
import numpy as np

from fourbar_study import load_fourbar, output_curve


def transmission_angle(sketch):
    """The angle between coupler and rocker at B, in degrees (90 is the best force transfer)."""
    ba = sketch.point("A") - sketch.point("B")
    bo = sketch.point("O2") - sketch.point("B")
    cos = np.dot(ba, bo) / (np.linalg.norm(ba) * np.linalg.norm(bo))
    return math.degrees(math.acos(max(-1.0, min(1.0, cos))))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--out", type=Path, default=Path("."), help="directory for the PNG")
    args = parser.parse_args()

    sketch = load_fourbar()
    crank = np.arange(0.0, 360.0, 2.0)
    output = np.empty_like(crank)
    transmission = np.empty_like(crank)
    for i, theta in enumerate(crank):
        output[i] = output_curve(sketch, [theta])[0]
        transmission[i] = transmission_angle(sketch)
    assert sketch.holds()

    fig, (top, bottom) = plt.subplots(2, 1, figsize=(7, 6), sharex=True)
    top.plot(crank, output, color="tab:blue")
    top.set_ylabel("rocker angle (deg)")
    top.set_title("Four-bar linkage: crank 40, coupler 90, rocker 70, ground 100")
    top.grid(alpha=0.3)
    bottom.plot(crank, transmission, color="tab:orange")
    bottom.axhline(90, color="grey", linewidth=0.8)
    bottom.set_ylabel("transmission angle (deg)")
    bottom.set_xlabel("crank angle (deg)")
    bottom.grid(alpha=0.3)
    fig.tight_layout()
    args.out.mkdir(parents=True, exist_ok=True)
    path = args.out / "linkage_sweep.png"
    fig.savefig(path, dpi=110)
    swing = np.nanmax(output) - np.nanmin(output)
    print(f"rocker swings {swing:.3f} deg between {np.nanmin(output):.3f} and "
          f"{np.nanmax(output):.3f}; transmission angle {transmission.min():.1f} to "
          f"{transmission.max():.1f} deg; wrote {path}")


if __name__ == "__main__":
    main()
