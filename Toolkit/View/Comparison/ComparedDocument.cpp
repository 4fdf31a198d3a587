#include "Toolkit/View/Comparison/ComparedDocument.h"

#include <algorithm>

#include "Toolkit/View/Comparison/PictureComparison.h"

namespace kz {

template <typename Use>
auto ComparedDocument::WithReaders(Use use) {
  std::unique_ptr<Readers> readers;
  {
    const std::lock_guard lock(m_mutex);
    if (!m_idle.empty()) {
      readers = std::move(m_idle.back());
      m_idle.pop_back();
    }
  }
  if (readers == nullptr) {
    readers = std::make_unique<Readers>(m_document);
    Note(readers->fields.Open());
  }
  auto result = use(*readers);
  const std::lock_guard lock(m_mutex);
  m_idle.push_back(std::move(readers));
  return result;
}

void ComparedDocument::Note(const Outcome& outcome) {
  if (outcome.Ok()) return;
  const std::lock_guard lock(m_mutex);
  if (m_failed.Ok()) m_failed = outcome;
}

Outcome ComparedDocument::Failed() const {
  const std::lock_guard lock(m_mutex);
  return m_failed;
}

ContentHash ComparedDocument::HashPage(int page) {
  return WithReaders([&](Readers& readers) { return readers.fields.HashPage(page); });
}

std::vector<FieldToken> ComparedDocument::ReadFields(int page) {
  return WithReaders([&](Readers& readers) { return readers.fields.ReadPage(page); });
}

std::vector<FieldToken> ComparedDocument::ReadOutside() {
  return WithReaders([&](Readers& readers) { return readers.fields.ReadOutside(); });
}

SeenPage ComparedDocument::See(int page) {
  return WithReaders([&](Readers& readers) {
    PageLayout layout;
    Note(readers.layouts.Read(page, layout));
    return Seen(layout);
  });
}

PageFeatures ComparedDocument::FeaturesOf(int page, bool byPixels) {
  constexpr size_t leastText = 20;
  const SeenPage seen = See(page);
  PageFeatures features;
  ContentHasher text, pictures, whole;
  size_t length = 0;
  for (const SeenLine& line : seen.lines) {
    const ContentHash hash = HashOf(line.text);
    text.AddHash(hash);
    features.lines.push_back(hash.low);
    length += line.text.size();
  }
  for (const PlacedPicture& picture : seen.pictures) {
    pictures.AddHash(byPixels ? HashPixelsOf(picture.shown) : HashBytes(picture.shown));
  }
  std::sort(features.lines.begin(), features.lines.end());
  features.lines.erase(std::unique(features.lines.begin(), features.lines.end()),
                       features.lines.end());
  features.lines.resize(std::min(features.lines.size(), PageFeatures::kMostLines));
  features.text = text.Value();
  features.hasText = length >= leastText;
  features.pictures = pictures.Value();
  features.hasPictures = !seen.pictures.empty();
  whole.AddHash(features.text);
  whole.AddHash(features.pictures);
  whole.Add(SizeWords(seen.width, seen.height));
  features.whole = whole.Value();
  return features;
}

ContentHash ComparedDocument::HashBytes(const ShownPicture& shown) {
  const std::pair key(shown.document, shown.picture);
  {
    const std::lock_guard lock(m_mutex);
    const auto known = m_bytes.find(key);
    if (known != m_bytes.end()) return known->second;
  }
  ContentHash hash;
  if (shown.document == &m_document) {
    hash = WithReaders([&](Readers& readers) { return readers.fields.HashPicture(shown.picture); });
  } else {
    FieldReader fields(*shown.document);
    const Outcome opened = fields.Open();
    Note(opened);
    if (opened.Ok()) hash = fields.HashPicture(shown.picture);
  }
  const std::lock_guard lock(m_mutex);
  return m_bytes[key] = hash;
}

ContentHash ComparedDocument::HashPixelsOf(const ShownPicture& shown) {
  const std::pair key(shown.document, shown.picture);
  {
    const std::lock_guard lock(m_mutex);
    const auto known = m_pixels.find(key);
    if (known != m_pixels.end()) return known->second;
  }
  Bitmap bitmap;
  ContentHash hash;
  Outcome outcome = Load(shown, bitmap);
  if (outcome.Ok()) outcome = HashPixels(bitmap, hash);
  if (!outcome.Ok()) hash = HashBytes(shown);
  const std::lock_guard lock(m_mutex);
  return m_pixels[key] = hash;
}

Outcome ComparedDocument::Load(const ShownPicture& shown, Bitmap& bitmap) const {
  return shown.document->LoadPicture(shown.picture, m_load, bitmap);
}

}  // namespace kz
