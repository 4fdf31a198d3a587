// Pictures into png data in memory, ours beside libpng's and Leptonica's defaults in one
// run, and ImageMagick's command: its time less that of the same command that writes nothing.
#include <benchmark/benchmark.h>
#include <leptonica/allheaders.h>
#include <png.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "Toolkit/Base/Bitmap.h"
#include "Toolkit/Imaging/RowConversion.h"
#include "Toolkit/Pictures/PictureFile.h"

namespace {

namespace fs = std::filesystem;

void Check(bool ok, const std::string& what) {
  if (ok) return;
  std::fprintf(stderr, "PictureBenchmark: %s\n", what.c_str());
  std::exit(1);
}

kz::Bitmap NewBitmap(int width, int height, int bits) {
  kz::Bitmap bitmap;
  Check(bitmap.Create(width, height, bits, K_ORDER_RGB) == K_SUCCESS, "no memory");
  bitmap.SetResolution(300, 300);
  return bitmap;
}

// A sample picture, repeated until it fills a page of 2550 x 3300 pixels.
kz::Bitmap MakePage(const char* sample) {
  kz::PictureReader reader;
  kz::Bitmap from;
  const std::string path = std::string(KZ_SAMPLES "/") + sample;
  Check(reader.Open(path).Ok() && reader.Read(1, from).Ok(), path);
  kz::Bitmap page = NewBitmap(2550, 3300, 1);
  for (int y = 0; y < page.Height(); ++y) {
    const unsigned char* row = from.TopDownRow(y % from.Height());
    for (int x = 0; x < page.Width(); ++x) {
      const int at = x % from.Width();
      if ((row[at / 8] & 0x80 >> at % 8) != 0)
        page.TopDownRow(y)[x / 8] |= static_cast<unsigned char>(0x80 >> x % 8);
    }
  }
  return page;
}

// The page as a scanner of half the resolution sees it, with a little noise.
kz::Bitmap MakeScan(const kz::Bitmap& page, int noise) {
  kz::Bitmap scan = NewBitmap(page.Width() / 2, page.Height() / 2, 8);
  std::mt19937 random(1);
  std::normal_distribution<double> grain(0, noise);
  for (int y = 0; y < scan.Height(); ++y) {
    for (int x = 0; x < scan.Width(); ++x) {
      int white = 0;
      for (int i = 0; i < 4; ++i) {
        const int at = 2 * x + i % 2;
        const unsigned char* row = page.TopDownRow(2 * y + i / 2);
        white += (row[at / 8] & 0x80 >> at % 8) != 0 ? 0 : 1;
      }
      const double value = 20 + white * 57.5 + grain(random);
      scan.TopDownRow(y)[x] = static_cast<unsigned char>(std::lround(std::min(value, 255.0)));
    }
  }
  return scan;
}

// Shades, edges and the noise of a camera.
kz::Bitmap MakePhoto() {
  kz::Bitmap photo = NewBitmap(1500, 1000, 24);
  std::mt19937 random(1);
  std::normal_distribution<double> grain(0, 1.5);
  for (int y = 0; y < photo.Height(); ++y) {
    for (int x = 0; x < photo.Width(); ++x) {
      const double wave = std::sin(x / 90.0) + std::cos(y / 70.0) + std::sin((x + 2 * y) / 31.0);
      const double edge = (x / 200 + y / 150) % 3 * 25;
      for (int c = 0; c < 3; ++c) {
        const double value = 100 + wave * (20 + 5 * c) + edge + grain(random);
        photo.TopDownRow(y)[3 * x + c] = static_cast<unsigned char>(std::lround(value));
      }
    }
  }
  return photo;
}

struct Picture {
  kz::Bitmap bitmap;
  std::string file;  // as an uncompressed one
  size_t size;       // of our png
  PIX* pix;
};

void Ours(benchmark::State& state, const Picture* from) {
  const Picture& picture = *from;
  kz::PictureWriter writer;
  Check(writer.Open(picture.file + ".png").Ok(), picture.file);
  for (auto _ : state) {
    kz::PictureWriter::PreparedPage page;
    if (!writer.Prepare(picture.bitmap, page).Ok()) state.SkipWithError("not coded");
  }
  state.counters["bytes"] = static_cast<double>(picture.size);
}

void Libpng(benchmark::State& state, const Picture* from) {
  const Picture& picture = *from;
  using Bytes = std::vector<unsigned char>;
  const int bits = picture.bitmap.BitsPerPixel();
  Bytes out;
  for (auto _ : state) {
    out.clear();
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(
        png, &out,
        [](png_structp writer, png_bytep bytes, size_t count) {
          auto& to = *static_cast<Bytes*>(png_get_io_ptr(writer));
          to.insert(to.end(), bytes, bytes + count);
        },
        [](png_structp) {});
    png_set_IHDR(png, info, static_cast<png_uint_32>(picture.bitmap.Width()),
                 static_cast<png_uint_32>(picture.bitmap.Height()), std::min(bits, 8),
                 bits == 24 ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    if (bits == 1) png_set_invert_mono(png);
    for (int y = 0; y < picture.bitmap.Height(); ++y) {
      png_write_row(png, picture.bitmap.TopDownRow(y));
    }
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
  }
  state.counters["bytes"] = static_cast<double>(out.size());
}

void Leptonica(benchmark::State& state, const Picture* from) {
  const Picture& picture = *from;
  size_t size = 0;
  for (auto _ : state) {
    l_uint8* data = nullptr;
    if (pixWriteMemPng(&data, &size, picture.pix, 0) != 0) state.SkipWithError("not coded");
    lept_free(data);
  }
  state.counters["bytes"] = static_cast<double>(size);
}

double Seconds(const std::string& command) {
  const auto start = std::chrono::steady_clock::now();
  if (std::system(command.c_str()) != 0) return -1;
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void ImageMagick(benchmark::State& state, const Picture* from) {
  const Picture& picture = *from;
  const std::string convert = "convert -limit thread 1 " + picture.file + " ";
  const std::string out = picture.file + ".other.png";
  for (auto _ : state) {
    const double all = Seconds(convert + "png:" + out);
    const double reading = Seconds(convert + "null:");
    if (all < 0 || reading < 0) state.SkipWithError("there is no ImageMagick");
    state.SetIterationTime(std::max(all - reading, 1e-6));
  }
  std::error_code ignored;
  state.counters["bytes"] = static_cast<double>(fs::file_size(out, ignored));
}

void Write(const std::string& file, const kz::Bitmap& bitmap) {
  kz::PictureWriter writer;
  Check(writer.Open(file).Ok() && writer.AddPage(bitmap).Ok() && writer.Commit().Ok(), file);
}

}  // namespace

int main(int argc, char** argv) {
  const fs::path folder = fs::temp_directory_path() / "kz-picture-benchmark";
  fs::create_directories(folder);
  struct Named {
    const char* name;
    kz::Bitmap bitmap;
  };
  std::vector<Named> named;
  named.push_back({"text", MakePage("letter.png")});
  named.push_back({"halftone", MakePage("halftone.png")});
  named.push_back({"grey", MakeScan(named[0].bitmap, 0)});
  named.push_back({"grey-noise", MakeScan(named[0].bitmap, 3)});
  named.push_back({"colour", MakePhoto()});
  std::vector<Picture> pictures(named.size());
  for (size_t i = 0; i < named.size(); ++i) {
    Picture& picture = pictures[i];
    picture.bitmap = std::move(named[i].bitmap);
    picture.file = folder / (std::string(named[i].name) + ".pnm");
    Write(picture.file, picture.bitmap);
    const std::string ours = picture.file + ".ours.png";
    Write(ours, picture.bitmap);
    picture.size = fs::file_size(ours);
    picture.pix = pixRead(ours.c_str());
    const auto add = [&](const char* who, auto run) {
      const std::string name = std::string("png/") + named[i].name + "/" + who;
      return benchmark::RegisterBenchmark(name.c_str(), run, &picture)
          ->Unit(benchmark::kMillisecond);
    };
    add("ours", Ours);
    add("libpng", Libpng);
    add("leptonica", Leptonica);
    if (std::system("convert -version >/dev/null 2>&1") == 0) {
      add("imagemagick", ImageMagick)->UseManualTime();
    }
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  for (Picture& picture : pictures) pixDestroy(&picture.pix);
  fs::remove_all(folder);
}
