// The entry point that saves a page: fltSave.
#include "API/Filters/Ica/Common/Ioca/Document/Envelope.h"
#include "API/Filters/Ica/Common/Ioca/OpenedFile.h"
#include "API/Filters/Ica/Common/Ioca/Splice.h"
#include "API/Filters/Ica/Common/Ioca/WriteImage.h"
#include "API/Filters/Ica/Common/Thread.h"
#include "Format/Compression.h"
#include "Format/PageFields.h"
#include "Format/SelfDefiningField.h"

namespace {

// An ABIC bitmap has the depth that it is coded at.
bool CarriesDepth(const kz::CompressionRow& row, const _SAVEDISPATCH* pSave) {
  const int bits = pSave->nBitsPerPixel;
  return kz::HasDepth(row.written, bits) &&
         (row.coding != kz::Coding::Abic || pSave->pBitmap->nBitsPerPixel == bits);
}

bool FitsImageSize(const _BITMAPHANDLE* bitmap) {
  const auto side = [](int pixels) {
    return pixels > 0 && pixels <= static_cast<int>(kz::kMaxImageSide);
  };
  const auto resolution = [](int dpi) { return dpi >= 0 && dpi <= kz::kMaxPageResolution; };
  return side(bitmap->nWidth) && side(bitmap->nHeight) && resolution(bitmap->nXResolution) &&
         resolution(bitmap->nYResolution);
}

// Everything that can be refused before a file is opened. Returns 1 or why not.
int CheckRequest(const _SAVEDISPATCH* pSave, const kz::FormatCode& format, bool splice) {
  if (!kz::HasDepth(kz::DepthsOf(1, 4, 8, 24), pSave->nBitsPerPixel)) return K_ERROR_BITS_PER_PIXEL;
  if (format.row == nullptr) return K_ERROR_SAVE_FORMAT;
  if (!CarriesDepth(*format.row, pSave)) return K_ERROR_BITS_PER_PIXEL;
  if (!FitsImageSize(pSave->pBitmap)) return K_ERROR_INVALID_FORMAT;
  if (splice && format.container == kz::Container::Ioca) return K_ERROR_SAVE_FORMAT;
  return K_SUCCESS;
}

// Opens a file for new content, cut to length zero when it held any.
int OpenEmpty(OpenedFile* file, const char* pszName) {
  if (!*file) return K_ERROR_OPEN_WRITE;
  if (K_RedirectedSeek(file->get(), 0, K_SEEK_END) == 0) return K_SUCCESS;
  constexpr int cut = K_OPEN_UPDATE | K_OPEN_CREATE | K_OPEN_TRUNCATE;
  return file->Reopen(pszName, cut, K_MODE_WRITABLE) ? K_SUCCESS : K_ERROR_OPEN_WRITE;
}

int WriteNewDocument(_SAVEDISPATCH* pSave, tagHANDLE* handle) {
  int status = WriteMODCAStartDoc(handle);
  if (status == K_SUCCESS) status = AppendPage(pSave, handle, 0);
  if (status == K_SUCCESS) status = WriteMODCAEndDoc(handle);
  return status;
}

int SaveNewFile(_SAVEDISPATCH* pSave, kz::Container container) {
  OpenedFile file(pSave->pszFileName, K_OPEN_UPDATE | K_OPEN_CREATE, K_MODE_WRITABLE);
  int status = OpenEmpty(&file, pSave->pszFileName);
  if (status != K_SUCCESS) return status;
  status = container == kz::Container::Ioca ? WriteImage(pSave, file.get(), 0)
                                            : WriteNewDocument(pSave, file.get());
  return file.Close(status);
}

int SaveAppended(_SAVEDISPATCH* pSave) {
  OpenedFile file(pSave->pszFileName, K_OPEN_UPDATE, K_MODE_WRITABLE);
  if (!file && !file.Reopen(pSave->pszFileName, K_OPEN_UPDATE | K_OPEN_CREATE, K_MODE_WRITABLE)) {
    return K_ERROR_OPEN_WRITE;
  }
  const int size = K_RedirectedSeek(file.get(), 0, K_SEEK_END);
  if (size < 0) return K_ERROR_SEEK;
  int status;
  if (size == 0) {
    status = WriteNewDocument(pSave, file.get());
  } else {
    status = AppendPage(pSave, file.get(), 1);
    if (status == K_SUCCESS) status = WriteMODCAEndDoc(file.get());
  }
  return file.Close(status);
}

}  // namespace

int fltSave(_SAVEDISPATCH* pDispatch) {
  FilterThreadState* state = ThreadState();
  const kz::FormatCode format = kz::FindFormatCode(static_cast<uint32_t>(pDispatch->nFormat));
  const uint32_t flags = pDispatch->pSaveOptions->uFlags;
  const bool splice = (flags & (K_SAVE_INSERT_PAGE | K_SAVE_REPLACE_PAGE)) != 0;
  const int status = CheckRequest(pDispatch, format, splice);
  if (status != K_SUCCESS) return status;

  state->bWriteCC = format.container == kz::Container::ModcaCarriageControl ? 1 : 0;
  state->nMaxSegmentData =
      format.container == kz::Container::Ioca ? kz::kBareImageData : kz::kDocumentImageData;
  BindReadWrite(state);
  if (splice) return SaveSpliced(pDispatch, state, (flags & K_SAVE_INSERT_PAGE) != 0);
  const bool newFile =
      format.container == kz::Container::Ioca || pDispatch->pSaveOptions->nPageNumber == 1;
  return newFile ? SaveNewFile(pDispatch, format.container) : SaveAppended(pDispatch);
}
