#include "ObjectArena.h"

namespace qsolver
{

template <class T> void ObjectArena::Free(CObject* object)
{
    T* typed = static_cast<T*>(object);
    typed->~T();
    m_pool.deallocate(typed, sizeof(T), alignof(T));
}

void ObjectArena::Destroy(CNode* node)
{
    switch (node->GetType())
    {
        case SKT_NODE_POINT:
            Free<CVert>(node);
            break;
        case SKT_NODE_LINE:
            Free<CMathline>(node);
            break;
        default:
            Free<CMathcir>(node);
            break;
    }
}

void ObjectArena::Destroy(CRel* rel)
{
    switch (rel->GetType())
    {
        case SKT_REL_FIX:
            Free<CFix>(rel);
            break;
        case SKT_REL_PPDIS:
            Free<CPPdis>(rel);
            break;
        case SKT_REL_PLDIS:
            Free<CPLdis>(rel);
            break;
        case SKT_REL_LLDIS:
            Free<CLLdis>(rel);
            break;
        case SKT_REL_LLANG:
            Free<CLLang>(rel);
            break;
        default:
            Free<CRad>(rel);
            break;
    }
}

} // namespace qsolver
