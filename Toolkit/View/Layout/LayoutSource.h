// A file that items of a page come from: the document itself, or one that has its resources.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <unordered_map>

#include "Toolkit/Documents/Document.h"
#include "Toolkit/Fields/FontText.h"
#include "Toolkit/Fields/TextDecoder.h"
#include "Toolkit/Files/FileWindow.h"

namespace kz {

// The presentation space of a picture, and how much of it the pixels fill: points.
struct PictureSpace {
  double width = 0;
  double height = 0;
  double pixelsWidth = 0;
  double pixelsHeight = 0;
};

class LayoutSource {
 public:
  explicit LayoutSource(const Document& document) : m_document(document) {}
  // Opens the file and reads what its text is decoded with.
  Outcome Open();

  const Document& GetDocument() const { return m_document; }
  FileWindow& File() { return m_file; }
  FontText& Texts() { return m_texts; }
  // Fonts that are mapped before the first page.
  const FontMap& Fonts() const { return m_fonts; }

  // What a name leads to: here, or in the document's folder of resources.
  bool FindResource(const std::string& name, ResourcePlace& place) const;
  // The name that an Include field says, by its code and data.
  std::string NameOf(uint16_t code, std::string_view data);
  // Its pictures that begin in the bytes: the first, counted from 0, and how many.
  size_t FirstPicture(int64_t begin) const;
  size_t Pictures(ByteRange bytes) const;
  // The space of a picture, counted from 0.
  const PictureSpace& SpaceOf(size_t picture);

 private:
  void ReadFonts();
  PictureSpace ReadSpaceOf(size_t picture);

  const Document& m_document;
  FileWindow m_file;
  FontText m_texts;
  TextDecoder m_names;
  FontMap m_fonts;
  std::unordered_map<std::string, uint32_t> m_resources;  // by names that are included
  std::unordered_map<size_t, PictureSpace> m_spaces;
};

}  // namespace kz
