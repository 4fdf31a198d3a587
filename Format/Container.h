// The kinds of files ("Three containers" of docs/format.md).
#pragma once

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

// Whether a file that begins with these bytes is a bare image of the kind that the
// filter takes: one whose segment has no name.
bool StartsBareImage(ByteSpan start);
// Whether it is any bare image, also one whose segment has a name.
bool StartsBareSegment(ByteSpan start);
// Whether the class code of a structured field stands where it must in the file's
// first bytes; its length may be wrong nevertheless.
bool StartsStructuredField(ByteSpan start);

}  // namespace kz
