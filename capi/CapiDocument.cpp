// The sketch file document of a sketch as it stands now (see CapiDocument.h).
#include "CapiDocument.h"

#include <algorithm>
#include <string>
#include <vector>

namespace qsolver
{

namespace
{

// A hint of the same id, or null.
template <class T> const T* Hint(const std::vector<T>& items, int index)
{
    return index >= 0 ? &items[static_cast<size_t>(index)] : nullptr;
}

// A value in the file's unit. When the file's own number reads as this very value, the file's
// number is kept: degrees turned into radians and back may differ in the last digit.
double FileNumber(const SketchDoc& doc, bool angle, double solverValue, const double* hinted)
{
    if (!angle)
    {
        return solverValue;
    }
    if (hinted != nullptr && AngleToRadians(doc, *hinted) == solverValue)
    {
        return *hinted;
    }
    return AngleFromRadians(doc, solverValue);
}

DocRelType RelType(int type)
{
    switch (type)
    {
        case SKT_REL_PPDIS:
            return DocRelType::PPdis;
        case SKT_REL_PLDIS:
            return DocRelType::PLdis;
        case SKT_REL_LLDIS:
            return DocRelType::LLdis;
        case SKT_REL_LLANG:
            return DocRelType::LLang;
        case SKT_REL_RAD:
            return DocRelType::Rad;
        default:
            return DocRelType::Fix;
    }
}

DocNode NodeDoc(Sketch& sketch, const std::string& id, const DocNode* hint)
{
    DocNode n;
    n.id = id;
    CNode* node = sketch.FindNode(id);
    if (CVert* p = sketch.FindPoint(id))
    {
        n.type = DocNodeType::Point;
        n.x = p->m_Pos.x;
        n.y = p->m_Pos.y;
    }
    else if (CMathline* l = sketch.FindLine(id))
    {
        n.type = DocNodeType::Line;
        n.x = l->m_Line.m_ThroughPoint.x;
        n.y = l->m_Line.m_ThroughPoint.y;
        n.dx = l->m_Line.m_Direction.x;
        n.dy = l->m_Line.m_Direction.y;
        // A direction the file gave unnormalised is kept while the line has not turned.
        if (hint != nullptr && hint->type == DocNodeType::Line)
        {
            MATHLINE given;
            given.Set(XYZ(hint->x, hint->y, 0.0), VECTOR(hint->dx, hint->dy, 0.0));
            if (given.m_Direction.x == n.dx && given.m_Direction.y == n.dy)
            {
                n.dx = hint->dx;
                n.dy = hint->dy;
            }
        }
        n.dirFixed = l->m_bDirFixed != 0;
        n.hasDirFixed = n.dirFixed || (hint != nullptr && hint->hasDirFixed);
    }
    else if (CMathcir* c = sketch.FindCircle(id))
    {
        n.type = DocNodeType::Circle;
        const XYZ center = CircleCenter(sketch, c);
        n.x = center.x;
        n.y = center.y;
        n.radius = CircleRadius(c);
    }
    if (node->m_pRefID != nullptr)
    {
        n.hasReference = true;
        n.reference = *node->m_pRefID;
    }
    return n;
}

} // namespace

XYZ CircleCenter(Sketch& sketch, CMathcir* circle)
{
    POSITION pos = circle->m_RelList.GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = circle->m_RelList.GetNext(pos);
        if (rel->GetType() == SKT_REL_RAD && rel->m_pNode2 == circle &&
            rel->m_pNode1->GetType() == SKT_NODE_POINT && !sketch.IdOf(rel).empty())
        {
            return static_cast<CVert*>(rel->m_pNode1)->m_Pos;
        }
    }
    return circle->m_Center;
}

double CircleRadius(CMathcir* circle)
{
    return circle->m_pRadiusVal != nullptr ? circle->m_pRadiusVal->m_dValue : circle->m_dRadius;
}

SketchDoc DocFromSketch(Sketch& sketch, const SketchDoc& hints)
{
    SketchDoc doc;
    doc.description = hints.description;
    doc.hasDescription = hints.hasDescription;
    doc.radians = hints.radians;
    doc.hasUnit = hints.hasUnit;

    for (const std::string& id : sketch.NodeIds())
    {
        doc.nodes.push_back(NodeDoc(sketch, id, Hint(hints.nodes, hints.FindNode(id))));
    }

    // A named value is an angle when an angle relation shares it.
    std::vector<const CVal*> angleValues;
    POSITION pos = sketch.Relations().GetHeadPosition();
    while (pos != nullptr)
    {
        CRel* rel = sketch.Relations().GetNext(pos);
        if (rel->GetType() == SKT_REL_LLANG)
        {
            angleValues.push_back(rel->m_pVal);
        }
    }
    auto isAngle = [&angleValues](const CVal* v)
    { return std::find(angleValues.begin(), angleValues.end(), v) != angleValues.end(); };

    for (const std::string& id : sketch.ValueIds())
    {
        CVal* val = sketch.FindValue(id);
        const DocValue* hint = Hint(hints.values, hints.FindValue(id));
        DocValue v;
        v.id = id;
        v.value = FileNumber(doc, isAngle(val), val->m_dValue, hint ? &hint->value : nullptr);
        v.known = val->m_bKnown != 0;
        v.hasKnown = !v.known || (hint != nullptr && hint->hasKnown);
        doc.values.push_back(v);
    }
    doc.hasValues = !doc.values.empty() || hints.hasValues;

    for (const std::string& id : sketch.RelationIds())
    {
        CRel* rel = sketch.FindRelation(id);
        const DocRelation* hint = Hint(hints.relations, hints.FindRelation(id));
        DocRelation r;
        r.id = id;
        r.type = RelType(rel->GetType());
        r.nodes.push_back(sketch.IdOf(rel->m_pNode1));
        if (rel->m_pNode2 != nullptr)
        {
            r.nodes.push_back(sketch.IdOf(rel->m_pNode2));
        }
        CVal* val = rel->m_pVal;
        if (r.type != DocRelType::Fix && r.type != DocRelType::Rad && val != nullptr)
        {
            const std::string& valueId = sketch.IdOf(val);
            if (!valueId.empty() && sketch.FindValue(valueId) == val)
            {
                r.shared = valueId;
            }
            else
            {
                r.hasValue = true;
                r.value = FileNumber(doc, r.type == DocRelType::LLang, val->m_dValue,
                                     hint ? &hint->value : nullptr);
                r.known = val->m_bKnown != 0;
                r.hasKnown = !r.known || (hint != nullptr && hint->hasKnown);
            }
        }
        if (rel->m_pValueNode != nullptr)
        {
            r.valueNode = sketch.IdOf(rel->m_pValueNode);
        }
        if (r.type == DocRelType::LLang)
        {
            r.reverse[0] = rel->m_bReverse1 != 0;
            r.reverse[1] = rel->m_bReverse2 != 0;
            r.hasReverse = r.reverse[0] || r.reverse[1] || (hint != nullptr && hint->hasReverse);
        }
        doc.relations.push_back(r);
    }
    doc.hasRelations = !doc.relations.empty() || hints.hasRelations;
    return doc;
}

} // namespace qsolver
