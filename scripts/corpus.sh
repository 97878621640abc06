#!/usr/bin/env bash
# The seeded edit corpus, side by side with the other solver: builds Release, generates the
# corpus once (it is kept until the generator or the seed changes), drives every edit through
# both solvers, then the drag corpus. Prints progress and the tables; writes them as Markdown.
#   scripts/corpus.sh                 # everything
#   scripts/corpus.sh --family rail   # one family (run and drag)
#   scripts/corpus.sh --no-drag       # the edit table only
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${QSOLVER_BENCH_BUILD:-$root/build-bench}
seed=20261124
family=()
drag=1
while [ $# -gt 0 ]; do
    case $1 in
        --family) family=(--family "$2"); shift 2 ;;
        --seed) seed=$2; shift 2 ;;
        --no-drag) drag=0; shift ;;
        *) echo "usage: scripts/corpus.sh [--family NAME] [--seed N] [--no-drag]" >&2; exit 2 ;;
    esac
done

# The other solver comes from Debian's package.
if ! dpkg -s libslvs1-dev >/dev/null 2>&1; then
    sudo=""
    if [ "$(id -u)" -ne 0 ]; then
        sudo=sudo
    fi
    export DEBIAN_FRONTEND=noninteractive
    if ! $sudo apt-get install -y libslvs1-dev >/dev/null 2>&1; then
        $sudo apt-get update >/dev/null
        $sudo apt-get install -y libslvs1-dev >/dev/null
    fi
fi

configure=$(cmake -S "$root" -B "$build" -G "Unix Makefiles" -DCMAKE_BUILD_TYPE=Release \
    -DQSOLVER_BUILD_TESTS=OFF -DQSOLVER_BUILD_TOOLS=ON)
if grep -q "qsolver_corpus: skipped" <<<"$configure"; then
    grep "qsolver_corpus: skipped" <<<"$configure" >&2
    exit 1
fi
cmake --build "$build" --target qsolver_corpus -j2 >/dev/null
corpus=$build/bench/corpus/qsolver_corpus

# The corpus depends only on the generator's sources and the seed.
dir=$build/edit-corpus
stamp=$(cat "$root"/bench/corpus/Generator.cpp "$root"/bench/corpus/Realise.cpp \
    "$root"/bench/corpus/SlvsDoc.cpp "$root"/bench/corpus/Judge.cpp | sha1sum | cut -c1-16)-$seed
if [ "$(cat "$dir/stamp" 2>/dev/null)" != "$stamp" ]; then
    rm -rf "$dir"
    mkdir -p "$dir"
    "$corpus" generate "$dir" --seed "$seed"
    echo "$stamp" >"$dir/stamp"
fi

"$corpus" run "$dir" "${family[@]}" --md "$build/corpus-edits.md" --log "$build/corpus-edits.log"
echo "wrote $build/corpus-edits.md; one line per edit in $build/corpus-edits.log"
if [ $drag -eq 1 ]; then
    "$corpus" drag "$dir" "${family[@]}" --every 8 --steps 5 --md "$build/corpus-drags.md" \
        --log "$build/corpus-drags.log"
    echo "wrote $build/corpus-drags.md; one line per drag in $build/corpus-drags.log"
fi
