// The structured fields of a document as they are compared.
#pragma once

#include <cstdint>
#include <vector>

#include "Toolkit/Documents/Document.h"
#include "Toolkit/Files/FileWindow.h"
#include "Toolkit/View/Comparison/Alignment/ContentHash.h"

namespace kz {

// A field, or what stands for the data of a picture or of text, which are compared otherwise.
struct FieldToken {
  ContentHash hash;
  int64_t offset = 0;
  uint16_t code = 0;  // 0: bytes that are no field
};

// Reads one document's fields; a thread needs one of its own. Names of pages and of objects on
// them don't count, for producers number them, nor do tags and groups, which have their own
// comparison.
class FieldReader {
 public:
  explicit FieldReader(const Document& document) : m_document(document) {}
  // -10 when the file can't be opened.
  Outcome Open() { return m_document.OpenFile(m_file); }

  // A hash of all that a page's fields say, pictures, text and tags included; of included
  // resources their names.
  ContentHash HashPage(int page);
  // The fields of a page without the data of pictures and of text.
  std::vector<FieldToken> ReadPage(int page);
  // The fields outside of pages, without the data of pictures.
  std::vector<FieldToken> ReadOutside();
  // A hash of a picture's bytes: the same for those that are the same, coding and all.
  ContentHash HashPicture(int picture);

  // As many tokens are kept; one stands for all the rest.
  static constexpr size_t kMostTokens = size_t{1} << 22;

 private:
  void Walk(ByteRange bytes, bool inPage, std::vector<FieldToken>& tokens);
  void AddRest(ByteRange bytes, std::vector<FieldToken>& tokens);
  void AddBytes(ByteRange bytes, ContentHasher& hasher);
  // The picture whose bytes hold the offset, counted from 0; none: -1.
  ptrdiff_t PictureAt(int64_t offset) const;

  const Document& m_document;
  FileWindow m_file;
};

}  // namespace kz
