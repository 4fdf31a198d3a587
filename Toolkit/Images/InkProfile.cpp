#include "Toolkit/Images/InkProfile.h"

#include <lcms2.h>

#include <algorithm>
#include <string_view>

#include "Toolkit/Images/ContainedFile.h"
#include "Toolkit/Images/DecodedImage.h"

namespace kz {

namespace {

// What each profile has at this place of its 128 bytes of header (ICC.1).
constexpr std::string_view kSignature = "acsp";
constexpr size_t kSignatureAt = 36;
// Of a resource, up to where its profile begins; it has a name and some tags before it.
constexpr size_t kMostHeader = 4096;
constexpr size_t kMostProfile = size_t{64} * 1024 * 1024;

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
  ContainerData parts(file, place);
  std::vector<unsigned char> data;
  const auto read = [&](size_t wanted) {
    while (data.size() < wanted && parts.Append(data)) {
    }
    return data.size() >= wanted;
  };
  read(kMostHeader);
  const auto end = data.begin() + static_cast<std::ptrdiff_t>(std::min(data.size(), kMostHeader));
  const auto found = std::search(data.begin(), end, kSignature.begin(), kSignature.end());
  const auto at = static_cast<size_t>(found - data.begin());
  if (found == end || at < kSignatureAt) return {};
  const size_t begin = at - kSignatureAt;
  const size_t length = GetBig32(data.data() + begin);
  if (length > kMostProfile || !read(begin + length)) return {};
  std::vector<unsigned char> profile(data.begin() + static_cast<std::ptrdiff_t>(begin),
                                     data.begin() + static_cast<std::ptrdiff_t>(begin + length));
  return IsInkProfile(profile) ? profile : std::vector<unsigned char>();
}

}  // namespace kz
