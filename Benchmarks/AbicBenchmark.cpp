// ABIC coding of a text page and a halftone page of 2550 x 3300 pixels, from
// memory to memory; where JBIG-KIT is there, its coder on the same rows.
#include <benchmark/benchmark.h>
#include <leptonica/allheaders.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "Host/Abic/Abic.h"
#include "Host/Kernel/DllLoader.h"
#include "Host/Kernel/Kernel.h"

#ifdef KZ_HAVE_JBIG
extern "C" {
#include <jbig.h>
}
#endif

namespace {

using Bytes = std::vector<unsigned char>;

constexpr int kWidth = 2550;
constexpr int kHeight = 3300;

void Require(bool good, const std::string& what) {
  if (!good) throw std::runtime_error(what);
}

size_t BytesPerRow(size_t alignment) {
  return (kWidth + 8 * alignment - 1) / (8 * alignment) * alignment;
}

// A sample picture, repeated until it fills the page, as rows padded to
// `alignment` bytes.
Bytes MakePage(const char* sample, size_t alignment) {
  PIX* picture = pixRead((std::string(KZ_SAMPLES "/") + sample).c_str());
  Require(picture != nullptr && pixGetDepth(picture) == 1, std::string(sample) + ": not readable");
  Bytes rows(BytesPerRow(alignment) * kHeight);
  for (int y = 0; y < kHeight; ++y) {
    unsigned char* row = rows.data() + BytesPerRow(alignment) * static_cast<size_t>(y);
    for (int x = 0; x < kWidth; ++x) {
      l_uint32 value = 0;
      pixGetPixel(picture, x % pixGetWidth(picture), y % pixGetHeight(picture), &value);
      if (value != 0) row[x / 8] |= static_cast<unsigned char>(0x80 >> x % 8);
    }
  }
  pixDestroy(&picture);
  return rows;
}

struct Codec {
  K_DllLoader loader;
  K_DecodeAbicRoutine decode;
  K_EncodeAbicRoutine encode;
};

const Codec& Library() {
  static Codec codec;
  if (codec.loader.IsLoaded() == 0) {
    Require(codec.loader.LoadLib(KV_LIBID_ABIC, 0, nullptr) == 1, "KZABI.so: not found");
    codec.loader.AddFunction("K_DecodeABIC");
    codec.loader.AddFunction("K_EncodeABIC");
    codec.decode = reinterpret_cast<K_DecodeAbicRoutine>(codec.loader.GetFunction("K_DecodeABIC"));
    codec.encode = reinterpret_cast<K_EncodeAbicRoutine>(codec.loader.GetFunction("K_EncodeABIC"));
  }
  return codec;
}

void FreeBlock(unsigned char* block) { WinGlobalFree(WinGlobalHandle(block)); }

Bytes EncodeAbic(Bytes& page) {
  unsigned char* data = nullptr;
  uint64_t size = 0;
  Require(Library().encode(page.data(), 4, kWidth, kHeight, &data, &size, 1) == 1, "encode");
  Bytes code(data, data + size);
  FreeBlock(data);
  return code;
}

void CountPage(benchmark::State& state, size_t codeBytes) {
  state.counters["bytes"] = static_cast<double>(codeBytes);
  state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}

void AbicEncode(benchmark::State& state, const char* sample) {
  Bytes page = MakePage(sample, 4);
  const size_t size = EncodeAbic(page).size();
  for (auto _ : state) {
    unsigned char* data = nullptr;
    uint64_t bytes = 0;
    const int status = Library().encode(page.data(), 4, kWidth, kHeight, &data, &bytes, 1);
    if (status != 1) state.SkipWithError("encode");
    FreeBlock(data);
  }
  CountPage(state, size);
}

void AbicDecode(benchmark::State& state, const char* sample) {
  Bytes page = MakePage(sample, 4);
  const Bytes code = EncodeAbic(page);
  for (auto _ : state) {
    unsigned char* rows = nullptr;
    const int status = Library().decode(code.data(), static_cast<unsigned int>(code.size()), &rows,
                                        4, kWidth, kHeight, 1);
    if (status != 1) state.SkipWithError("decode");
    FreeBlock(rows);
  }
  CountPage(state, code.size());
}

#ifdef KZ_HAVE_JBIG
void Append(unsigned char* start, size_t size, void* code) {
  auto& bytes = *static_cast<Bytes*>(code);
  bytes.insert(bytes.end(), start, start + size);
}

// One resolution layer, everything else as the library sets it up.
void EncodeJbig(Bytes& page, Bytes& code) {
  code.clear();
  unsigned char* plane = page.data();
  jbg_enc_state encoder;
  jbg_enc_init(&encoder, kWidth, kHeight, 1, &plane, Append, &code);
  jbg_enc_out(&encoder);
  jbg_enc_free(&encoder);
}

void JbigEncode(benchmark::State& state, const char* sample) {
  Bytes page = MakePage(sample, 1);
  Bytes code;
  for (auto _ : state) EncodeJbig(page, code);
  CountPage(state, code.size());
}

void JbigDecode(benchmark::State& state, const char* sample) {
  Bytes page = MakePage(sample, 1);
  Bytes code;
  EncodeJbig(page, code);
  for (auto _ : state) {
    jbg_dec_state decoder;
    jbg_dec_init(&decoder);
    const int status = jbg_dec_in(&decoder, code.data(), code.size(), nullptr);
    if (status != JBG_EOK) state.SkipWithError("jbg_dec_in");
    benchmark::DoNotOptimize(jbg_dec_getimage(&decoder, 0));
    jbg_dec_free(&decoder);
  }
  CountPage(state, code.size());
}
#endif

void Register(const char* name, void (*function)(benchmark::State&, const char*)) {
  for (const char* page : {"letter", "halftone"}) {
    const std::string sample = std::string(page) + ".png";
    benchmark::RegisterBenchmark((std::string(name) + "/" + page).c_str(),
                                 [=](benchmark::State& state) { function(state, sample.c_str()); })
        ->Unit(benchmark::kMillisecond);
  }
}

}  // namespace

int main(int argc, char** argv) {
  Register("AbicDecode", AbicDecode);
  Register("AbicEncode", AbicEncode);
#ifdef KZ_HAVE_JBIG
  Register("JbigDecode", JbigDecode);
  Register("JbigEncode", JbigEncode);
#endif
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
