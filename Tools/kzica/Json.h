// How commands print JSON: an object a line, with the version of its form.
#pragma once

#include <nlohmann/json.hpp>

#include "Toolkit/Base/Outcome.h"

namespace kzica {

// Of the forms that README.md describes; it grows when a key goes or changes its meaning.
constexpr int kJsonVersion = 1;

// Prints an object as a line. What isn't UTF-8, as names may be, is replaced.
void PrintJson(const nlohmann::ordered_json& object);
// {"status": -9, "what": "..."}; null for success.
nlohmann::ordered_json InJson(const kz::Outcome& outcome);

}  // namespace kzica
