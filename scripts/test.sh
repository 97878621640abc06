#!/usr/bin/env bash
# The whole test run, from a fresh machine: installs what it needs, builds everything with
# warnings as errors, runs every suite, runs them again under AddressSanitizer and
# UndefinedBehaviorSanitizer, checks the installed package (Qsolver::Qsolver and Qsolver::Sketch
# with its C API) links into a consumer project and
# runs the whole-sketch suites under valgrind.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
bash scripts/install-deps.sh

echo "== build and test"
cmake --preset dev >/dev/null
cmake --build --preset dev
log=$(mktemp)
ctest --preset dev | tee "$log"
total=$(grep -o -E 'tests failed out of [0-9]+' "$log" | awk '{print $5}')
rm -f "$log"

echo "== sanitizers"
cmake --preset asan >/dev/null
cmake --build --preset asan
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 ctest --preset asan

echo "== installed package in a consumer project"
stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
cmake --install build/dev --prefix "$stage/prefix" >/dev/null
cmake -S examples/consumer -B "$stage/consumer" -DCMAKE_PREFIX_PATH="$stage/prefix" >/dev/null
cmake --build "$stage/consumer" -j2 >/dev/null
# The global-list core, and the Sketch API from C++ and from C (Qsolver::Sketch).
for consumer in qsolver_consumer qsolver_sketch_consumer qsolver_c_consumer; do
    LD_LIBRARY_PATH="$stage/prefix/lib" "$stage/consumer/$consumer"
done

echo "== exported symbols"
bash scripts/check-exports.sh build/dev/libQsolver.so build/dev/capi/libQsolverSketch.so

echo "== Python module: pip install into a venv over Debian's packages, then pytest"
# The venv sees Debian's numpy, pytest and dask (--system-site-packages); the module is built
# in build/dev, which the C++ stage has already built.
venv=build/python-venv
[ -x "$venv/bin/python" ] || /usr/bin/python3 -m venv --system-site-packages "$venv"
QSOLVER_BUILD_DIR=build/dev "$venv/bin/pip" install --no-build-isolation --no-deps --quiet \
    --disable-pip-version-check .
(cd "$stage" && "$root/$venv/bin/python" -c "import qsolver")
pyrc=0
"$venv/bin/python" -m pytest -q -p no:cacheprovider python/tests | tee "$stage/pytest.log" ||
    pyrc=$?
if [ "$pyrc" -eq 5 ]; then
    echo "pytest collected no tests from python/tests" >&2
    exit 1
elif [ "$pyrc" -ne 0 ]; then
    exit "$pyrc"
fi
pypassed=$(grep -o -E '[0-9]+ passed' "$stage/pytest.log" | tail -1 | awk '{print $1}')

echo "== valgrind on the whole-sketch suites"
valgrind --quiet --error-exitcode=3 --leak-check=full --errors-for-leak-kinds=definite \
    build/dev/tests/qsolver_tests --gtest_filter='*Sketch*:*Model*' --gtest_brief=1

echo "== WebAssembly module and the browser sketcher"
# One build of the module; node's test runner for its API, headless chromium for the page
# (the test's server binds 127.0.0.1 and closes with the run).
NODE_PATH=/usr/share/nodejs emcmake cmake -S wasm -B build/wasm >/dev/null
NODE_PATH=/usr/share/nodejs cmake --build build/wasm -j2
PLAYWRIGHT_SKIP_BROWSER_DOWNLOAD=1 npm ci --no-audit --no-fund --loglevel=error
timeout 300 node --test wasm/test/
QSOLVER_WEB_ARTEFACTS="$root/build/web-test" timeout 300 node --test web/test/

if [ -f scripts/fuzz.sh ]; then
    echo "== fuzzers, bounded"
    bash scripts/fuzz.sh --ci
fi

echo "All test stages passed."
echo "$(( ${total:-0} + ${pypassed:-0} )) passed, 0 failed"
