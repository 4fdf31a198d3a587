// How the containers begin ("Three containers" of docs/format.md).
#include "Format/Container.h"

#include <algorithm>
#include <iterator>

#include "Format/StructuredField.h"

namespace kz {

const char* ContainerName(Container container) {
  for (const ContainerRow& row : kContainers) {
    if (row.container == container) return row.name;
  }
  return "";
}

const ContainerRow* FindContainer(std::string_view option) {
  const auto* row = std::find_if(std::begin(kContainers), std::end(kContainers),
                                 [&](const ContainerRow& known) { return option == known.option; });
  return row != std::end(kContainers) ? row : nullptr;
}

bool StartsBareImage(ByteSpan start) {
  return start.size() >= std::size(kBareStart) &&
         std::equal(std::begin(kBareStart), std::end(kBareStart), start.begin());
}

bool StartsStructuredField(ByteSpan start) {
  const size_t classAt = !start.empty() && start[0] == kCarriageControl ? 3 : 2;
  return start.size() > classAt && start[classAt] == kFieldClass;
}

}  // namespace kz
