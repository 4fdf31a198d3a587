// What a document's resource groups hold, and which fields of a page ask for it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Format/FieldScan.h"
#include "Toolkit/Documents/PageIndex.h"
#include "Toolkit/Files/FileWindow.h"

namespace kz {

// Data bytes of an Object Area Position field up to its reference system.
constexpr unsigned kObjectAreaPositionLength = 24;

// A field's data; empty when they can't be read.
std::string FieldData(FileWindow& file, const ScannedField& field);

class ResourceCatalogue {
 public:
  // Reads what is in the resource groups of an indexed document.
  Outcome Read(FileWindow& file, const PageIndex& index);
  // The image object that is the resource of the name, from Begin to End Image
  // Object; null when there is none or it doesn't say where it stands on a page.
  const ByteRange* FindImage(std::string_view name) const;
  // Whether all resources are such image objects.
  bool OnlyImages() const;
  // Whether the data of a field hold the name of any resource: eight bytes anywhere,
  // or a fully qualified name.
  bool NamedIn(std::string_view data) const;

 private:
  struct Resource {
    ByteRange image;
    bool hasArea = false;      // Object Area Descriptor
    bool hasPosition = false;  // Object Area Position, whole
    bool hasPages = false;     // or a document: nothing that can stand in a page
    bool IsPlacedImage() const { return image.Size() > 0 && hasArea && hasPosition && !hasPages; }
  };
  void Note(FileWindow& file, const ScannedField& field, int depth);
  void AddNames(uint16_t code, std::string_view data);
  bool Knows(std::string_view name) const;

  std::vector<Resource> m_resources;
  std::unordered_map<std::string, size_t> m_names;
};

// Whether the resource groups of two documents are the same, 0x5A aside.
bool SameResourceGroups(FileWindow& a, const PageIndex& indexA, FileWindow& b,
                        const PageIndex& indexB);

}  // namespace kz
