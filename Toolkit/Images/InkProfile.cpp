#include "Toolkit/Images/InkProfile.h"

#include <lcms2.h>

#include <algorithm>
#include <string_view>

#include "Format/FieldScan.h"
#include "Toolkit/Images/DecodedImage.h"

namespace kz {

namespace {

// What each profile has at this place of its 128 bytes of header (ICC.1).
constexpr std::string_view kSignature = "acsp";
constexpr size_t kSignatureAt = 36;
// Of a resource, up to where its profile begins; it has a name and some tags before it.
constexpr size_t kMostHeader = 4096;
constexpr size_t kMostProfile = size_t{64} * 1024 * 1024;

// Appends the container's data to `data` until there are `wanted` bytes. Returns whether
// there are.
bool ReadContainer(FileWindow& file, ByteRange place, size_t wanted,
                   std::vector<unsigned char>& data) {
  data.clear();
  FieldWalk walk(file, place.begin, place.end);
  for (ScannedField field; data.size() < wanted && walk.Next(field);) {
    if (field.code != sf::kObjectContainerData) continue;
    const ByteSpan part = DataOf(file, field);
    data.insert(data.end(), part.begin(), part.end());
  }
  return data.size() >= wanted;
}

}  // namespace

bool IsInkProfile(const std::vector<unsigned char>& profile) {
  if (profile.size() > kMostProfile) return false;
  cmsHPROFILE opened =
      cmsOpenProfileFromMem(profile.data(), static_cast<cmsUInt32Number>(profile.size()));
  if (opened == nullptr) return false;
  const bool inks = cmsGetColorSpace(opened) == cmsSigCmykData;
  cmsCloseProfile(opened);
  return inks;
}

std::vector<unsigned char> FindInkProfile(FileWindow& file, ByteRange place) {
  std::vector<unsigned char> data;
  (void)ReadContainer(file, place, kMostHeader, data);
  const auto end = data.begin() + static_cast<std::ptrdiff_t>(std::min(data.size(), kMostHeader));
  const auto found = std::search(data.begin(), end, kSignature.begin(), kSignature.end());
  const auto at = static_cast<size_t>(found - data.begin());
  if (found == end || at < kSignatureAt) return {};
  const size_t begin = at - kSignatureAt;
  const size_t length = GetBig32(data.data() + begin);
  if (length > kMostProfile || !ReadContainer(file, place, begin + length, data)) return {};
  std::vector<unsigned char> profile(data.begin() + static_cast<std::ptrdiff_t>(begin),
                                     data.begin() + static_cast<std::ptrdiff_t>(begin + length));
  return IsInkProfile(profile) ? profile : std::vector<unsigned char>();
}

}  // namespace kz
