// Qsolver: the two-dimensional sketch constraint solver. Everything a host uses.
#pragma once

#include "model/CNode.h"
#include "model/CRel.h"
#include "model/CVal.h"
#include "model/Chains.h"
#include "model/Platform.h"
#include "model/PtrList.h"
#include "model/QMath.h"
#include "model/VectorAngle.h"
#include "judge/Judge.h"
#include "drive/Drive.h"
