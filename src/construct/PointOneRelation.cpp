// Choosing how a point is placed from its relations, the two diagnostics of the combinations no
// construction handles, and the placements from a single distance.
#include "construct/ConstructInternal.h"

#include "construct/ConstructCommon.h"
#include "model/CNode.h"
#include "model/CRel.h"
#include "model/CVal.h"
#include "model/Platform.h"

#include <cmath>
#include <utility>

using namespace construct;

namespace
{
// "Unhandled branch, three virtual constraints" and "unhandled branch, two virtual constraints
// and one real", in the GBK encoding the host's message box expects.
const char* const kThreeVirtualText =
    "\xC8\xFD\xB8\xF6\xD0\xE9\xD4\xBC\xCA\xF8\xB5\xC4\xCE\xB4\xB4\xA6\xC0\xED\xB7\xD6\xD6\xA7!";
const char* const kTwoVirtualOneRealText =
    "\xC1\xBD\xD0\xE9\xD2\xBB\xCA\xB5\xB5\xC4\xCE\xB4\xB4\xA6\xC0\xED\xB7\xD6\xD6\xA7!";

int PlaceFromTwo(CVert* point, CRel* first, CRel* second)
{
    int t1 = first->GetType();
    int t2 = second->GetType();
    int placed = 1;
    if (t1 == SKT_REL_PLDIS && t2 == SKT_REL_PLDIS)
    {
        placed = sktPointFromTwoPLdis(point, first, second);
    }
    else if (t1 == SKT_REL_PPDIS && t2 == SKT_REL_PLDIS)
    {
        placed = sktPointFromPPdisPLdis(point, first, second);
    }
    else if (t1 == SKT_REL_PLDIS && t2 == SKT_REL_PPDIS)
    {
        // The point-point distance always goes first.
        placed = sktPointFromPPdisPLdis(point, second, first);
    }
    else if (t1 == SKT_REL_PPDIS && t2 == SKT_REL_PPDIS)
    {
        placed = sktPointFromTwoPPdis(point, first, second);
    }
    return placed != 0 ? 1 : 0;
}

bool IsLineNode(CNode* n)
{
    return n->GetType() == SKT_NODE_LINE;
}
bool IsPointNode(CNode* n)
{
    return n->GetType() == SKT_NODE_POINT;
}

// Three relations: the relation types are not examined, the kind of neighbour tells whether a
// relation is a point-line or a point-point distance.
int PlaceFromThree(CVert* point, CRel* r1, CRel* r2, CRel* r3)
{
    CNode* a1 = r1->GetAnotherNode(point);
    CNode* a2 = r2->GetAnotherNode(point);
    CNode* a3 = r3->GetAnotherNode(point);
    if (a1->IsSame(a2) || a1->IsSame(a3) || a2->IsSame(a3))
    {
        return 0;
    }
    // Only the first pair of lines is tested for parallels.
    CNode* la = nullptr;
    CNode* lb = nullptr;
    if (IsLineNode(a1) && IsLineNode(a2))
    {
        la = a1;
        lb = a2;
    }
    else if (IsLineNode(a1) && IsLineNode(a3))
    {
        la = a1;
        lb = a3;
    }
    else if (IsLineNode(a2) && IsLineNode(a3))
    {
        la = a2;
        lb = a3;
    }
    if (la != nullptr &&
        static_cast<CMathline*>(la)->m_Line.IsParallel(static_cast<CMathline*>(lb)->m_Line))
    {
        return 0;
    }

    if (!IsValueKnown(r1) && !IsValueKnown(r2) && !IsValueKnown(r3))
    {
        if (r1->m_pVal == r2->m_pVal && r2->m_pVal == r3->m_pVal)
        {
            return IsLineNode(a1) && IsLineNode(a2) && IsLineNode(a3) &&
                           sktPointFromThreeEqualPLdis(point, r1, r2, r3) > 0
                       ? 1
                       : 0;
        }
        // With three unknown values the two-virtual test below cannot succeed.
        sktShowMessage(kThreeVirtualText);
        return 0;
    }

    int unknown =
        (IsValueKnown(r1) ? 0 : 1) + (IsValueKnown(r2) ? 0 : 1) + (IsValueKnown(r3) ? 0 : 1);
    if (unknown != 2)
    {
        return 0;
    }
    // Bring the two virtual relations to the front; the real one goes last.
    if (IsValueKnown(r1))
    {
        std::swap(r1, r2);
    }
    if (IsValueKnown(r2))
    {
        std::swap(r2, r3);
    }
    if (r1->m_pVal != r2->m_pVal || r3->m_pVal == r1->m_pVal)
    {
        sktShowMessage(kTwoVirtualOneRealText);
        return 0;
    }

    CNode* n1 = r1->GetAnotherNode(point);
    CNode* n2 = r2->GetAnotherNode(point);
    CNode* n3 = r3->GetAnotherNode(point);
    int placed = 0;
    if (IsLineNode(n1) && IsLineNode(n2))
    {
        if (IsLineNode(n3))
        {
            placed = sktPointFromTwoEqualPLdisPLdis(point, r1, r2, r3);
        }
        else if (IsPointNode(n3))
        {
            placed = sktPointFromTwoEqualPLdisPPdis(point, r1, r2, r3);
        }
    }
    else if (IsPointNode(n1) && IsPointNode(n2))
    {
        if (IsLineNode(n3))
        {
            placed = sktPointFromTwoEqualPPdisPLdis(point, r1, r2, r3);
        }
        else if (IsPointNode(n3))
        {
            placed = sktPointFromTwoEqualPPdisPPdis(point, r1, r2, r3);
        }
    }
    return placed > 0 ? 1 : 0;
}
} // namespace

int sktRegeneratePoint(CVert* point, CRelList& rels)
{
    int n = rels.GetCount();
    if (n > 4)
    {
        return 0;
    }
    if (n == 4 || n == 0)
    {
        return 1;
    }
    POSITION pos = rels.GetHeadPosition();
    if (n == 1)
    {
        CRel* rel = rels.GetNext(pos);
        // A single locus always has a place for the point; the placement's result is not
        // needed.
        if (rel->GetType() == SKT_REL_PPDIS)
        {
            sktPointFromPPdis(point, rel);
        }
        else if (rel->GetType() == SKT_REL_PLDIS)
        {
            sktPointFromPLdis(point, rel);
        }
        return 1;
    }
    CRel* r1 = rels.GetNext(pos);
    CRel* r2 = rels.GetNext(pos);
    if (n == 2)
    {
        return PlaceFromTwo(point, r1, r2);
    }
    CRel* r3 = rels.GetNext(pos);
    return PlaceFromThree(point, r1, r2, r3);
}

int sktPointFromPPdis(CVert* point, CRel* rel)
{
    CVert* q = OtherPoint(rel, point);
    double d = ValueOf(rel);
    // The point stays on its old ray from the neighbour.
    VECTOR u(OldPos(q), OldPos(point));
    u.Unit();
    point->m_Pos = q->m_Pos + u * d;
    return 1;
}

int sktPointFromPLdis(CVert* point, CRel* rel)
{
    CMathline* line = OtherLine(rel, point);
    const MATHLINE& lold = OldLine(line);
    const MATHLINE& lnew = line->m_Line;
    XYZ p0 = OldPos(point);

    // Where the old foot point goes: along with the line's shift, or turned about the pivot
    // where old and new line cross, keeping its distance from the pivot and its side.
    XYZ a;
    XYZ b;
    if (lnew.IsParallel(lold))
    {
        a = lnew.GetProjectPoint(p0);
        b = lold.GetThroughPoint();
    }
    else
    {
        XYZ a0 = lold.GetProjectPoint(p0);
        XYZ x;
        if (lnew.Intersect(lold, x) == 0)
        {
            return 0;
        }
        VECTOR toFoot(x, a0);
        double s = toFoot.Length();
        double sigma = lold.GetDirection().Iproduct(toFoot) > 0.0 ? 1.0 : -1.0;
        VECTOR dir = lnew.GetDirection();
        dir.x *= sigma;
        dir.y *= sigma;
        dir.Unit();
        a = x + dir * s;
        b = x;
    }

    double d = ValueOf(rel);
    if (std::fabs(d) < kGeomTol)
    {
        point->m_Pos = a;
        return 1;
    }
    // Keep the side of the line the point was on.
    double w = CrossZ(lold.GetDirection(), VECTOR(b, p0));
    VECTOR dir = lnew.GetDirection();
    dir.Unit();
    if (w < 0.0)
    {
        dir.x = -dir.x;
        dir.y = -dir.y;
    }
    VECTOR normal(-dir.y, dir.x, 0.0);
    point->m_Pos = a + normal * d;
    return 1;
}
