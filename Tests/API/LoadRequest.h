// One load of a page with everything that it takes, and what came of it.
#pragma once

#include <string>

#include "API/Filters/Ica/Common/Ica.h"
#include "Host/Kernel/KernelTesting.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Toolkit/Imaging/MemoryLoader.h"

struct LoadRequest {
  struct Row {
    uint32_t flags;
    Bytes bytes;
  };

  LoadRequest(int width, int height, int depth = 1) {
    if (K_CreateBitmap(&bitmap, sizeof bitmap, width, height, depth, K_ORDER_BGR,
                       K_VIEW_BOTTOM_UP) != K_SUCCESS) {
      throw std::runtime_error("no bitmap");
    }
    dispatch.pBitmap = &bitmap;
    dispatch.pfnCallback = TakeRow;
    dispatch.pUserData = this;
    dispatch.pContext = &context;
    dispatch.pLoadOptions = &options;
    dispatch.pfnLoadMemory = kz::LoadMemory;
    dispatch.pfnSetLoadInfoCallback = kz::SetLoadInfoCallback;
  }
  ~LoadRequest() { K_FreeBitmap(&bitmap); }
  LoadRequest(const LoadRequest&) = delete;
  LoadRequest& operator=(const LoadRequest&) = delete;

  int operator()(const std::string& file, int page = 1) {
    dispatch.pszFileName = file.c_str();
    options.nPageNumber = page;
    return fltLoad(&dispatch);
  }
  // Rows of the picture, without what pads them.
  Bytes Picture(size_t bytesPerRow) const {
    Bytes picture;
    for (const Row& row : rows) {
      picture.insert(picture.end(), row.bytes.begin(),
                     row.bytes.begin() + static_cast<ptrdiff_t>(bytesPerRow));
    }
    return picture;
  }

  _BITMAPHANDLE bitmap;
  _LOADOPTIONS options = {sizeof(_LOADOPTIONS), 72, 72, 0, 1};
  _LOADDISPATCH dispatch = {};
  int context = 0;
  size_t stopAt = SIZE_MAX;  // the callback's call that returns stopResult
  int stopResult = 1;
  size_t calls = 0;
  bool fromTarget = true;  // all rows had the target's layout
  std::vector<Row> rows;   // those of the last start

 private:
  static int TakeRow(void* pContext, _BITMAPHANDLE* pBitmap, unsigned char* pRow, uint32_t uFlags,
                     int nRow, int nRows, void* pUserData) {
    auto& self = *static_cast<LoadRequest*>(pUserData);
    if ((uFlags & K_ROW_FIRST) != 0) self.rows.clear();
    if (pContext != &self.context || nRows != 1 || nRow != static_cast<int>(self.rows.size())) {
      return -1000;
    }
    self.fromTarget = pBitmap == &self.bitmap;
    self.rows.push_back({uFlags, Bytes(pRow, pRow + pBitmap->nBytesPerLine)});
    return ++self.calls == self.stopAt ? self.stopResult : 1;
  }
};
