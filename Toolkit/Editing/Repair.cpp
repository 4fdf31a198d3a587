#include "Toolkit/Editing/Repair.h"

#include <algorithm>

#include "Toolkit/Documents/Document.h"
#include "Toolkit/Editing/Pieces.h"
#include "Toolkit/Editing/RepairPlan.h"
#include "Toolkit/Files/AtomicFile.h"
#include "Toolkit/Files/FileVersion.h"

namespace kz {

namespace {

// The image data that damage has touched and that don't give a picture any more.
std::vector<ByteRange> LostPictures(const PageIndex& index, const LoadOptions& options) {
  std::vector<ByteRange> lost;
  Document document(index.file);
  if (index.skipped.empty() || !document.Open().Ok()) return lost;
  for (size_t i = 0; i < index.pictures.size() && i < document.Index().pictures.size(); ++i) {
    const ByteRange bytes = index.pictures[i].bytes;
    const auto first = std::partition_point(
        index.skipped.begin(), index.skipped.end(),
        [&](const SkippedBytes& skipped) { return skipped.offset + skipped.length < bytes.begin; });
    const bool touched = first != index.skipped.end() && first->offset <= bytes.end;
    Bitmap bitmap;
    if (touched && !document.LoadPicture(static_cast<int>(i) + 1, options, bitmap).Ok()) {
      lost.push_back(bytes);
    }
  }
  return lost;
}

}  // namespace

Repair::Repair() = default;
Repair::~Repair() = default;

Outcome Repair::Plan(const PageIndex& index, int64_t maxPixels) {
  m_index = &index;
  m_pieces = std::make_unique<PieceList>();
  m_leftOut.clear();
  m_needed = !index.bare && !index.structure.Ok();
  m_pages = static_cast<int>(index.pages.size());
  int source = 0;
  Outcome outcome = m_pieces->Open(index, source);
  if (!outcome.Ok()) return outcome;
  if (m_needed) {
    // What damage has left half of a picture isn't sound.
    LoadOptions options;
    options.maxPixels = maxPixels;
    options.strict = true;
    RepairPlan(index, *m_pieces, source, LostPictures(index, options), m_leftOut).Run();
  } else {
    m_pieces->Add(source, {0, index.Size()});
  }
  return outcome;
}

Outcome Repair::Write(const std::string& out) {
  AtomicFile file;
  Outcome outcome = file.Open(out);
  struct stat target;
  if (outcome.Ok() && ::stat(out.c_str(), &target) == 0 && IsSameFile(target, m_index->found)) {
    file.MadeFrom(m_index->found);
  }
  if (outcome.Ok()) outcome = m_pieces->Write(file.Descriptor());
  return outcome.Ok() ? file.Commit() : outcome;
}

Outcome Repair::Write(int descriptor) { return m_pieces->Write(descriptor); }

}  // namespace kz
