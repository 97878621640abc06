// The corpus on disk: per edit the sketch (NAME.json), the change (NAME.edit.json) and the
// reference solution (NAME.ref.json, a sketch file too), and index.txt listing the edits.
#pragma once

#include "Corpus.h"

#include <string>
#include <vector>

namespace qsolver::corpus
{

/// Writes one edit's three files into `dir`. False with `error` set when a write fails.
bool WriteEdit(const std::string& dir, const Edit& e, std::string& error);

/// Writes the index of the corpus: a header line, then one edit name a line.
bool WriteIndex(const std::string& dir, const std::string& header,
                const std::vector<std::string>& names, std::string& error);

/// Reads the names listed in the index.
bool ReadIndex(const std::string& dir, std::vector<std::string>& names, std::string& error);

/// Reads one edit back. `error` names the file and the problem.
bool ReadEdit(const std::string& dir, const std::string& name, Edit& e, std::string& error);

} // namespace qsolver::corpus
