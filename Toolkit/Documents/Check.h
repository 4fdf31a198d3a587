// Whether a file is whole and each of its pictures can be used.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Documents/Document.h"

namespace kz {

// Damage: something of the file is lost or wrong. A warning: all that is there can be
// used but for what the words say.
enum class Severity : uint8_t { Warning, Damage };

struct Problem {
  Severity severity = Severity::Damage;
  int page = 0;     // the first that shows the picture or asks for the resource; 0: none
  int picture = 0;  // 0: it is none of a picture
  int status = K_SUCCESS;
  std::string what;
};

struct K_EXPORT CheckReport {
  Outcome opened;  // why nothing could be checked
  int pages = 0;
  int pictures = 0;
  // Those of the file, then those of its pictures in their order, the first
  // kMostOfPictures of them and one that says how many more there are.
  std::vector<Problem> problems;
  static constexpr size_t kMostOfPictures = 10000;
  int Count(Severity severity) const;
  bool Sound() const { return opened.Ok() && problems.empty(); }
  bool Damaged() const { return Count(Severity::Damage) > 0; }
};

struct CheckRequest {
  LoadOptions load;
  std::string resources;  // folder for what the file doesn't hold; empty: none
  // Takes how many of the file's pictures are done after each, from any thread, but from
  // one at a time. May be empty.
  std::function<void(int done, int pictures)> progress;
};

// Looks whether the structure of the file is whole and what it includes is there, and
// loads each picture, on all processors: one bitmap for each of them at most is in memory.
K_EXPORT CheckReport CheckFile(const std::string& file, const CheckRequest& request);

}  // namespace kz
