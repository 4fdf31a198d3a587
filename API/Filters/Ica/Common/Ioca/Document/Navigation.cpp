#include "API/Filters/Ica/Common/Ioca/Document/Navigation.h"

#include "API/Filters/Ica/Common/Ioca/Document/FieldStream.h"

int K_GetTotalPages(tagHANDLE* handle, int* pnPages) {
  *pnPages = 0;
  _SFI sfi;
  // Resource groups and the like may stand before the document.
  do {
    const int status = ReadSFI(handle, &sfi);
    if (status <= 0) return status;
    if (sfi.wTypeCategory == kz::sf::kEndDocument) return K_ERROR_INVALID_FORMAT;
    SkipSFData(handle, &sfi);
  } while (sfi.wTypeCategory != kz::sf::kBeginDocument);

  do {
    const int status = ReadSFI(handle, &sfi);
    if (status <= 0) return status;
    if (sfi.wTypeCategory == kz::sf::kBeginPage) ++*pnPages;
    SkipSFData(handle, &sfi);
  } while (sfi.wTypeCategory != kz::sf::kEndDocument);
  return K_SUCCESS;
}

namespace {

// Stops at the introducer of the End Page field wanted, which stays in *sfi. A
// failed skip ends the search only with bCheckSkips.
int SeekEndPage(tagHANDLE* handle, int nPage, _SFI* sfi, bool bCheckSkips) {
  int count = 0;
  for (;;) {
    const int status = ReadSFI(handle, sfi);
    if (status <= 0) return status;
    if (sfi->wTypeCategory == kz::sf::kEndPage && ++count == nPage) return K_SUCCESS;
    const int skipped = SkipSFData(handle, sfi);
    if (bCheckSkips && skipped <= 0) return skipped;
    if (sfi->wTypeCategory == kz::sf::kEndDocument) return K_END_OF_DOCUMENT;
  }
}

}  // namespace

int K_GetEndPage(tagHANDLE* handle, int nPage) {
  _SFI sfi;
  return SeekEndPage(handle, nPage, &sfi, false);
}

int FindEndOfPage(tagHANDLE* handle, int nPage, int* pnPos) {
  if (K_RedirectedSeek(handle, 0, K_SEEK_START) < 0) return K_ERROR_SEEK;
  _SFI sfi;
  int status = SeekEndPage(handle, nPage, &sfi, true);
  if (status == K_SUCCESS) status = SkipSFData(handle, &sfi);
  *pnPos = K_RedirectedSeek(handle, 0, K_SEEK_CURRENT);
  if (*pnPos < 0) return K_ERROR_SEEK;
  if (status != K_ERROR_READ) return status;
  // With bytes left it is the read that failed, not the file that ended.
  const int size = K_RedirectedSeek(handle, 0, K_SEEK_END);
  if (size < 0) return K_ERROR_SEEK;
  return *pnPos < size ? K_ERROR_READ : K_END_OF_DOCUMENT;
}

int FindImageObject(tagHANDLE* handle, int* pnPos, int bNext) {
  _SFI sfi;
  bool leaving = bNext != 0;  // still in the Image Picture Data of the object before
  for (;;) {
    int status = ReadSFI(handle, &sfi);
    if (status <= 0) return status;
    const bool pictureData = sfi.wTypeCategory == kz::sf::kImagePictureData;
    if (pictureData && !leaving) break;
    if (!pictureData) leaving = false;
    status = SkipSFData(handle, &sfi);
    if (status <= 0) return status;
  }
  const int position = SeekBackToSFI(handle, sfi);
  if (position < 0) return K_ERROR_SEEK;
  *pnPos = position;
  return K_SUCCESS;
}
