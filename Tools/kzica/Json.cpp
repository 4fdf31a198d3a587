#include "Tools/kzica/Json.h"

#include "Toolkit/Base/Printable.h"
#include "Tools/kzica/Command.h"

namespace kzica {

void PrintJson(const nlohmann::ordered_json& object) {
  const std::string text =
      object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
  Print(kz::Printable(text, kz::Unprintable::Json) + "\n");
}

nlohmann::ordered_json InJson(const kz::Outcome& outcome) {
  if (outcome.Ok()) return nullptr;
  return {{"status", outcome.status}, {"what", outcome.what}};
}

}  // namespace kzica
