#!/usr/bin/env bash
# Builds the side-by-side benchmark in Release and runs it; prints a Markdown table.
# Extra arguments go to the benchmark (for example --max-nodes 1000 or --family truss);
# QSOLVER_BENCH_CMAKE_ARGS adds configure options (for example -DQSOLVER_SLOT_STORE=ON).
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${QSOLVER_BENCH_BUILD:-$root/build-bench}

# The other solver comes from Debian's package.
if ! dpkg -s libslvs1-dev >/dev/null 2>&1; then
    sudo=""
    if [ "$(id -u)" -ne 0 ]; then
        sudo=sudo
    fi
    export DEBIAN_FRONTEND=noninteractive
    if ! $sudo apt-get install -y libslvs1-dev >/dev/null 2>&1; then
        # An old or missing package list: fetch it once and try again.
        $sudo apt-get update >/dev/null
        $sudo apt-get install -y libslvs1-dev >/dev/null
    fi
fi

configure=$(cmake -S "$root" -B "$build" -G "Unix Makefiles" -DCMAKE_BUILD_TYPE=Release \
    -DQSOLVER_BUILD_TESTS=OFF -DQSOLVER_BUILD_TOOLS=ON ${QSOLVER_BENCH_CMAKE_ARGS:-})
if grep -q "qsolver_bench: skipped" <<<"$configure"; then
    grep "qsolver_bench: skipped" <<<"$configure" >&2
    exit 1
fi
cmake --build "$build" --target qsolver_bench -j2 >/dev/null
exec "$build/bench/qsolver_bench" "$@"
