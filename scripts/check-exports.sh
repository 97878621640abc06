#!/usr/bin/env bash
# Checks that libQsolver.so exports the external interface under plain names and hides the
# internal routines, and that libQsolverSketch.so exports only the Sketch API (namespace
# qsolver), the qsolver_ C functions and the core's exported classes it hands out.
set -euo pipefail
lib=${1:-build/dev/libQsolver.so}
sketch_lib=${2:-$(dirname "$lib")/capi/libQsolverSketch.so}
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

if [ -f "$sketch_lib" ]; then
    sketch_syms=$(nm -D --defined-only "$sketch_lib" | awk '{print $3}')
    sketch_demangled=$(echo "$sketch_syms" | c++filt)
    # Each C function the header declares, and the Sketch API's entry points.
    for s in $(grep -o -E 'qsolver_[a-z_]+\(' include/qsolver/qsolver_c.h | tr -d '(' | sort -u); do
        if ! grep -qx -- "$s" <<<"$sketch_syms"; then
            echo "sketch library: missing C function: $s"
            fail=1
        fi
    done
    for s in 'qsolver::Sketch::Sketch()' 'qsolver::Sketch::Analyse()' 'qsolver::DriveSketch(' \
        'qsolver::ParseSketch(' 'qsolver::FormatSketch' 'qsolver::DrawSketchSvg(' \
        'CVert::CVert(' 'CRel::CutRelWithNode()'; do
        if ! grep -qF -- "$s" <<<"$sketch_demangled"; then
            echo "sketch library: missing export: $s"
            fail=1
        fi
    done
    # Anything else must be one of the core's own exports (its classes and math), never its
    # passes, chains or counters, which stay with this library's private core.
    core_ok=$(echo "$demangled" | grep -v -E '^(skt|g_skt|g_n[A-Z]|std::|[^(]* std::)' | sort -u)
    while IFS= read -r d; do
        case "$d" in
            qsolver::* | qsolver_*) continue ;;
        esac
        # Here-strings, not pipes: grep -q stops early and pipefail would count the broken pipe.
        if ! grep -qxF -- "$d" <<<"$core_ok"; then
            echo "sketch library: exports what is not its interface: $d"
            fail=1
        fi
    done <<<"$sketch_demangled"
    [ $fail -eq 0 ] && echo "sketch exports ok: $(echo "$sketch_syms" | wc -l) symbols"
fi
exit $fail
