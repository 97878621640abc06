#!/usr/bin/env bash
# Checks that libQsolver.so exports the external interface under plain names and hides the
# internal routines.
set -euo pipefail
lib=${1:-build/dev/libQsolver.so}
syms=$(nm -D --defined-only "$lib" | awk '{print $3}')
demangled=$(echo "$syms" | c++filt)
fail=0
need_plain=(g_sktGoodNodeChain g_sktKnownNodeChain g_sktDefinedNodeChain g_sktUndefinedNodeChain
    g_sktRelChain g_sktDriveRelChain g_sktSaveRelChain g_sktClusterChain g_sktGoodClusterChain
    sktInitCountNum sktInitUndefinedNodeChain sktRemoveKnownNodeFromChain
    sktRemoveActiveAndUsedRelFromChain sktGetClusterRelChain sktGetVectorToVectorAngle
    sktSetMessageBoxProc sktSetAllocFailProc)
for f in src/judge/Judge.h src/drive/Drive.h; do
    # A pass's exports are required once its code is in the tree.
    ls "$(dirname "$f")"/*.cpp >/dev/null 2>&1 || continue
    for s in $(grep -o -E 'QSOLVER_API [a-z]+ (skt[A-Za-z]+)' "$f" | awk '{print $3}'); do
        need_plain+=("$s")
    done
done
for s in "${need_plain[@]}"; do
    if ! echo "$syms" | grep -qx "$s"; then
        echo "missing plain export: $s"
        fail=1
    fi
done
for c in CNode CVert CMathline CMathcir CVal CRel CFix CRad CPPdis CPLdis CLLdis CLLang CCluster; do
    if ! echo "$demangled" | grep -q "^$c::$c("; then
        echo "missing exported class: $c"
        fail=1
    fi
done
for hidden in RemoveFromList RemoveListFromList sktRegenerateNode sktRegeneratePoint \
    sktRegenerateLine sktIntersectCircleCircle sktNewtonBlock sktSplitBlocks CEquationGrp \
    sktIsParallelByAngleRel sktShowMessage sktAllocFailed; do
    if echo "$demangled" | grep -q -E "(^| |::)$hidden(\(|$| )"; then
        echo "internal routine exported: $hidden"
        fail=1
    fi
done
[ $fail -eq 0 ] && echo "exports ok: $(echo "$syms" | wc -l) symbols"
exit $fail
