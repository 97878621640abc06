#!/usr/bin/env bash
# The demo from a fresh machine: installs what the build needs, builds the reference host alone
# (not the tests) and runs its built-in example, which prints the passes and writes demo.svg.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake --preset dev >/dev/null
cmake --build --preset dev --target qsketch
build/dev/tools/qsketch/qsketch demo
echo "Open demo.svg to see the linkage before (grey) and after the changes."
if [ -d build/dev/python/qsolver ]; then
    # The same linkage from Python: its output angle over a turn of the crank.
    PYTHONPATH=build/dev/python /usr/bin/python3 examples/python/linkage_sweep.py
fi
