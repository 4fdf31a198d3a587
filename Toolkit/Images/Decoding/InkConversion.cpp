#include "Toolkit/Images/Decoding/InkConversion.h"

#include <lcms2.h>

#include <climits>
#include <cstdint>

namespace kz {

namespace {

cmsHTRANSFORM MakeTransform(const std::vector<unsigned char>& profile) {
  if (profile.empty() || profile.size() > UINT32_MAX) return nullptr;
  cmsHPROFILE from =
      cmsOpenProfileFromMem(profile.data(), static_cast<cmsUInt32Number>(profile.size()));
  if (from == nullptr) return nullptr;
  cmsHTRANSFORM transform = nullptr;
  if (cmsGetColorSpace(from) == cmsSigCmykData) {
    cmsHPROFILE to = cmsCreate_sRGBProfile();
    if (to != nullptr) {
      transform = cmsCreateTransform(from, TYPE_CMYK_8, to, TYPE_RGB_8,
                                     INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_BLACKPOINTCOMPENSATION);
      cmsCloseProfile(to);
    }
  }
  cmsCloseProfile(from);
  return transform;
}

}  // namespace

InkConverter::InkConverter(const std::vector<unsigned char>& profile)
    : m_transform(MakeTransform(profile)) {}

InkConverter::~InkConverter() {
  if (m_transform != nullptr) cmsDeleteTransform(m_transform);
}

void InkConverter::Convert(const unsigned char* inks, int pixels, unsigned char* colors) const {
  if (m_transform != nullptr) {
    cmsDoTransform(m_transform, inks, colors, static_cast<cmsUInt32Number>(pixels));
    return;
  }
  for (; pixels > 0; --pixels, inks += 4, colors += 3) {
    for (int c = 0; c < 3; ++c) {
      colors[c] = static_cast<unsigned char>(((255 - inks[c]) * (255 - inks[3]) + 127) / 255);
    }
  }
}

Outcome InkPictureConverter::Convert(const InkPicture& inks, Bitmap& bitmap) {
  const int status = bitmap.Create(inks.width, inks.height, 24, K_ORDER_RGB);
  if (status != K_SUCCESS) return Failure(status);
  bitmap.SetResolution(inks.xResolution, inks.yResolution);
  const std::vector<unsigned char> none;
  const std::vector<unsigned char>& given = m_profile != nullptr ? *m_profile : none;
  const std::vector<unsigned char>& used = inks.profile.empty() ? given : inks.profile;
  if (!m_converter || used != m_used) {
    m_used = used;
    m_converter.emplace(m_used);
  }
  const size_t rowBytes = static_cast<size_t>(inks.width) * 4;
  for (int row = 0; row < inks.height; ++row) {
    m_converter->Convert(inks.rows.data() + static_cast<size_t>(row) * rowBytes, inks.width,
                         bitmap.TopDownRow(row));
  }
  Outcome outcome;
  if (!used.empty() && !m_converter->HasProfile() && !m_warned) {
    m_warned = true;
    outcome.warnings.emplace_back("the profile of the inks can't be used");
  }
  return outcome;
}

}  // namespace kz
