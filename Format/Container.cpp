// How the containers begin ("Three containers" of docs/format.md).
#include "Format/Container.h"

#include <algorithm>
#include <iterator>

#include "Format/StructuredField.h"

namespace kz {

bool StartsBareImage(ByteSpan start) {
  return start.size() >= std::size(kBareStart) &&
         std::equal(std::begin(kBareStart), std::end(kBareStart), start.begin());
}

bool StartsBareSegment(ByteSpan start) {
  constexpr unsigned char named[] = {0x70, 0x04};
  constexpr size_t content = 6;  // after the name of four bytes
  return StartsBareImage(start) ||
         (start.size() > content && std::equal(std::begin(named), std::end(named), start.begin()) &&
          start[content] == 0x91);
}

bool StartsStructuredField(ByteSpan start) {
  const size_t classAt = !start.empty() && start[0] == kCarriageControl ? 3 : 2;
  return start.size() > classAt && start[classAt] == kFieldClass;
}

}  // namespace kz
