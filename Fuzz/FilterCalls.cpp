#include "Fuzz/FilterCalls.h"
#include "Format/SelfDefiningField.h"
#include "Format/StructuredField.h"

#include <algorithm>
#include <cstring>

#include "Fuzz/FieldKinds.h"
#include "Fuzz/MemoryDisk.h"
#include "Host/Kernel/DllLoader.h"
#include "Toolkit/Imaging/MemoryLoader.h"
#include "Toolkit/Imaging/MemorySaver.h"
#include "Toolkit/Imaging/RowConversion.h"

namespace {

constexpr uint64_t kMaxPictureBytes = uint64_t{4} << 20;
constexpr const char* kName = "fuzzed";

volatile unsigned g_sink;

struct Delivery {
  int rows = 0;
  bool ended = false;
};

int TakeRow(void*, _BITMAPHANDLE* bitmap, unsigned char* row, uint32_t flags, int index, int count,
            void* userData) {
  auto* delivery = static_cast<Delivery*>(userData);
  Require(count == 1 && index >= 0 && index < bitmap->nHeight, "rows lie inside the bitmap");
  if ((flags & K_ROW_FIRST) != 0) *delivery = {};
  Require(index == delivery->rows, "rows come in order");
  Require(!delivery->ended, "no row follows the last");
  ++delivery->rows;
  delivery->ended = (flags & K_ROW_LAST) != 0;
  unsigned sum = 0;
  for (int i = 0; i < bitmap->nBytesPerLine; ++i) sum += row[i];
  g_sink = sum;
  return K_SUCCESS;
}

}  // namespace

K_DecodeAbicRoutine PinCodecLibrary() {
  static K_DllLoader loader;
  loader.LoadLib(KV_LIBID_ABIC, 0, nullptr);
  loader.AddFunction("K_DecodeABIC");
  Require(loader.IsFunctionOk("K_DecodeABIC") != 0, "the codec library is there");
  return reinterpret_cast<K_DecodeAbicRoutine>(loader.GetFunction("K_DecodeABIC"));
}

int Describe(int page, _IMAGEFILEINFO* info) {
  *info = {};
  _INFOOPTIONS count{K_INFO_TOTAL_PAGES};
  _LOADOPTIONS options = {};
  options.nPageNumber = page;
  _INFODISPATCH dispatch{K_RedirectedOpen(kName, K_OPEN_READ, K_MODE_READABLE), info, &count,
                         &options};
  const int status = fltInfo(&dispatch);
  K_RedirectedClose(dispatch.hFile);
  if (status == K_SUCCESS) {
    Require(info->nWidth > 0 && info->nWidth <= kz::kMaxImageSide,
            "a described width can be loaded");
    Require(info->nPageNumber >= 1 && info->nPageNumber <= info->nTotalPages,
            "the page described is one of the file's");
    Require(std::strlen(info->szCompression) > 0, "every compression has a name");
  }
  return status;
}

int LoadDescribed(int page, const _IMAGEFILEINFO& info) {
  if (info.uSizeMem > kMaxPictureBytes) return K_SUCCESS;
  _BITMAPHANDLE bitmap;
  int status = K_CreateBitmap(&bitmap, sizeof(bitmap), static_cast<int>(info.nWidth),
                              static_cast<int>(info.nHeight), static_cast<int>(info.nBitsPerPixel),
                              K_ORDER_BGR, K_VIEW_TOP_DOWN);
  Require(status == K_SUCCESS, "a described picture fits a bitmap");
  _LOADOPTIONS options = {};
  options.nPageNumber = page;
  Delivery delivery;
  _LOADDISPATCH dispatch = {};
  dispatch.pszFileName = kName;
  dispatch.pBitmap = &bitmap;
  dispatch.pfnCallback = TakeRow;
  dispatch.pUserData = &delivery;
  dispatch.pLoadOptions = &options;
  dispatch.pfnLoadMemory = kz::LoadMemory;
  dispatch.pfnSetLoadInfoCallback = kz::SetLoadInfoCallback;
  status = fltLoad(&dispatch);
  Require(status != K_SUCCESS || delivery.ended, "a load that succeeds delivers the last row");
  K_FreeBitmap(&bitmap);
  return status;
}

int SavePicture(int format, uint32_t flags, int page, uint32_t seed) {
  constexpr int side = 40;
  const bool jpeg = format >= 377 && format <= 379;
  _BITMAPHANDLE bitmap;
  K_CreateBitmap(&bitmap, sizeof(bitmap), side, side, jpeg ? 8 : 1, K_ORDER_BGR, K_VIEW_TOP_DOWN);
  for (int i = 0; i < bitmap.nBytesPerLine * side; ++i) {
    bitmap.pRows[i] = static_cast<unsigned char>((seed *= 1664525u, seed += 1013904223u) >> 24);
  }
  _SAVEOPTIONS options{flags, page};
  _SAVEDISPATCH dispatch = {};
  dispatch.pszFileName = kName;
  dispatch.pBitmap = &bitmap;
  dispatch.nBitsPerPixel = bitmap.nBitsPerPixel;
  dispatch.nFormat = format;
  dispatch.nQFactor = 20;
  dispatch.pSaveOptions = &options;
  dispatch.pfnBeginRows = kz::BeginRows;
  dispatch.pfnEndRows = kz::EndRows;
  dispatch.pfnGetRow = kz::GetRow;
  dispatch.pfnSaveToMemory = kz::SaveToMemory;
  const int status = fltSave(&dispatch);
  K_FreeBitmap(&bitmap);
  return status;
}

size_t KeptBytes(const std::vector<uint8_t>& one, const std::vector<uint8_t>& other) {
  const auto begin = std::mismatch(one.begin(), one.end(), other.begin(), other.end()).first;
  const auto end = std::mismatch(one.rbegin(), one.rend(), other.rbegin(), other.rend()).first;
  const auto kept = static_cast<size_t>((begin - one.begin()) + (end - one.rbegin()));
  return std::min({kept, one.size(), other.size()});
}

int EndPages(const std::vector<uint8_t>& file) {
  int pages = 0;
  size_t end = 0;
  bool ended = false;
  for (const Span& field : kStructuredFields.Split(file)) {
    if (ended) return -1;
    const size_t start = field.start + (file[field.start] == kz::kCarriageControl ? 1 : 0);
    const int code = file[start + 3] << 8 | file[start + 4];
    pages += code == kz::sf::kEndPage ? 1 : 0;
    ended = code == kz::sf::kEndDocument;
    end = field.start + field.length;
    if ((file[start + 5] & kz::kFlagExtension) == 0) continue;
    const size_t data = start + kz::kIntroducerLength;
    if (data == end || file[data] == 0 || file[data] > end - data) return -1;
  }
  return end == file.size() ? pages : -1;
}
