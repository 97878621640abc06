// Placeholder until constructive solving lands: nodes report nothing to do.
#include "model/CNode.h"

int CVert::Regenerate()
{
    return 1;
}

int CMathline::Regenerate()
{
    return 1;
}
