// Whatever the filter does, done on a host that keeps its promises and does nothing
// more.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <thread>
#include <utility>

#include "Host/Kernel/KernelTesting.h"
#include "Tests/StrictHost/StrictHost.h"
#include "Tests/Support/FileBuilder.h"
#include "Tests/Support/LoadedFilter.h"

namespace {

// Rows of whole bytes, top row first.
struct Picture {
  Picture(int w, int h, int d, unsigned seed) : width(w), height(h), depth(d) {
    rows = Pattern(RowBytes() * static_cast<size_t>(h), seed);
    const int spare = static_cast<int>(RowBytes()) * 8 - w * d;
    for (size_t i = RowBytes() - 1; i < rows.size(); i += RowBytes()) {
      rows[i] &= static_cast<unsigned char>(0xFF << spare);
    }
  }
  size_t RowBytes() const { return static_cast<size_t>(width * depth + 7) / 8; }
  const unsigned char* Row(int row) const {
    return rows.data() + static_cast<size_t>(row) * RowBytes();
  }
  // A bitmap of it, stored top-down or bottom-up.
  _BITMAPHANDLE Bitmap(int perspective) const {
    _BITMAPHANDLE bitmap = strict_host::MakeBitmap(width, height, depth, perspective);
    for (int row = 0; row < height; ++row) {
      const int stored = perspective == K_VIEW_TOP_DOWN ? row : height - 1 - row;
      std::memcpy(bitmap.pRows + stored * bitmap.nRowBytes, Row(row), RowBytes());
    }
    bitmap.nXResolution = bitmap.nYResolution = 200;
    return bitmap;
  }

  int width, height, depth;
  Bytes rows;
};

// --- What the host lends: rows, and a picture format of its own in the place of JPEG

struct Saving {
  Picture picture;
  Bytes row = Bytes(picture.RowBytes() + 4), colors = Bytes(8 + 4 * 256, 0xFF);
  int conversions = 0;
};
int Begin(_BITMAPHANDLE*, void** context, int, uint32_t*, unsigned char** row, int, void*,
          void* user, unsigned char** colors) {
  auto* saving = static_cast<Saving*>(*context = user);
  ++saving->conversions;
  *row = saving->row.data();
  *colors = saving->colors.data();
  return 7;
}
int Get(_BITMAPHANDLE*, void* context, unsigned char* row, int number, int, uint32_t, void*,
        void* user, unsigned char* colors) {
  auto* saving = static_cast<Saving*>(context);
  EXPECT_TRUE(user == saving && row == saving->row.data() && colors == saving->colors.data());
  std::memcpy(row, saving->picture.Row(number), saving->picture.RowBytes());
  return 3;
}
int End(_BITMAPHANDLE*, void** context, uint32_t*, unsigned char** row, unsigned char** colors) {
  --static_cast<Saving*>(*context)->conversions;
  *context = *row = *colors = nullptr;
  return -1;
}
int SaveToMemory(HGLOBAL* block, _BITMAPHANDLE* bitmap, int, int, int, uint64_t* size, void*) {
  const auto rows = static_cast<size_t>(bitmap->nRowBytes * bitmap->nHeight);
  *size = sizeof *bitmap + rows;
  *block = WinGlobalAlloc(0, *size);
  auto* to = static_cast<unsigned char*>(WinGlobalLock(*block));
  std::memcpy(to, bitmap, sizeof *bitmap);
  std::memcpy(to + sizeof *bitmap, bitmap->pRows, rows);
  WinGlobalUnlock(*block);
  return 1;
}

K_LoadInfoCallback g_loadInfo;
void* g_loadInfoData;
int OwnLoadInfo(int, _LOADINFO*, void*) { return -1; }
K_LoadInfoCallback SetLoadInfo(K_LoadInfoCallback callback, void* data) {
  g_loadInfoData = data;
  return std::exchange(g_loadInfo, callback);
}

// Takes what SaveToMemory makes, or what a load-info callback describes: then all
// rows are black.
int LoadMemory(unsigned char* data, _BITMAPHANDLE* bitmap, uint32_t, int, int, uint64_t size, void*,
               _IMAGEFILEINFO* info) {
  _BITMAPHANDLE found = {};
  if (info == nullptr) {
    _LOADINFO described = {};
    if (g_loadInfo(0, &described, g_loadInfoData) != 1 || described.nFormat != 68) return -9;
    *bitmap = strict_host::MakeBitmap(static_cast<int>(described.nWidth),
                                      static_cast<int>(described.nHeight), 1, K_VIEW_TOP_DOWN);
    std::memset(bitmap->pRows, 0xFF, static_cast<size_t>(bitmap->nRowBytes * bitmap->nHeight));
    return 1;
  }
  if (info->nFormat != 10 || size < sizeof found) return -9;
  std::memcpy(&found, data, sizeof found);
  *bitmap = strict_host::MakeBitmap(found.nWidth, found.nHeight, found.nBitsPerPixel,
                                    found.nViewPerspective);
  const auto rows = static_cast<size_t>(bitmap->nRowBytes * bitmap->nHeight);
  if (size != sizeof found + rows) return -9;
  std::memcpy(bitmap->pRows, data + sizeof found, rows);
  return 1;
}

struct Loading {
  size_t rowBytes;
  Bytes rows;
};
int TakeRow(void* context, _BITMAPHANDLE* bitmap, unsigned char* row, uint32_t flags, int number,
            int, void* user) {
  auto* loading = static_cast<Loading*>(user);
  EXPECT_TRUE(context == &loading->rowBytes && g_loadInfo == OwnLoadInfo);
  if ((flags & K_ROW_FIRST) != 0) loading->rows.clear();
  const auto size = std::min(loading->rowBytes, static_cast<size_t>(bitmap->nBytesPerLine));
  EXPECT_EQ(loading->rows.size(), size * static_cast<size_t>(number));
  loading->rows.insert(loading->rows.end(), row, row + size);
  return 1;
}

// --- The calls, after each of which all must be as it was

class Calls : public testing::Test {
 protected:
  Calls() { g_loadInfo = OwnLoadInfo; }

  // On a thread of its own, whose record goes with it.
  void Run(const std::function<void()>& body) {
    std::jthread(body).join();
    EXPECT_EQ(K_LiveBlocks(), 0u);
  }
  template <typename Dispatch>
  int Call(const char* entryPoint, Dispatch* dispatch) {
    const int status = m_filter.Call(entryPoint, dispatch);
    EXPECT_EQ(g_loadInfo, OwnLoadInfo);
    return status;
  }
  void ExpectAtRest() {
    EXPECT_EQ(strict_host::Complaints(), "");
    EXPECT_LE(K_LiveBlocks(), 1u) << "the thread's record is all that may stay";
  }

  int Save(const std::string& file, const Picture& picture, int format, int page = 1,
           uint32_t flags = 0) {
    Saving saving{picture};
    _BITMAPHANDLE bitmap = picture.Bitmap(K_VIEW_BOTTOM_UP);
    _SAVEOPTIONS options = {flags, page};
    _SAVEDISPATCH save = {file.c_str(), &bitmap,  picture.depth, format, 0,   nullptr,     &saving,
                          20,           &options, Begin,         End,    Get, SaveToMemory};
    const int status = Call("fltSave", &save);
    EXPECT_EQ(saving.conversions, 0);
    K_FreeBitmap(&bitmap);
    ExpectAtRest();
    return status;
  }
  // The rows, or the status as a byte.
  Bytes Load(const std::string& file, const Picture& like, int page = 1) {
    Loading loading = {like.RowBytes(), {}};
    _BITMAPHANDLE bitmap = strict_host::MakeBitmap(like.width, like.height, like.depth, 4);
    _LOADOPTIONS options = {sizeof options, 72, 72, 0, page};
    _LOADDISPATCH load = {file.c_str(), &bitmap, TakeRow,    &loading,   &loading.rowBytes,
                          &options,     0,       LoadMemory, SetLoadInfo};
    const int status = Call("fltLoad", &load);
    K_FreeBitmap(&bitmap);
    ExpectAtRest();
    return status == 1 ? loading.rows : Bytes{static_cast<unsigned char>(status)};
  }
  int Delete(const std::string& file) {
    _DELETEDISPATCH request = {file.c_str()};
    const int status = Call("fltDeletePage", &request);
    ExpectAtRest();
    return status;
  }
  // The pages, or the status.
  int Pages(const std::string& file) {
    _IMAGEFILEINFO found = {};
    _INFOOPTIONS infoOptions = {K_INFO_TOTAL_PAGES};
    _LOADOPTIONS loadOptions = {sizeof loadOptions, 72, 72, 0, 1};
    _INFODISPATCH info = {K_RedirectedOpen(file.c_str(), K_OPEN_READ, 0), &found, &infoOptions,
                          &loadOptions};
    const int status = Call("fltInfo", &info);
    K_RedirectedClose(info.hFile);
    ExpectAtRest();
    return status == 1 ? static_cast<int>(found.nTotalPages) : status;
  }

  const TemporaryFolder m_folder;
  const std::string m_file = m_folder / "file";

 private:
  const LoadedFilter m_filter;
};

TEST_F(Calls, SavesLoadsAndDeletesPagesOfEveryKind) {
  struct Kind {
    int depth;
    std::vector<int> formats;  // bare, in a document, in one with carriage control
  };
  const Kind kinds[] = {
      {1, {77, 71, 309}},   {1, {78, 72, 310}},      {1, {79, 73, 311}},
      {1, {118, 117, 313}}, {1, {184, 190, 191}},    {4, {184, 190, 191}},
      {1, {254, 253, 312}}, {8, {0, 377, 378, 379}}, {24, {0, 377}},
  };
  for (const Kind& kind : kinds) {
    for (const int format : kind.formats) {
      if (format == 0) continue;
      Run([&] {
        SCOPED_TRACE(format);
        const auto page = [&](unsigned seed) { return Picture(45, 9, kind.depth, seed); };
        std::vector<Picture> pictures = {Picture(300, 300, kind.depth, 1),
                                         Picture(32767, 3, kind.depth, 1)};
        for (int width = 1; width <= 40; ++width) pictures.emplace_back(width, 5, kind.depth, 6);
        pictures.push_back(page(2));
        for (const Picture& picture : pictures) {
          EXPECT_EQ(Save(m_file, picture, format), 1);
          EXPECT_EQ(Load(m_file, picture), picture.rows);
          EXPECT_EQ(Pages(m_file), 1);
        }
        if (format == kind.formats[0]) return;
        EXPECT_EQ(Save(m_file, page(3), format, 2), 1);
        EXPECT_EQ(Save(m_file, page(4), format, 2, K_SAVE_INSERT_PAGE), 1);
        EXPECT_EQ(Pages(m_file), 3);
        EXPECT_EQ(Load(m_file, page(4), 2), page(4).rows);
        EXPECT_EQ(Save(m_file, Picture(45, 2, kind.depth, 5), format, 2, K_SAVE_REPLACE_PAGE), 1);
        EXPECT_EQ(Delete(m_file), 1);
        EXPECT_EQ(Pages(m_file), 2);
        EXPECT_EQ(Load(m_file, page(2), 1), page(2).rows);
        EXPECT_EQ(Load(m_file, page(3), 2), page(3).rows);
      });
    }
  }
}

// A picture three pixels narrower than its data, which fails and goes to the memory loader.
TEST_F(Calls, TheMemoryLoaderTakesGroup4DataInWholeBytes) {
  Run([&] {
    ASSERT_EQ(Save(m_file, Picture(32, 9, 1, 1), 79), 1);
    Bytes bytes = FileBytes(m_file);
    ASSERT_EQ(bytes[13], 32);
    bytes[13] = 29;
    const Picture narrow(29, 9, 1, 1);
    EXPECT_EQ(Load(m_folder.File("narrow", bytes), narrow), Bytes(narrow.rows.size(), 0xFF));
  });
}

TEST_F(Calls, NothingIsAskedOfTheHostWhereThereIsNothing) {
  Run([&] {
    const Bytes empty = Segment(ImageSize(16, 6) + Encoding(0x03), {});
    EXPECT_EQ(Load(m_folder.File("empty", empty), Picture(16, 6, 1, 1)), Bytes());
    // No byte is left past the page that goes.
    const Bytes two = Document({empty, empty});
    EXPECT_EQ(Delete(m_folder.File("two", Slice(two, 0, two.size() - 8))), 1);

    const auto text = [](const Bytes& data) { return Field(0xEE9B, data); };
    m_folder.File("text", Field(0xA8AF) + text({0x2B, 0xD3, 3, 0xDA, 'A'}) + text({}) +
                              text({0x2B, 0xD3, 3, 0xDA, 'B'}) + Field(0xA9A8));
    const std::string file = m_folder / "text";
    char comment[20] = {};
    _LOADOPTIONS options = {sizeof options, 72, 72, 0, 1};
    _IMAGEFILEINFO info = {};
    info.nTotalPages = 1;
    _COMMENTDISPATCH request = {file.c_str(), reinterpret_cast<unsigned char*>(comment),
                                sizeof comment, &options, &info};
    EXPECT_EQ(Call("fltComment", &request), 1);
    EXPECT_STREQ(comment, "A\r\n\r\nB\r\n");
    ExpectAtRest();
  });
}

}  // namespace
