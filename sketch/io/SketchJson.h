// JSON text to a document tree, shared by the readers of both file formats: syntax errors and
// keys given twice are refused with their line and column or path.
#pragma once

#include "qsolver/SketchFile.h"

#include <nlohmann/json.hpp>

#include <string>

namespace qsolver
{

bool ParseJsonText(const std::string& text, const std::string& file, nlohmann::json& root,
                   InputError& error);

} // namespace qsolver
