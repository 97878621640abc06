// Internal routines of numeric solving.
#pragma once

#include "numeric/Equation.h"
#include "numeric/EquationGrp.h"
#include "numeric/GroupSolve.h"

class CMathline;

/// 1 when known angle relations make b parallel to a (through any chain of right angles).
int sktIsParallelByAngleRel(CMathline* a, CMathline* b);
