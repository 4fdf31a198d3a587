// The entry point that loads a page: fltLoad.
#include "API/Filters/Ica/Common/Ioca/Coders/Coders.h"
#include "API/Filters/Ica/Common/Ioca/ImageInfo.h"
#include "API/Filters/Ica/Common/Ioca/OpenedFile.h"
#include "API/Filters/Ica/Common/Ioca/Segment/ImageDataReader.h"

int fltLoad(_LOADDISPATCH* pDispatch) {
  FilterThreadState* state = ThreadState();
  const int bitsPerPixel = pDispatch->pBitmap->nBitsPerPixel;
  const OpenedFile file(pDispatch->pszFileName, K_OPEN_READ, K_MODE_READABLE);
  if (!file) return K_ERROR_OPEN_READ;

  Loading load{pDispatch, file.get(), state, nullptr, nullptr, bitsPerPixel, {}};
  const _LOADOPTIONS* options = pDispatch->pLoadOptions;
  int page = options->nPageNumber;
  if (ReadImageInfo(file.get(), &load.info, &page, options->nXResolution, options->nYResolution) !=
      K_SUCCESS) {
    return K_ERROR_INVALID_FORMAT;
  }
  load.row = kz::FindFormatCode(load.info.nFormat).row;
  if (load.row == nullptr) return K_ERROR_INVALID_FORMAT;
  load.info.nFormat = load.row->raw;

  state->nImageDataLeft = 0;
  InstalledReadRoutine readRoutine(state, ReadIMG);
  load.readRoutine = &readRoutine;
  switch (load.row->coding) {
    case kz::Coding::Fax:
      return LoadFax(&load);
    case kz::Coding::Abic:
      return LoadAbic(&load);
    case kz::Coding::Uncompressed:
      return LoadUncompressed(&load);
    case kz::Coding::Jpeg:
      return LoadJpeg(&load);
    case kz::Coding::Unknown:
      break;
  }
  return K_ERROR_INVALID_FORMAT;
}
