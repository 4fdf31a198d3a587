// Fax coding of pages from memory to memory, ours and libtiff's in one run.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Benchmarks/FaxPages.h"
#include "Host/Fax/Fax.h"
#include "Host/Kernel/Kernel.h"
#include "Tests/Host/Fax/TiffCodec.h"

namespace {

struct MemoryFile {
  const Bytes* pInput;
  size_t nPosition;
};

int ReadMemory(tagHANDLE*, unsigned char* pBuffer, unsigned int nCount, void* pUserData) {
  auto& file = *static_cast<MemoryFile*>(pUserData);
  const size_t nRead = std::min(file.pInput->size() - file.nPosition, size_t{nCount});
  std::memcpy(pBuffer, file.pInput->data() + file.nPosition, nRead);
  file.nPosition += nRead;
  return static_cast<int>(nRead);
}

int StoreRow(void* pContext, _BITMAPHANDLE*, unsigned char* pRows, uint32_t, int nRow, int, void*) {
  auto& page = *static_cast<Picture*>(pContext);
  std::memcpy(page.Row(nRow), pRows, page.RowBytes());
  return K_SUCCESS;
}

void DecodeOurs(benchmark::State& state, const Bytes& data, const Picture& expected, int nCode) {
  MemoryFile file{&data, 0};
  K_ReadRoutine pfnRead = ReadMemory;
  K_FilterIO(nullptr, &pfnRead, nullptr, nullptr, nullptr, nullptr, &file, nullptr, nullptr,
             nullptr);
  Picture page(expected.nWidth, expected.nHeight);
  for ([[maybe_unused]] auto _ : state) {
    file.nPosition = 0;
    _LOADDISPATCH dispatch{};
    _BITMAPHANDLE bitmap{};
    _LOADINFO info{};
    info.nFormat = static_cast<uint32_t>(nCode);
    info.nWidth = static_cast<uint32_t>(page.nWidth);
    info.nHeight = static_cast<uint32_t>(page.nHeight);
    if (K_LoadRawFax(&dispatch, nullptr, &info, &page, &bitmap, StoreRow, 1, nullptr) != K_SUCCESS)
      state.SkipWithError("not decoded");
  }
  K_FilterIO(nullptr, &pfnRead, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
             nullptr);
  if (!(page == expected)) state.SkipWithError("decoded to something else");
  state.counters["bytes"] = static_cast<double>(data.size());
}

// Decodes without drawing, as a check does.
void Check(benchmark::State& state, const Bytes& data, const Picture& expected, int nCode) {
  _LOADINFO info{};
  info.nFormat = static_cast<uint32_t>(nCode);
  info.nWidth = static_cast<uint32_t>(expected.nWidth);
  info.nHeight = static_cast<uint32_t>(expected.nHeight);
  for ([[maybe_unused]] auto _ : state) {
    FaxCheck check;
    if (K_CheckRawFax(data.data(), data.size(), &info, &check) != K_SUCCESS)
      state.SkipWithError("not decoded");
  }
}

void DecodeLibtiff(benchmark::State& state, const Bytes& data, const Picture& expected, int nCode) {
  const RawTiff tiff(data, expected.nWidth, expected.nHeight, nCode);
  Picture page;
  for ([[maybe_unused]] auto _ : state) page = tiff.Decode();
  if (!(page == expected)) state.SkipWithError("decoded to something else");
  state.counters["bytes"] = static_cast<double>(data.size());
}

// Row routines for a page that needs no conversion; the bitmap's rows are the page's.
int BeginRows(_BITMAPHANDLE* pBitmap, void** ppContext, int, uint32_t*, unsigned char** ppRow, int,
              void*, void*, unsigned char** ppColorTable) {
  static unsigned char aWhiteFirst[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF};
  *ppContext = pBitmap;
  *ppRow = new unsigned char[static_cast<size_t>(pBitmap->nBytesPerLine)];
  *ppColorTable = aWhiteFirst;
  return K_SUCCESS;
}

int GetRow(_BITMAPHANDLE* pBitmap, void*, unsigned char* pRow, int nRow, int, uint32_t, void*,
           void*, unsigned char*) {
  const auto nBytes = static_cast<size_t>(pBitmap->nBytesPerLine);
  std::memcpy(pRow, pBitmap->pRows + nBytes * static_cast<size_t>(nRow), nBytes);
  return K_SUCCESS;
}

int EndRows(_BITMAPHANDLE*, void**, uint32_t*, unsigned char** ppRow, unsigned char**) {
  delete[] * ppRow;
  return K_SUCCESS;
}

int WriteMemory(tagHANDLE*, unsigned char* pBuffer, unsigned int nCount, void* pUserData) {
  auto& output = *static_cast<Bytes*>(pUserData);
  output.insert(output.end(), pBuffer, pBuffer + nCount);
  return static_cast<int>(nCount);
}

// Encodes the page into `output`. Returns K_SaveRawFax's result.
int Encode(const Picture& page, int nCode, Bytes& output) {
  K_WriteRoutine pfnWrite = WriteMemory;
  K_FilterIO(nullptr, nullptr, &pfnWrite, nullptr, nullptr, nullptr, nullptr, &output, nullptr,
             nullptr);
  _BITMAPHANDLE bitmap{};
  bitmap.nWidth = page.nWidth;
  bitmap.nHeight = page.nHeight;
  bitmap.nBytesPerLine = static_cast<int>(page.RowBytes());
  bitmap.pRows = const_cast<unsigned char*>(page.rows.data());
  _SAVEDISPATCH dispatch{};
  dispatch.pfnBeginRows = BeginRows;
  dispatch.pfnGetRow = GetRow;
  dispatch.pfnEndRows = EndRows;
  const int nResult = K_SaveRawFax(&dispatch, nullptr, &bitmap, 1, nCode, 0, nullptr, nullptr,
                                   nullptr, 0, nullptr, nullptr);
  K_FilterIO(nullptr, nullptr, &pfnWrite, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
             nullptr);
  return nResult;
}

void EncodeOurs(benchmark::State& state, const Bytes&, const Picture& page, int nCode) {
  Bytes output;
  for ([[maybe_unused]] auto _ : state) {
    output.clear();
    if (Encode(page, nCode, output) != K_SUCCESS) state.SkipWithError("not encoded");
  }
  state.counters["bytes"] = static_cast<double>(output.size());
}

void EncodeLibtiff(benchmark::State& state, const Bytes& data, const Picture& page, int nCode) {
  Picture copy = page;
  for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(WriteTiff(copy, nCode));
  state.counters["bytes"] = static_cast<double>(data.size());
}

}  // namespace

int main(int argc, char** argv) {
  struct Code {
    const char* pszName;
    int nCode;
    bool bInLibtiff;
  };
  static const Code aCodes[] = {{"g4", K_FAX_G4, true},
                                {"g3-2d", K_FAX_G3_2D, true},
                                {"g3", K_FAX_G3_1D, true},
                                {"mmr", K_FAX_IBM_MMR, false}};
  // They live as long as the program: the benchmarks hold references.
  static const std::vector<FaxPage> pages = MakeFaxPages();
  for (const FaxPage& page : pages) {
    for (const Code& code : aCodes) {
      auto* const pData = new Bytes;
      Encode(page.picture, code.nCode, *pData);
      const auto add = [&](const char* pszWhat, const char* pszWho, auto pfnRun) {
        const std::string name =
            std::string(pszWhat) + "/" + code.pszName + "/" + page.name + "/" + pszWho;
        benchmark::RegisterBenchmark(name.c_str(), pfnRun, *pData, page.picture, code.nCode)
            ->Unit(benchmark::kMicrosecond);
      };
      add("decode", "ours", DecodeOurs);
      add("decode", "check", Check);
      if (code.bInLibtiff) add("decode", "libtiff", DecodeLibtiff);
      if (page.name != "text" && page.name != "halftone") continue;
      add("encode", "ours", EncodeOurs);
      if (code.bInLibtiff) add("encode", "libtiff", EncodeLibtiff);
    }
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
