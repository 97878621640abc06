// The directed angle between two planar directions, measured as the whole library measures it.
#pragma once

#include "model/QMath.h"
#include "shell/QsolverExport.h"

extern "C"
{
    /// Counterclockwise angle from a to b in [0, 2pi); sets the z of both vectors to 0.
    QSOLVER_API double sktGetVectorToVectorAngle(VECTOR& a, VECTOR& b);
}
