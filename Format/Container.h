// The kinds of files ("Three containers" of docs/format.md).
#pragma once

#include <algorithm>
#include <iterator>

#include "Format/BigEndian.h"

namespace kz {

enum class Container : uint8_t { Ioca, Modca, ModcaCarriageControl };

// A row of the table of containers.
struct ContainerRow {
  Container container;
  const char* name;    // as people read it
  const char* option;  // as the command takes it
};

// In the order of the command's help.
inline constexpr ContainerRow kContainers[] = {
    {Container::Modca, "MO:DCA", "modca"},
    {Container::ModcaCarriageControl, "MO:DCA with carriage control", "afp"},
    {Container::Ioca, "IOCA", "ioca"},
};

// The container's name for people.
constexpr const char* ContainerName(Container container) {
  for (const ContainerRow& row : kContainers) {
    if (row.container == container) return row.name;
  }
  return "";
}
// The container of the command's name; null for another name.
constexpr const ContainerRow* FindContainerOption(std::string_view option) {
  for (const ContainerRow& row : kContainers) {
    if (option == row.option) return &row;
  }
  return nullptr;
}

// Begin Segment without a name, Begin Image Content: what a bare image begins with.
inline constexpr unsigned char kBareStart[] = {0x70, 0x00, 0x91, 0x01, 0xFF};

// Byte before a structured field of a file with carriage control.
constexpr unsigned char kCarriageControl = 0x5A;

// The class code of all structured fields.
constexpr unsigned char kFieldClass = 0xD3;

// Whether a file that begins with these bytes is a bare image of the kind that the
// filter takes: one whose segment has no name.
constexpr bool StartsBareImage(ByteSpan start) {
  return start.size() >= std::size(kBareStart) &&
         std::equal(std::begin(kBareStart), std::end(kBareStart), start.begin());
}
// Whether it is any bare image, also one whose segment has a name.
constexpr bool StartsBareSegment(ByteSpan start) {
  constexpr unsigned char named[] = {0x70, 0x04};
  constexpr size_t content = 6;  // after the name of four bytes
  return StartsBareImage(start) ||
         (start.size() > content && std::equal(std::begin(named), std::end(named), start.begin()) &&
          start[content] == 0x91);
}
// Whether the class code of a structured field stands where it must in the file's
// first bytes; its length may be wrong nevertheless.
constexpr bool StartsStructuredField(ByteSpan start) {
  const size_t classAt = !start.empty() && start[0] == kCarriageControl ? 3 : 2;
  return start.size() > classAt && start[classAt] == kFieldClass;
}

}  // namespace kz
