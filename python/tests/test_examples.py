# The example scripts run, plot, and the Dask sweep gives the local loop's answers.
import subprocess
import sys

import numpy as np
import pytest

from conftest import EXAMPLES

SCRIPTS = EXAMPLES / "python"


def run(script, *args, cwd):
    done = subprocess.run([sys.executable, str(SCRIPTS / script), *args], cwd=cwd,
                          capture_output=True, text=True, timeout=600)
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout


def is_png(path):
    return path.read_bytes()[:8] == b"\x89PNG\r\n\x1a\n"


def test_linkage_sweep_plots(tmp_path):
    out = run("linkage_sweep.py", "--out", str(tmp_path), cwd=tmp_path)

    assert "rocker swings" in out
    assert is_png(tmp_path / "linkage_sweep.png")


def test_tolerance_study_plots_and_saves_curves(tmp_path):
    out = run("tolerance_study.py", "--variants", "100", "--out", str(tmp_path), cwd=tmp_path)

    assert "100 variants" in out
    assert is_png(tmp_path / "tolerance_study.png")
    curves = np.load(tmp_path / "tolerance_study.npz")["curves"]
    assert curves.shape == (100, 36) and np.isfinite(curves).all()


def test_dask_sweep_matches_the_local_loop(tmp_path):
    pytest.importorskip("dask.distributed")

    out = run("dask_sweep.py", "--variants", "120", "--chunk", "40", cwd=tmp_path)

    assert "answers identical" in out
    assert list(tmp_path.iterdir()) == []  # the workers' scratch space is cleaned up
