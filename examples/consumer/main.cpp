// A minimal host: builds a small sketch through the exported classes, measures it the way the
// solver does, and tears it down in the order the model requires.
#include <Qsolver.h>

#include <cmath>
#include <cstdio>

int main()
{
    sktInitCountNum();
    CVert a(0.0, 0.0, 0.0);
    CVert b(4.0, 0.0, 0.0);
    CVert c(0.0, 3.0, 0.0);
    CPPdis ab(&a, &b, 4.0, 1);
    CPPdis ac(&a, &c, 3.0, 1);
    CPPdis bc(&b, &c, 5.0, 1);
    CRel* rels[] = {&ab, &ac, &bc};
    for (CRel* r : rels)
    {
        r->m_pNode1->AddRel(r);
        r->m_pNode2->AddRel(r);
    }

    CMathline base(&a, &b);
    CMathline side(&a, &c);
    VECTOR d1 = base.m_Line.GetDirection();
    VECTOR d2 = side.m_Line.GetDirection();
    double angle = sktGetVectorToVectorAngle(d1, d2);

    int ok = 1;
    for (CRel* r : rels)
    {
        double err = std::fabs(r->GetActualVal() - r->m_pVal->GetValue());
        std::printf("relation %d: wanted %.3f, measured %.3f\n", r->m_nID, r->m_pVal->GetValue(),
                    r->GetActualVal());
        ok = ok && err < 1e-12;
    }
    std::printf("angle at A: %.6f rad\n", angle);
    ok = ok && std::fabs(angle - 2 * std::acos(0.0) / 2) < 1e-12;

    for (CRel* r : rels)
    {
        r->CutRelWithNode();
    }
    std::printf(ok ? "consumer ok\n" : "consumer FAILED\n");
    return ok ? 0 : 1;
}
