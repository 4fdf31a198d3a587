#include "API/Filters/Ica/Common/Ioca/Save.h"

#include <initializer_list>

#include "API/Filters/Ica/Common/Ioca/CutFile.h"
#include "API/Filters/Ica/Common/Ioca/Document.h"
#include "API/Filters/Ica/Common/Ioca/FormatCodes.h"
#include "API/Filters/Ica/Common/Ioca/Navigation.h"
#include "API/Filters/Ica/Common/Ioca/Page.h"
#include "API/Filters/Ica/Common/Ioca/WriteImage.h"
#include "API/Filters/Ica/Common/Thread.h"

namespace {

// Image data bytes of one Image Data field. In a document its Image Picture Data
// field is then 8188 bytes long.
constexpr uint32_t kDocumentSegmentData = 8176;
constexpr uint32_t kBareSegmentData = 65535;

// Resolutions are stored in tenths, and 0x8000 and above stand for "none".
constexpr int kMaxResolution = 0x7FFF / 10;

bool IsOneOf(int value, std::initializer_list<int> values) {
  for (const int candidate : values) {
    if (value == candidate) return true;
  }
  return false;
}

bool CarriesDepth(const FormatRow* row, const _SAVEDISPATCH* pSave) {
  const int bits = pSave->nBitsPerPixel;
  switch (row->coding) {
    case Coding::Fax:
      return bits == 1;
    case Coding::Abic:
      return IsOneOf(bits, {1, 4}) && pSave->pBitmap->nBitsPerPixel == bits;
    case Coding::Jpeg:
      return IsOneOf(bits, {8, 24});
    case Coding::Uncompressed:
      return true;
  }
  return false;
}

bool FitsImageSize(const _BITMAPHANDLE* bitmap) {
  const auto side = [](int pixels) {
    return pixels > 0 && pixels <= static_cast<int>(MAX_IMAGE_SIDE);
  };
  const auto resolution = [](int dpi) { return dpi >= 0 && dpi <= kMaxResolution; };
  return side(bitmap->nWidth) && side(bitmap->nHeight) && resolution(bitmap->nXResolution) &&
         resolution(bitmap->nYResolution);
}

// Everything that can be refused before a file is opened. Returns 1 or why not.
int CheckRequest(const _SAVEDISPATCH* pSave, const FormatCode& format, bool splice) {
  if (!IsOneOf(pSave->nBitsPerPixel, {1, 4, 8, 24})) return K_ERROR_BITS_PER_PIXEL;
  if (format.row == nullptr) return K_ERROR_SAVE_FORMAT;
  if (!CarriesDepth(format.row, pSave)) return K_ERROR_BITS_PER_PIXEL;
  if (!FitsImageSize(pSave->pBitmap)) return K_ERROR_INVALID_FORMAT;
  if (splice && format.container == Container::Ioca) return K_ERROR_SAVE_FORMAT;
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

int SaveNewFile(_SAVEDISPATCH* pSave, Container container) {
  OpenedFile file(pSave->pszFileName, K_OPEN_UPDATE | K_OPEN_CREATE, K_MODE_WRITABLE);
  int status = OpenEmpty(&file, pSave->pszFileName);
  if (status != K_SUCCESS) return status;
  status = container == Container::Ioca ? WriteImage(pSave, file.get(), 0)
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

// Where a page goes in: behind the first page, in place of nRemoved bytes.
struct Splice {
  int position;
  int removed;
};

int FindSplice(tagHANDLE* handle, bool insert, Splice* splice) {
  splice->removed = 0;
  int status = FindEndOfPage(handle, 1, &splice->position);
  // Behind End Document no reader would look for a page.
  if (status == K_END_OF_DOCUMENT) return K_ERROR_INVALID_FORMAT;
  if (status != K_SUCCESS || insert) return status;
  int end = 0;
  status = FindEndOfPage(handle, 2, &end);
  if (status == K_ERROR_READ || status == K_ERROR_SEEK) return status;
  if (status == K_SUCCESS) splice->removed = end - splice->position;
  return K_SUCCESS;
}

int SaveSpliced(_SAVEDISPATCH* pSave, const FilterThreadState* state, bool insert) {
  OpenedFile file(pSave->pszFileName, K_OPEN_UPDATE, K_MODE_WRITABLE);
  if (!file) return K_ERROR_OPEN_WRITE;
  Splice splice;
  int status = FindSplice(file.get(), insert, &splice);
  if (status != K_SUCCESS) return status;

  const int size = K_RedirectedSeek(file.get(), 0, K_SEEK_END);
  const int tailStart = splice.position + splice.removed;
  if (size < tailStart) return K_ERROR_READ;
  const auto tailLength = static_cast<unsigned>(size - tailStart);
  LocalBlock tail(KZICA_SOURCE);
  status = ReadInto(&tail, file.get(), state, tailStart, tailLength);
  if (status != K_SUCCESS) return status;

  if (K_RedirectedSeek(file.get(), splice.position, K_SEEK_START) < 0) return K_ERROR_SEEK;
  status = AppendPage(pSave, file.get(), 0);
  if (status != K_SUCCESS) return file.Close(status);
  const int end = K_RedirectedSeek(file.get(), 0, K_SEEK_CURRENT);
  if (end < 0) {
    status = K_ERROR_SEEK;
  } else if (end < tailStart) {
    // The tail stays where it is until the bytes before it can be cut out.
    tail.Reset();
    status = CutAfterPage(&file, pSave->pszFileName, state, end, tailStart);
  } else if (!WriteBound(state, file.get(), tail.get(), tailLength)) {
    status = K_ERROR_WRITE;
  }
  return file.Close(status);
}

}  // namespace

int AppendPage(_SAVEDISPATCH* pSave, tagHANDLE* handle, int overEnd) {
  int status = overEnd != 0 ? SeekEndDocument(handle) : K_SUCCESS;
  if (status == K_SUCCESS) status = WriteMODCAStartPage(pSave, handle);
  if (status == K_SUCCESS) status = WriteImage(pSave, handle, 1);
  if (status == K_SUCCESS) status = WriteMODCAEndPage(handle);
  return status;
}

int fltSave(_SAVEDISPATCH* pDispatch) {
  FilterThreadState* state = ThreadState();
  const FormatCode format = FindFormatCode(static_cast<uint32_t>(pDispatch->nFormat));
  const uint32_t flags = pDispatch->pSaveOptions->uFlags;
  const bool splice = (flags & (K_SAVE_INSERT_PAGE | K_SAVE_REPLACE_PAGE)) != 0;
  const int status = CheckRequest(pDispatch, format, splice);
  if (status != K_SUCCESS) return status;

  state->bWriteCC = format.container == Container::ModcaCarriageControl ? 1 : 0;
  state->nMaxSegmentData =
      format.container == Container::Ioca ? kBareSegmentData : kDocumentSegmentData;
  BindReadWrite(state);
  if (splice) return SaveSpliced(pDispatch, state, (flags & K_SAVE_INSERT_PAGE) != 0);
  const bool newFile =
      format.container == Container::Ioca || pDispatch->pSaveOptions->nPageNumber == 1;
  return newFile ? SaveNewFile(pDispatch, format.container) : SaveAppended(pDispatch);
}
