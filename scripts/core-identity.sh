#!/usr/bin/env bash
# Checks that the core computes exactly what it computed at BASE_REV: builds
# qsolver_core_identity (Release) at BASE_REV, in a temporary git worktree, and at the working
# tree, runs both over the same sketches and compares their output. Exit 0 identical, 1 on any
# difference (the first differences are printed), 2 on a bad call.
# QSOLVER_IDENTITY_CMAKE_ARGS adds configure options to both builds (for example
# -DQSOLVER_SLOT_STORE=ON); QSOLVER_IDENTITY_TARGETS builds further targets of both (for example
# qsolver_core_profile, to compare the two under callgrind afterwards).
set -euo pipefail

if [ $# -ne 1 ]; then
    echo "usage: scripts/core-identity.sh BASE_REV" >&2
    exit 2
fi
root=$(cd "$(dirname "$0")/.." && pwd)
base_rev=$(git -C "$root" rev-parse --verify "$1^{commit}") || exit 2
# Under the source tree, so that ccache (base_dir) shares objects between the two builds; each
# set of configure options keeps builds of its own.
work=$root/build/identity
if [ -n "${QSOLVER_IDENTITY_CMAKE_ARGS:-}" ]; then
    work=$work-$(printf '%s' "$QSOLVER_IDENTITY_CMAKE_ARGS" | cksum | cut -d' ' -f1)
fi
mkdir -p "$work"
base_src=$work/base-src
cleanup() {
    git -C "$root" worktree remove --force "$base_src" >/dev/null 2>&1 || true
}
trap cleanup EXIT
cleanup
rm -rf "$base_src"
git -C "$root" worktree add --detach "$base_src" "$base_rev" >/dev/null 2>&1

# The tool itself always comes from the working tree; an older tree gets it added.
rm -rf "$base_src/tools/core_identity"
cp -r "$root/tools/core_identity" "$base_src/tools/core_identity"
if ! grep -q "tools/core_identity" "$base_src/CMakeLists.txt"; then
    printf '\nif(TARGET qsolver_sketch)\n    add_subdirectory(tools/core_identity)\nendif()\n' \
        >>"$base_src/CMakeLists.txt"
fi

build() { # source dir, build dir
    cmake -S "$1" -B "$2" -G "Unix Makefiles" -DCMAKE_BUILD_TYPE=Release \
        -DQSOLVER_BUILD_TESTS=OFF -DQSOLVER_BUILD_TOOLS=ON ${QSOLVER_IDENTITY_CMAKE_ARGS:-} \
        >/dev/null
    cmake --build "$2" --target qsolver_core_identity ${QSOLVER_IDENTITY_TARGETS:-} -j2 >/dev/null
}
echo "building $(git -C "$root" rev-parse --short "$base_rev") and the working tree" >&2
build "$base_src" "$work/base-build"
build "$root" "$work/tree-build"

# Both read the sketch files of the working tree.
run() { # build dir, output
    local start=$SECONDS
    "$1/tools/core_identity/qsolver_core_identity" --root "$root" >"$2"
    echo "$(basename "$1"): $((SECONDS - start)) s, $(wc -l <"$2") lines" >&2
}
run "$work/base-build" "$work/base.txt"
run "$work/tree-build" "$work/tree.txt"

if cmp -s "$work/base.txt" "$work/tree.txt"; then
    echo "identical"
    exit 0
fi
echo "DIFFERENT (full outputs: $work/base.txt and $work/tree.txt); first differences:"
diff "$work/base.txt" "$work/tree.txt" | head -40 || true
exit 1
