// The filter's entry points on files in the page cache, each beside the least
// that the same bytes cost: FileBenchmark FOLDER [Google Benchmark's options].
// The folder takes the inputs, some gigabytes, and keeps them for the next run.
#include <benchmark/benchmark.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include "API/Filters/Ica/Common/Ica.h"
#include "Benchmarks/FileInputs.h"
#include "Host/Fax/Fax.h"
#include "Toolkit/Documents/Document.h"

namespace {

namespace fs = std::filesystem;

// Takes a row as a viewer would: copies it into a bitmap of its own.
int TakeRow(void* context, _BITMAPHANDLE* bitmap, unsigned char* row, uint32_t, int index, int,
            void*) {
  K_PutBitmapRow(static_cast<_BITMAPHANDLE*>(context), row, index,
                 static_cast<size_t>(bitmap->nBytesPerLine));
  return K_SUCCESS;
}

void Load(benchmark::State& state, const std::string& file, int page) {
  PageToLoad picture(file, page);
  picture.Load(TakeRow);  // touches the bitmap's memory
  for (auto _ : state) {
    if (picture.Load(TakeRow) != K_SUCCESS) state.SkipWithError("not loaded");
  }
}

void Describe(benchmark::State& state, const std::string& file) {
  for (auto _ : state) {
    if (CountPages(file) <= 0) state.SkipWithError("not described");
  }
}

// Reads the file once from its start in pieces of `piece` bytes, 0: at once.
void ReadOnce(benchmark::State& state, const std::string& file, size_t piece) {
  std::vector<char> buffer(piece == 0 ? fs::file_size(file) : piece);
  for (auto _ : state) benchmark::DoNotOptimize(ReadWhole(file, buffer));
}

void Save(benchmark::State& state, const std::string& file, int format, int bits) {
  const BitmapPointer bitmap = MakeBitmap(bits);
  for (auto _ : state) {
    if (SaveBitmap(file, bitmap.get(), format, 1) != K_SUCCESS) state.SkipWithError("not saved");
  }
}

void LoadWhole(benchmark::State& state, const std::string& file) {
  kz::Document document(file);
  kz::Bitmap bitmap;
  if (!document.Open().Ok()) state.SkipWithError("not opened");
  for (auto _ : state) {
    if (!document.LoadPicture(1, {}, bitmap).Ok()) state.SkipWithError("not loaded");
  }
}

void ReadTifAlone(benchmark::State& state, const std::string& file) {
  for (auto _ : state) benchmark::DoNotOptimize(ReadTif(file));
}

void Index(benchmark::State& state, const std::string& file) {
  for (auto _ : state) {
    kz::PageIndex index;
    if (!kz::IndexPages(file, index).Ok()) state.SkipWithError("no index");
  }
}

// fltSave of a page of text as a new file.
void SavePage(benchmark::State& state, const std::string& file, int format, int rows, bool gray) {
  const BitmapPointer bitmap = gray ? MakeGrayPage() : MakePage(rows);
  for (auto _ : state) {
    if (SaveBitmap(file, bitmap.get(), format, 1) != K_SUCCESS) state.SkipWithError("not saved");
  }
}

void WriteOnce(benchmark::State& state, const std::string& file) {
  const std::vector<char> bytes(32768 / 8 * size_t{8000}, 'x');
  for (auto _ : state) WriteWhole(file, bytes);
}

// Appends a page in place and takes it away again, untimed.
void Append(benchmark::State& state, const std::string& file) {
  const BitmapPointer bitmap = MakePage();
  const auto size = fs::file_size(file);
  std::vector<char> end = ReadTail(file, 64);
  for (auto _ : state) {
    if (SaveBitmap(file, bitmap.get(), 73, 2) != K_SUCCESS) state.SkipWithError("not appended");
    state.PauseTiming();
    RestoreTail(file, size, end);
    state.ResumeTiming();
  }
}

constexpr int kPagesEach = 40;

void LoadPages(const std::string& file) {
  PageToLoad picture(file, 1);
  for (int n = 0; n < kPagesEach; ++n) picture.Load(TakeRow);
}

void LoadOnThreads(benchmark::State& state, const std::string& file, int threads) {
  for (auto _ : state) {
    std::vector<std::thread> pool;
    for (int i = 0; i < threads; ++i) pool.emplace_back(LoadPages, file);
    for (std::thread& thread : pool) thread.join();
  }
}

// What the machine gives to two that share nothing.
void LoadInProcesses(benchmark::State& state, const std::string& file, int processes) {
  for (auto _ : state) {
    for (int i = 0; i < processes; ++i) {
      if (::fork() != 0) continue;
      LoadPages(file);
      ::_exit(0);
    }
    while (::wait(nullptr) > 0) continue;
  }
}

void DecodeAlone(benchmark::State& state, const std::string& file) {
  const FaxInMemory data(file);
  for (auto _ : state) {
    if (data.Decode(TakeRow) != K_SUCCESS) state.SkipWithError("not decoded");
  }
}

void DecodeJpegAlone(benchmark::State& state, const std::string& file) {
  const std::vector<unsigned char> jpeg = JpegOf(file);
  std::vector<unsigned char> picture;
  DecodeJpeg(jpeg, picture);  // which gives it its memory
  for (auto _ : state) benchmark::DoNotOptimize(DecodeJpeg(jpeg, picture));
}

void Run(benchmark::State& state, const std::string& command) {
  for (auto _ : state) {
    if (RunCommand(command) != 0) state.SkipWithError("the command failed");
  }
}

// A figure of /proc/self/status in KiB.
long StatusFigure(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(name + ":")) return std::stol(line.substr(name.size() + 1));
  }
  return -1;
}

// Prints the most memory in KiB that the load of a fax page takes beyond its
// bitmap. A load of a small page before it warms what stays. The bitmap takes
// none, since nobody touches its rows.
int PrintPeakMemory(const std::string& warmUp, const std::string& file) {
  const auto dropRow = [](void*, _BITMAPHANDLE*, unsigned char*, uint32_t, int, int, void*) {
    return K_SUCCESS;
  };
  if (PageToLoad(warmUp, 1).Load(dropRow) != K_SUCCESS) return 1;
  PageToLoad picture(file, 1);
  std::ofstream("/proc/self/clear_refs") << 5 << std::flush;  // resets the peak
  const long before = StatusFigure("VmRSS");
  if (picture.Load(dropRow) != K_SUCCESS) return 1;
  std::printf("%ld\n", StatusFigure("VmHWM") - before);
  return 0;
}

// Prints the most memory in bytes that indexing takes for each of a million pages.
int PrintIndexMemory(const std::string& file) {
  std::ofstream("/proc/self/clear_refs") << 5 << std::flush;
  const long before = StatusFigure("VmRSS");
  kz::PageIndex index;
  if (!kz::IndexPages(file, index).Ok() || index.pages.size() != kMillion) return 1;
  std::printf("%ld\n", (StatusFigure("VmHWM") - before) * 1024 / kMillion);
  return 0;
}

template <typename Function, typename... Arguments>
void Add(const std::string& name, Function function, Arguments... arguments) {
  benchmark::RegisterBenchmark(name.c_str(), function, arguments...)
      ->Unit(benchmark::kMicrosecond)
      ->UseRealTime();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  const fs::path folder = argv[1];
  const Inputs in = MakeInputs(folder);
  const std::string out = folder / "out";
  if (argc > 2 && argv[2] == std::string("--peak-memory"))
    return PrintPeakMemory(in.growing[0].file, in.text);
  if (argc > 2 && argv[2] == std::string("--index-memory"))
    return PrintIndexMemory(in.millionPictures);

  Add("load-g4/ours", Load, in.text, 1);
  Add("load-g4/decoder-alone", DecodeAlone, in.text);
  Add("load-uncompressed/ours", Load, in.uncompressed, 1);
  Add("load-uncompressed/read-once", ReadOnce, in.uncompressed, size_t{0});
  Add("load-jpeg/ours", Load, in.jpeg, 1);
  Add("load-jpeg/libjpeg-turbo", DecodeJpegAlone, in.jpeg);
  Add("picture-uncompressed/ours", LoadWhole, in.colour);
  Add("picture-uncompressed/libtiff", ReadTifAlone, in.colourTif);
  Add("picture-jpeg/ours", LoadWhole, in.jpeg);
  Add("picture-jpeg/libjpeg-turbo", DecodeJpegAlone, in.jpeg);
  Add("count-pages-1GiB/ours", Describe, in.documents.back());
  Add("count-pages-1GiB/read-once", ReadOnce, in.documents.back(), size_t{1} << 20);
  for (const auto& [name, file] : {std::pair("index-million-pictures/", in.millionPictures),
                                   std::pair("index-million-texts/", in.millionTexts)}) {
    Add(std::string(name) + "ours", Index, file);
    Add(std::string(name) + "read-once", ReadOnce, file, size_t{1} << 20);
  }
  Add("save-uncompressed/ours", Save, out, 254, 1);
  Add("save-uncompressed/write-once", WriteOnce, out);
  Add("save-page/g4", SavePage, out, 73, kTextHeight, false);
  Add("save-page/g3-2d", SavePage, out, 72, kTextHeight, false);
  Add("save-page/g3", SavePage, out, 71, kTextHeight, false);
  Add("save-page/mmr", SavePage, out, 117, kTextHeight, false);
  Add("save-page/abic", SavePage, out, 190, kTextHeight, false);
  Add("save-page/uncompressed", SavePage, out, 253, kTextHeight, false);
  Add("save-page/jpeg", SavePage, out, 377, kTextHeight, true);
  Add("append-1GiB/ours", Append, in.documents.back());
  Add("append-1GiB/1MiB", Append, in.documents.front());
  Add("threads/two", LoadOnThreads, in.text, 2);
  Add("threads/one", LoadOnThreads, in.text, 1);
  Add("threads/two-processes", LoadInProcesses, in.text, 2);
  const std::string kzica = std::string(KZ_BINARY_DIR "/bin/kzica extract --all ");
  Add("extract-200-g4/ours", Run, kzica + in.pages200 + " " + out + ".tif");
  Add("extract-200-g4/tiffcp", Run, "tiffcp -c g4 " + in.tiff200 + " " + out + "2.tif");
  for (const auto& [file, pages] : in.growing) {
    const std::string size = std::to_string(pages);
    Add("grow-count/" + size, Describe, file);
    Add("grow-index/" + size, Index, file);
    Add("grow-load-last/" + size, Load, file, pages);
    Add("grow-append/" + size, Append, file);
    Add("grow-assemble/" + size, Run,
        std::string(KZ_BINARY_DIR "/bin/kzica assemble ") + out + ".mda " + file);
  }
  for (const auto& [file, rows] : in.tall) {
    const std::string size = std::to_string(rows);
    Add("grow-load/" + size, Load, file, 1);
    Add("grow-save/" + size, SavePage, out, 73, rows, false);
  }
  --argc;
  argv[1] = argv[0];
  benchmark::Initialize(&argc, argv + 1);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
