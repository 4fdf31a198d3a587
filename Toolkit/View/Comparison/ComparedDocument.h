// One of two documents that are compared: what is read of it, on any thread.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "Toolkit/View/Comparison/Alignment/PageAlignment.h"
#include "Toolkit/View/Comparison/FieldReader.h"
#include "Toolkit/View/Comparison/SeenPage.h"

namespace kz {

class ComparedDocument {
 public:
  ComparedDocument(const Document& document, LoadOptions load)
      : m_document(document), m_load(std::move(load)) {}
  const Document& GetDocument() const { return m_document; }

  ContentHash HashPage(int page);
  std::vector<FieldToken> ReadFields(int page);
  std::vector<FieldToken> ReadOutside();
  SeenPage See(int page);
  // Without pixels, pictures are told by their bytes.
  PageFeatures FeaturesOf(int page, bool byPixels);

  // A hash of a picture's bytes, or of its pixels; of a picture that can't be loaded, of its
  // bytes.
  ContentHash HashBytes(const ShownPicture& shown);
  ContentHash HashPixelsOf(const ShownPicture& shown);
  Outcome Load(const ShownPicture& shown, Bitmap& bitmap) const;

  // The first failure to read the file; success if there was none.
  Outcome Failed() const;

 private:
  struct Readers {
    FieldReader fields;
    LayoutReader layouts;
    explicit Readers(const Document& document) : fields(document), layouts(document) {}
  };
  template <typename Use>
  auto WithReaders(Use use);
  void Note(const Outcome& outcome);

  const Document& m_document;
  LoadOptions m_load;
  mutable std::mutex m_mutex;
  std::vector<std::unique_ptr<Readers>> m_idle;
  std::map<std::pair<const Document*, int>, ContentHash> m_bytes, m_pixels;
  Outcome m_failed;
};

}  // namespace kz
