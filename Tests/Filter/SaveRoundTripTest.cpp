// What is saved is described and loaded again as it was, pixel for pixel.
#include <gtest/gtest.h>

#include "Host/Toolkit/MemorySaver.h"
#include "Host/Toolkit/RowConversion.h"
#include "Tests/Filter/LoadRequest.h"
#include "Tests/Filter/SaveRequest.h"
#include "Tests/Filter/WrittenFile.h"

namespace {

// A request that goes to the toolkit's routines.
void UseToolkit(SaveRequest& request) {
  request.save.uHostFlags = 0;
  request.save.pHostUserData = nullptr;
  request.save.pfnBeginRows = kz::BeginRows;
  request.save.pfnGetRow = kz::GetRow;
  request.save.pfnEndRows = kz::EndRows;
  request.save.pfnSaveToMemory = kz::SaveToMemory;
}

// Lines, edges and noise: runs of all lengths.
_BITMAPHANDLE Drawing(int width, int height, int depth, unsigned seed) {
  _BITMAPHANDLE bitmap = MakeBitmap(width, height, depth, seed);
  Bytes row(static_cast<size_t>(bitmap.nRowBytes));
  for (int y = 0; y < height; ++y) {
    if (y % 5 == 4) continue;  // stays noise
    K_GetBitmapRow(&bitmap, row.data(), y, row.size());
    const size_t used = (static_cast<size_t>(width) * static_cast<size_t>(depth) + 7) / 8;
    const unsigned char last = row[used - 1];
    for (size_t x = 0; x < used; ++x) {
      row[x] = (x / 9 + static_cast<size_t>(y) / 7 + seed) % 3 == 0 ? 0xFF : 0x00;
    }
    const int spare = static_cast<int>(used) * 8 - width * depth;
    row[used - 1] = static_cast<unsigned char>((row[used - 1] ^ last) & (0xFF << spare));
    K_PutBitmapRow(&bitmap, row.data(), y, row.size());
  }
  return bitmap;
}

_IMAGEFILEINFO Describe(const std::string& file, int page) {
  tagHANDLE* handle = K_RedirectedOpen(file.c_str(), K_OPEN_READ, K_MODE_READABLE);
  _IMAGEFILEINFO info = {};
  _INFOOPTIONS count = {K_INFO_TOTAL_PAGES};
  _LOADOPTIONS options = {};
  options.nPageNumber = page;
  _INFODISPATCH dispatch = {handle, &info, &count, &options};
  EXPECT_EQ(fltInfo(&dispatch), 1);
  K_RedirectedClose(handle);
  return info;
}

// The page must have the picture's description and pixels.
void ExpectPage(const std::string& file, int page, int pages, int format, SaveRequest& saved) {
  const _BITMAPHANDLE& bitmap = saved.bitmap;
  const _IMAGEFILEINFO info = Describe(file, page);
  EXPECT_EQ(info.nFormat, static_cast<uint32_t>(format));
  EXPECT_EQ(info.nWidth, static_cast<uint32_t>(bitmap.nWidth));
  EXPECT_EQ(info.nHeight, static_cast<uint32_t>(bitmap.nHeight));
  EXPECT_EQ(info.nBitsPerPixel, static_cast<uint32_t>(saved.save.nBitsPerPixel));
  EXPECT_EQ(info.nXResolution, 200u);
  EXPECT_EQ(info.nYResolution, 100u);
  EXPECT_EQ(info.nPageNumber, static_cast<uint32_t>(page));
  EXPECT_EQ(info.nTotalPages, static_cast<uint32_t>(pages));
  LoadRequest load(bitmap.nWidth, bitmap.nHeight, saved.save.nBitsPerPixel);
  ASSERT_EQ(load(file, page), 1);
  ASSERT_EQ(load.rows.size(), static_cast<size_t>(bitmap.nHeight));
  const size_t bits =
      static_cast<size_t>(bitmap.nWidth) * static_cast<size_t>(bitmap.nBitsPerPixel);
  EXPECT_TRUE(load.Picture((bits + 7) / 8) == saved.PackedRows());
}

struct Kind {
  int modca, carriageControl, bare;
  int depth;
};
const Kind kKinds[] = {{71, 309, 77, 1},   {72, 310, 78, 1},   {73, 311, 79, 1},
                       {117, 313, 118, 1}, {190, 191, 184, 1}, {190, 191, 184, 4},
                       {253, 312, 254, 1}};

TEST(SaveRoundTrip, PicturesOfAllSizesInAllContainers) {
  std::vector<std::pair<int, int>> sizes = {
      {1728, 1}, {1728, 60}, {2550, 33}, {32767, 3}, {1, 900}};
  for (int width = 1; width <= 70; width += width < 35 ? 1 : 7)
    sizes.push_back({width, 1 + width % 11});
  const TemporaryFolder folder;
  for (const Kind& kind : kKinds) {
    for (const auto& [width, height] : sizes) {
      SaveRequest request(Drawing(width, height, kind.depth, static_cast<unsigned>(width)));
      UseToolkit(request);
      for (const int format : {kind.modca, kind.carriageControl, kind.bare}) {
        SCOPED_TRACE(testing::Message() << format << ", " << width << " by " << height);
        ASSERT_EQ(request(folder / "f", format), 1);
        ExpectPage(folder / "f", 1, 1, format, request);
      }
    }
  }
}

TEST(SaveRoundTrip, EveryKindOfPageInOneDocument) {
  struct Saved {
    std::unique_ptr<SaveRequest> request;
    int format;
  };
  for (const bool carriageControl : {false, true}) {
    const TemporaryFolder folder;
    const std::string file = folder / "f";
    std::vector<Saved> pages;  // as they must be in the file
    unsigned number = 0;
    for (const uint32_t flags : {0u, K_SAVE_INSERT_PAGE, K_SAVE_REPLACE_PAGE}) {
      for (const Kind& kind : kKinds) {
        const int format = carriageControl ? kind.carriageControl : kind.modca;
        const int size = 100 + static_cast<int>(++number) * 37 % 60;
        Saved page = {std::make_unique<SaveRequest>(Drawing(size, size, kind.depth, number)),
                      format};
        UseToolkit(*page.request);
        ASSERT_EQ((*page.request)(file, format, pages.empty() ? 1 : 2, flags), 1) << format;
        if (flags == 0) {
          pages.push_back(std::move(page));
        } else if (flags == K_SAVE_INSERT_PAGE) {
          pages.insert(pages.begin() + 1, std::move(page));
        } else {
          pages[1] = std::move(page);
        }
      }
      const auto count = static_cast<int>(pages.size());
      EXPECT_EQ(WrittenPages(FileBytes(file)).size(), pages.size());
      for (int i = 1; i <= count; ++i) {
        SCOPED_TRACE(testing::Message() << "page " << i << " of " << count);
        Saved& page = pages[static_cast<size_t>(i) - 1];
        ExpectPage(file, i, count, page.format, *page.request);
      }
    }
    _DELETEDISPATCH deletion = {file.c_str()};
    while (pages.size() > 1) {
      ASSERT_EQ(fltDeletePage(&deletion), 1);
      pages.erase(pages.begin() + 1);
      Saved& last = pages.back();
      ExpectPage(file, static_cast<int>(pages.size()), static_cast<int>(pages.size()), last.format,
                 *last.request);
    }
  }
}

}  // namespace
