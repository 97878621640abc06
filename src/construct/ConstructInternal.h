// Internal routines of constructive solving: placing one point or line from neighbours that are
// already placed, by intersecting loci and keeping the configuration the backups recorded.
#pragma once

#include "model/PtrList.h"
#include "model/QMath.h"

class CNode;
class CVert;
class CMathline;
class CRel;

// Ambiguity toggles: when the old configuration cannot tell two solutions apart, the choice
// alternates between calls. Process-wide, +1 at load, never reset.
extern signed char g_cPPdisPLdisToggle;
extern signed char g_cTwoPPdisToggle;
extern signed char g_cTwoPLdisToggle;

// Dispatch.
/// Recomputes the node from the relations when one of its inputs changed: 1 success or nothing
/// to do, 0 failure.
int sktRegenerateNode(CNode* node, CRelList& rels);
/// 1 when a neighbour moved, a value changed or a value is driven; 0 otherwise.
int sktIsRegenerateNeeded(CNode* node, CRelList& rels);
/// Takes the radius from the circle's radius value; always 1.
int sktRegenerateCircle(CNode* circle, CRelList& rels);

// Shared construction geometry.
/// Distance of P from the line through A and B (from A when A and B coincide).
double sktGetPointToLineDistance(const XYZ& P, const XYZ& A, const XYZ& B);
/// Intersections of the line through A and B with the circle (M, r): 0, 1 or 2 points.
int sktIntersectLineCircle(const XYZ& A, const XYZ& B, const XYZ& M, double r, XYZ& out1,
                           XYZ& out2);
/// Intersections of the circles (M1, r1) and (M2, r2): 0, 1 or 2 points.
int sktIntersectCircleCircle(const XYZ& M1, double r1, const XYZ& M2, double r2, XYZ& out1,
                             XYZ& out2);
/// The parallel of the line at the relation's value, on the side where ref lay of the old line.
MATHLINE sktGetOffsetLine(CMathline* line, const XYZ& ref, CRel* rel);
/// 1 when P lies left of the directed line, -1 right, 0 on it.
int sktGetPointSideOfLine(const XYZ& P, const MATHLINE& L);

// Point cases.
int sktRegeneratePoint(CVert* point, CRelList& rels);
int sktPointFromPPdis(CVert* point, CRel* rel);
int sktPointFromPLdis(CVert* point, CRel* rel);
int sktPointFromTwoPLdis(CVert* point, CRel* rel1, CRel* rel2);
int sktPointFromPPdisPLdis(CVert* point, CRel* relPP, CRel* relPL);
int sktPointFromTwoPPdis(CVert* point, CRel* rel1, CRel* rel2);
int sktPointFromThreeEqualPLdis(CVert* point, CRel* r1, CRel* r2, CRel* r3);
int sktPointFromTwoEqualPLdisPLdis(CVert* point, CRel* r1, CRel* r2, CRel* r3);
int sktPointFromTwoEqualPLdisPPdis(CVert* point, CRel* r1, CRel* r2, CRel* r3);
int sktPointFromTwoEqualPPdisPLdis(CVert* point, CRel* r1, CRel* r2, CRel* r3);
int sktPointFromTwoEqualPPdisPPdis(CVert* point, CRel* r1, CRel* r2, CRel* r3);

// Line cases.
int sktRegenerateLine(CMathline* line, CRelList& rels);
int sktLineFromPLdis(CMathline* line, CRel* rel);
int sktLineFromLLang(CMathline* line, CRel* rel);
int sktLineFromLLdis(CMathline* line, CRel* rel);
int sktLineFromTwoPLdis(CMathline* line, CRel* rel1, CRel* rel2);
int sktLineFromPLdisLLang(CMathline* line, CRel* relPL, CRel* relAng);
int sktLineFromLLdisLLang(CMathline* line, CRel* relLL, CRel* relAng);
