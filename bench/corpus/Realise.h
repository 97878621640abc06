// The reference solution of an edit: the change followed in small steps with the other
// solver, each step solved from the last and checked to keep every part on its side.
#pragma once

#include "Corpus.h"

#include <string>

namespace qsolver::corpus
{

/// Fills e.reference and e.steps. False, with `why`, when the sketch is not exactly
/// constrained or the change cannot be followed without a part changing its side.
bool Realise(Edit& e, std::string& why);

} // namespace qsolver::corpus
