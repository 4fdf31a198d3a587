// The pictures of two pages.
#include <algorithm>

#include "Toolkit/View/Comparison/Alignment/SequenceDiff.h"
#include "Toolkit/View/Comparison/PairComparison.h"
#include "Toolkit/View/Comparison/PictureComparison.h"

namespace kz {

namespace {

// 1234567 as 1,234,567.
std::string Grouped(int64_t number) {
  const std::string digits = std::to_string(number);
  std::string grouped;
  for (size_t i = 0; i < digits.size(); ++i) {
    if (i > 0 && (digits.size() - i) % 3 == 0) grouped += ',';
    grouped += digits[i];
  }
  return grouped;
}

}  // namespace

std::vector<PairComparison::Shown> PairComparison::ShownOn(const SeenPage& page) {
  std::vector<Shown> all;
  for (const PlacedPicture& picture : page.pictures) {
    all.push_back({&picture, picture.shown, "picture " + std::to_string(all.size() + 1)});
  }
  return all;
}

std::vector<PairComparison::Shown> PairComparison::OnNoPage(const Document& document) {
  std::vector<Shown> all;
  const PageIndex& index = document.Index();
  for (size_t i = 0; i < index.pictures.size(); ++i) {
    const IndexedPicture& picture = index.pictures[i];
    if (picture.page > 0) continue;
    const int number = static_cast<int>(i) + 1;
    std::string name = "picture " + std::to_string(number);
    if (picture.resource != kNoIndex) {
      name += " of the resource " + index.resources[picture.resource].name;
    }
    all.push_back({nullptr, {&document, number}, std::move(name)});
  }
  return all;
}

void PairComparison::ComparePictures(const SeenPage& a, const SeenPage& b) {
  ComparePictureLists(ShownOn(a), ShownOn(b));
}

void PairComparison::CompareOwnPictures() {
  ComparePictureLists(OnNoPage(m_a.GetDocument()), OnNoPage(m_b.GetDocument()));
}

// Those of the same bytes belong together, those in between in their order.
void PairComparison::ComparePictureLists(const std::vector<Shown>& a, const std::vector<Shown>& b) {
  const auto hashes = [](ComparedDocument& document, const std::vector<Shown>& list, bool pixels) {
    std::vector<ContentHash> all;
    all.reserve(list.size());
    for (const Shown& one : list) {
      all.push_back(pixels ? document.HashPixelsOf(one.shown) : document.HashBytes(one.shown));
    }
    return all;
  };
  // Pixels only where as many pictures needn't be the same ones.
  const bool pixels = a.size() != b.size() && !a.empty() && !b.empty();
  const std::vector<ContentHash> ofA = hashes(m_a, a, pixels), ofB = hashes(m_b, b, pixels);
  const std::vector<CommonStretch> common = FindCommon(ofA, ofB);
  for (const CommonStretch& one : common) {
    for (size_t i = 0; i < one.count; ++i) ComparePlaces(a[one.a + i], b[one.b + i]);
  }
  for (const DiffGap& gap : GapsBetween(common, a.size(), b.size())) {
    const size_t pairs = std::min(gap.countA, gap.countB);
    for (size_t i = 0; i < pairs; ++i) ComparePicture(a[gap.a + i], b[gap.b + i]);
    for (size_t i = pairs; i < gap.countA; ++i) AddPicture(&a[gap.a + i], nullptr, {});
    for (size_t i = pairs; i < gap.countB; ++i) AddPicture(nullptr, &b[gap.b + i], {});
  }
}

void PairComparison::AddPicture(const Shown* a, const Shown* b, Difference difference) {
  difference.aspect = Aspect::kPictures;
  if (b == nullptr) difference.what = "only in the first file";
  if (a == nullptr) difference.what = "only in the second file";
  std::string name;
  if (b != nullptr) {
    difference.pictureB = b->shown.picture;
    name = b->name;
  }
  if (a != nullptr) {
    difference.pictureA = a->shown.picture;
    name = a->name;
  }
  difference.what.insert(0, name + ": ");
  m_to.push_back(std::move(difference));
}

void PairComparison::ComparePicture(const Shown& a, const Shown& b) {
  Difference difference;
  if (!SamePixels(a, b, difference)) AddPicture(&a, &b, std::move(difference));
  ComparePlaces(a, b);
}

bool PairComparison::SamePixels(const Shown& a, const Shown& b, Difference& difference) {
  Bitmap ofA, ofB;
  const Outcome loadedA = m_a.Load(a.shown, ofA), loadedB = m_b.Load(b.shown, ofB);
  if (!loadedA.Ok() || !loadedB.Ok()) {
    const bool both = !loadedA.Ok() && !loadedB.Ok();
    difference.what = std::string("can't be loaded from ") +
                      (both           ? "either file"
                       : loadedA.Ok() ? "the second file"
                                      : "the first file") +
                      ": " + (loadedA.Ok() ? loadedB.what : loadedA.what);
    return false;
  }
  if (ofA.Width() != ofB.Width() || ofA.Height() != ofB.Height()) {
    difference.what =
        SizeText(ofA.Width(), ofA.Height()) + " | " + SizeText(ofB.Width(), ofB.Height());
    return false;
  }
  PixelDifference found;
  const Outcome compared = ComparePixels(ofA, ofB, found);
  if (!compared.Ok()) {
    difference.what = "can't be compared: " + compared.what;
    return false;
  }
  if (found.pixels == 0) return true;
  difference.pixels = found.pixels;
  difference.left = found.left;
  difference.top = found.top;
  difference.right = found.right;
  difference.bottom = found.bottom;
  difference.what = Grouped(found.pixels) + " of " + Grouped(int64_t{ofA.Width()} * ofA.Height()) +
                    (found.pixels == 1 ? " pixels differs, within " : " pixels differ, within ") +
                    std::to_string(found.right - found.left) + " x " +
                    std::to_string(found.bottom - found.top) + " from " +
                    std::to_string(found.left) + "," + std::to_string(found.top);
  return false;
}

void PairComparison::ComparePlaces(const Shown& a, const Shown& b) {
  if (a.placed == nullptr || b.placed == nullptr) return;
  const PlacedPicture& one = *a.placed;
  const PlacedPicture& other = *b.placed;
  const auto words = [](const Placement& at, double width, double height) {
    std::string place = PlaceWords(at.x, at.y) + ", " + SizeWords(width, height);
    if (at.rotation != 0) place += " turned by " + std::to_string(at.rotation);
    return place;
  };
  const auto same = [](const Placement& x, const Placement& y) {
    return SameLength(x.x, y.x) && SameLength(x.y, y.y) && x.rotation == y.rotation;
  };
  Difference difference;
  if (!same(one.area, other.area) || !SameLength(one.width, other.width) ||
      !SameLength(one.height, other.height)) {
    difference.what = "at " + words(one.area, one.width, one.height) + " | " +
                      words(other.area, other.width, other.height);
  } else if (!same(one.content, other.content) ||
             !SameLength(one.contentWidth, other.contentWidth) ||
             !SameLength(one.contentHeight, other.contentHeight) ||
             one.replicated != other.replicated) {
    difference.what = "in its area at " + words(one.content, one.contentWidth, one.contentHeight) +
                      " | " + words(other.content, other.contentWidth, other.contentHeight);
  } else {
    return;
  }
  AddPicture(&a, &b, std::move(difference));
}

}  // namespace kz
