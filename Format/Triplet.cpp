// Triplets ("Triplets" of docs/format.md).
#include "Format/Triplet.h"

namespace kz {

bool Triplets::Next(Triplet& triplet) {
  constexpr size_t header = 2;
  triplet = {};
  if (m_rest.empty()) return false;
  const size_t length = static_cast<unsigned char>(m_rest[0]);
  if (length < header || m_rest.size() < header) {
    triplet.fault = TripletFault::Length;
    return false;
  }
  triplet.id = static_cast<uint8_t>(m_rest[1]);
  triplet.whole = m_rest.substr(0, length);
  triplet.contents = triplet.whole.substr(header);
  if (length > m_rest.size()) {
    triplet.fault = TripletFault::Cut;
    return false;
  }
  m_rest.remove_prefix(length);
  return true;
}

Triplet FindTriplet(std::string_view triplets, uint8_t id) {
  Triplets walk(triplets);
  Triplet triplet;
  while (walk.Next(triplet)) {
    if (triplet.id == id) return triplet;
  }
  return {};
}

std::string_view ReplacingName(std::string_view triplets) {
  Triplets walk(triplets);
  std::string_view name;
  for (Triplet triplet; name.empty() && walk.Next(triplet);) {
    if (QualifiedNameType(triplet) == fqn::kReplacesName) name = QualifiedName(triplet);
  }
  return name;
}

}  // namespace kz
