#include "Toolkit/View/Layout/LayoutSource.h"

#include <algorithm>

#include "Format/FieldScan.h"
#include "Format/ObjectArea.h"
#include "Format/PageFields.h"
#include "Format/SelfDefiningField.h"
#include "Format/Triplet.h"
#include "Toolkit/Documents/Indexer.h"
#include "Toolkit/Images/ImageContent.h"

namespace kz {

namespace {

constexpr double kCentimetresPerInch = 2.54;

double PointsPerPixel(int resolution) {
  return kPointsPerInch / (resolution > 0 ? resolution : kDefaultPageResolution);
}

// Points of an image point by the descriptor's unit base; 0: it says none.
double PointsPerUnit(uint8_t base, int units) {
  if (units <= 0) return 0;
  const double points =
      10 * kPointsPerInch / (base == kBaseTenCentimetres ? kCentimetresPerInch : 1);
  return points / units;
}

// The pixels of a picture along one side, in the space that its descriptor gives it.
void FillSide(int pixels, int resolution, int size, double unit, double& whole, double& filled) {
  if (unit <= 0) unit = PointsPerPixel(resolution);
  filled = pixels * unit;
  whole = size > 0 ? size * unit : filled;
  // One that isn't as large as its space in image points keeps its own resolution.
  if (size > 0 && size != pixels && resolution > 0) filled = pixels * PointsPerPixel(resolution);
}

}  // namespace

Outcome LayoutSource::Open() {
  Outcome outcome = m_document.OpenFile(m_file);
  if (outcome.Ok()) outcome = m_names.Open(kDefaultEncoding);
  if (!outcome.Ok()) return outcome;
  for (const IncludedName& include : m_document.Index().includes) {
    if (include.resource != kNoIndex) m_resources.emplace(include.name, include.resource);
  }
  // Those of a library are named by themselves.
  const std::vector<IndexedResource>& resources = m_document.Index().resources;
  for (size_t i = 0; i < resources.size(); ++i) {
    m_resources.emplace(resources[i].name, static_cast<uint32_t>(i));
  }
  if (!m_document.Index().bare) ReadFonts();
  return outcome;
}

void LayoutSource::ReadFonts() {
  const PageIndex& index = m_document.Index();
  const auto text = [&](const ScannedField& field) { return AsText(DataOf(m_file, field)); };
  for (const IndexedResource& resource : index.resources) {
    if (resource.code != sf::kBeginCodePage && resource.code != sf::kBeginCodedFont) continue;
    FieldWalk walk(m_file, resource.bytes.begin, resource.bytes.end);
    for (ScannedField field; walk.Next(field);) {
      if (FontText::IsOfFonts(field.code)) m_texts.TakeResource(field.code, text(field));
    }
  }
  if (index.beginDocument.Size() == 0 || index.pages.empty()) return;
  FieldWalk walk(m_file, index.beginDocument.begin, index.pages.front().bytes.begin);
  for (ScannedField field; walk.Next(field);) {
    // Resources have fonts of their own.
    if (field.code == sf::kBeginResourceGroup) return;
    if (field.code == sf::kBeginDocument) m_texts.TakeDocument(text(field));
    if (MapsFonts(field.code)) AddMappedFonts(field.code, text(field), m_fonts);
  }
}

bool LayoutSource::FindResource(const std::string& name, ResourcePlace& place) const {
  const auto found = m_resources.find(name);
  if (found == m_resources.end()) return m_document.FindInFolder(name, place);
  place = {&m_document, found->second};
  return true;
}

std::string LayoutSource::NameOf(uint16_t code, std::string_view data) {
  std::string_view name;
  if (code == sf::kIncludeObject && data.size() > TripletsOffset(code)) {
    name = ReplacingName(data.substr(TripletsOffset(code)));
  }
  if (name.empty()) name = data.substr(0, kFieldNameLength);
  return m_names.Decode(TrimmedName(name));
}

size_t LayoutSource::FirstPicture(int64_t begin) const {
  const std::vector<IndexedPicture>& pictures = m_document.Index().pictures;
  const auto first = std::partition_point(
      pictures.begin(), pictures.end(),
      [&](const IndexedPicture& picture) { return picture.bytes.begin < begin; });
  return static_cast<size_t>(first - pictures.begin());
}

size_t LayoutSource::Pictures(ByteRange bytes) const {
  const size_t first = FirstPicture(bytes.begin);
  return std::max(FirstPicture(bytes.end), first) - first;
}

const PictureSpace& LayoutSource::SpaceOf(size_t picture) {
  const auto [place, added] = m_spaces.try_emplace(picture);
  if (added) place->second = ReadSpaceOf(picture);
  return place->second;
}

PictureSpace LayoutSource::ReadSpaceOf(size_t picture) {
  PictureSpace space;
  PictureInfo info;
  if (!m_document.DescribePicture(static_cast<int>(picture) + 1, info).Ok()) return space;
  ImageDescriptor descriptor;
  const IndexedPicture& at = m_document.Index().pictures[picture];
  if (at.kind == PictureKind::Ioca) descriptor = ReadImageDescriptor(m_file, at);
  const uint8_t base = descriptor.unitBase;
  FillSide(info.width, info.xResolution, descriptor.width, PointsPerUnit(base, descriptor.xUnits),
           space.width, space.pixelsWidth);
  FillSide(info.height, info.yResolution, descriptor.height, PointsPerUnit(base, descriptor.yUnits),
           space.height, space.pixelsHeight);
  return space;
}

}  // namespace kz
