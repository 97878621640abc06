// Internal routines of Qsolver, for the project's own tests and tools only. Not exported from
// the shared library: link qsolver_core to use them.
#pragma once

#include "Qsolver.h"
#include "construct/ConstructInternal.h"
#include "numeric/NumericInternal.h"
