// Hooks for the two platform services the solver calls: a modal message box and the
// allocation-failure handler. A host installs its own; the defaults suit a console program.
#pragma once

#include "shell/QsolverExport.h"

typedef void (*QMessageBoxProc)(const char* text);
typedef void (*QAllocFailProc)();

extern "C"
{
    /// Installs the message-box procedure (given the GBK bytes of the text); returns the previous
    /// one. Null restores the default, which writes the text as UTF-8 to standard error.
    QSOLVER_API QMessageBoxProc sktSetMessageBoxProc(QMessageBoxProc proc);
    /// Installs the allocation-failure handler; returns the previous one. Null restores the
    /// default, which throws std::bad_alloc.
    QSOLVER_API QAllocFailProc sktSetAllocFailProc(QAllocFailProc proc);
}

/// Shows a GBK text through the current message-box procedure; returns when it is closed.
void sktShowMessage(const char* gbkText);
/// Calls the current allocation-failure handler.
void sktAllocFailed();
/// Ends an exported call that an exception (only a failed allocation raises one) would otherwise
/// leave through the C interface: the allocation-failure handler hears of it, and whatever it
/// throws in turn stays here. The caller then returns its failure result.
void sktAllocFailedAtBoundary() noexcept;
