#include "Toolkit/Pictures/Tiff/TiffSamples.h"

#include <algorithm>
#include <cstring>

#include "Host/Kernel/Kernel.h"

namespace kz {

namespace {

constexpr const char* kSource = "Toolkit/Pictures/TiffSamples";

struct LocalDeleter {
  void operator()(void* block) const { K_LocalFree(block, __LINE__, kSource); }
};
using LocalBytes = std::unique_ptr<unsigned char, LocalDeleter>;

bool IsMapped(const TiffTags& tags) { return tags.photometric == PHOTOMETRIC_PALETTE; }

// Samples of a pixel's colour: what stands after them is alpha or unspecified.
// 0 for colours that aren't read here.
int ColorSamples(uint16_t photometric, uint16_t compression) {
  switch (photometric) {
    case PHOTOMETRIC_MINISWHITE:
    case PHOTOMETRIC_MINISBLACK:
    case PHOTOMETRIC_PALETTE:
      return 1;
    case PHOTOMETRIC_RGB:
      return 3;
    case PHOTOMETRIC_YCBCR:
      // libjpeg makes RGB of them.
      return compression == COMPRESSION_JPEG ? 3 : 0;
    case PHOTOMETRIC_SEPARATED:
      return 4;
    default:
      return 0;
  }
}

// The value of 8 bits nearest to a mix of two of weights that sum to 255.
unsigned char Mix(int value, int weight, int other) {
  return static_cast<unsigned char>((value * weight + other * (255 - weight) + 127) / 255);
}

// Takes runs of samples into a bitmap of zeros.
class SampleTaker {
 public:
  SampleTaker(const TiffTags& tags, Bitmap& bitmap)
      : m_tags(tags),
        m_bitmap(bitmap),
        m_colors(ColorSamples(tags.photometric, tags.compression)),
        m_flip(IsGray(tags) &&
                       (tags.photometric == PHOTOMETRIC_MINISWHITE) != (bitmap.BitsPerPixel() == 1)
                   ? 0xFF
                   : 0) {}

  // Whether the pixels' colours depend on a sample.
  bool Wants(int sample) const { return sample < m_colors || sample == m_tags.alpha; }

  // The samples of `count` pixels from (x, y) on: all of each in turn, or those of
  // one plane.
  void Take(const unsigned char* from, uint32_t x, uint32_t y, uint32_t count, int plane) {
    unsigned char* row = m_bitmap.TopDownRow(static_cast<int>(y));
    if (m_tags.planes != PLANARCONFIG_CONTIG) {
      for (size_t i = 0; i < count; ++i) Store(row, x + i, plane, Value(from, i));
    } else if (m_tags.samples == 1 && m_tags.bitsPerSample == m_bitmap.BitsPerPixel() &&
               size_t{x} * m_tags.bitsPerSample % 8 == 0) {
      TakeBytes(from, row + size_t{x} * m_tags.bitsPerSample / 8, count);
    } else {
      for (int sample = 0; sample < m_tags.samples; ++sample) {
        if (!Wants(sample)) continue;
        auto index = static_cast<size_t>(sample);
        for (size_t i = 0; i < count; ++i, index += m_tags.samples) {
          Store(row, x + i, sample, Value(from, index));
        }
      }
    }
  }

 private:
  // Rows that are the bitmap's but for their sense.
  void TakeBytes(const unsigned char* from, unsigned char* to, size_t count) {
    const size_t bits = count * m_tags.bitsPerSample;
    const size_t bytes = (bits + 7) / 8;
    for (size_t i = 0; i < bytes; ++i) to[i] = static_cast<unsigned char>(from[i] ^ m_flip);
    to[bytes - 1] &= static_cast<unsigned char>(0xFF << (8 * bytes - bits));
  }

  // A sample as it is when the bitmap or its palette wants it so, else at 8 bits.
  int Value(const unsigned char* from, size_t index) const {
    const int bits = m_tags.bitsPerSample;
    if (bits == 16) {
      uint16_t wide;
      std::memcpy(&wide, from + 2 * index, 2);
      return (wide * 255 + 32767) / 65535;
    }
    if (bits == 8) return from[index];
    const size_t bit = index * m_tags.bitsPerSample;
    const int value = from[bit / 8] >> (8 - m_tags.bitsPerSample - bit % 8) & ((1 << bits) - 1);
    const bool asStored = IsMapped(m_tags) || bits == m_bitmap.BitsPerPixel();
    return asStored ? value : value * 255 / ((1 << bits) - 1);
  }

  void Store(unsigned char* row, size_t x, int sample, int value) {
    const int depth = m_bitmap.BitsPerPixel();
    if (depth < 8) {
      const size_t bit = x * static_cast<size_t>(depth);
      const int stored = (value ^ m_flip) & ((1 << depth) - 1);
      row[bit / 8] |= static_cast<unsigned char>(stored << (8 - depth - static_cast<int>(bit % 8)));
      return;
    }
    const int channels = depth / 8;
    unsigned char* pixel = row + x * static_cast<size_t>(channels);
    if (sample == m_tags.alpha) {
      for (int c = 0; c < channels; ++c) {
        pixel[c] = m_tags.associated
                       ? static_cast<unsigned char>(std::min(pixel[c] + 255 - value, 255))
                       : Mix(pixel[c], value, 255);
      }
    } else if (m_tags.photometric != PHOTOMETRIC_SEPARATED) {
      // The bitmap's colours come blue first.
      pixel[channels == 1 ? 0 : 2 - sample] = static_cast<unsigned char>(value ^ m_flip);
    } else if (sample < 3) {
      pixel[2 - sample] = static_cast<unsigned char>(255 - value);
    } else {
      for (int c = 0; c < 3; ++c) pixel[c] = Mix(pixel[c], 255 - value, 0);
    }
  }

  const TiffTags& m_tags;
  Bitmap& m_bitmap;
  int m_colors;
  int m_flip;
};

Outcome SetColorMap(const TiffTags& tags, Bitmap& bitmap) {
  const int colors = 1 << tags.bitsPerSample;
  bool wide = false;  // some writers store 8-bit values
  for (const uint16_t* map : tags.colorMap) {
    wide = wide || std::any_of(map, map + colors, [](uint16_t value) { return value > 255; });
  }
  unsigned char entries[256][4] = {};
  for (int i = 0; i < colors; ++i) {
    for (int c = 0; c < 3; ++c) {
      entries[i][c] =
          static_cast<unsigned char>(wide ? tags.colorMap[c][i] >> 8 : tags.colorMap[c][i]);
    }
  }
  const int status = bitmap.SetPalette(entries[0], colors);
  return status == K_SUCCESS ? Outcome{} : Failure(status);
}

// A buffer for `bytes`, of which `needed` are looked at, to decode `times` times.
Outcome MakeBuffer(tmsize_t bytes, uint64_t needed, uint64_t times, const Bitmap& bitmap,
                   LocalBytes& buffer) {
  // Nobody needs so many samples to a pixel, or tiles so much larger than the page.
  constexpr uint64_t kDecodedToBitmap = 16;
  constexpr uint64_t kDecoded = uint64_t{16} << 20;
  const uint64_t most = kDecoded + kDecodedToBitmap * static_cast<uint64_t>(bitmap.BytesPerLine()) *
                                       static_cast<uint64_t>(bitmap.Height());
  const auto size = static_cast<uint64_t>(bytes);
  if (bytes <= 0 || size < needed) return Failure(K_ERROR_INVALID_FORMAT);
  if (size > most / times) {
    return Failure(K_ERROR_INVALID_FORMAT, "its samples or tiles are out of all proportion");
  }
  buffer.reset(static_cast<unsigned char*>(
      K_LocalAllocInit(static_cast<size_t>(size), 1, __LINE__, kSource)));
  return buffer == nullptr ? Failure(K_ERROR_NO_MEMORY) : Outcome{};
}

uint64_t RowBytes(const TiffTags& tags, uint32_t width) {
  const uint64_t samples = tags.planes == PLANARCONFIG_CONTIG ? tags.samples : 1;
  return (width * samples * tags.bitsPerSample + 7) / 8;
}

// Planes to go through: contiguous samples are one.
int Planes(const TiffTags& tags) { return tags.planes == PLANARCONFIG_CONTIG ? 1 : tags.samples; }

Outcome ReadStrips(TiffFile& file, const TiffTags& tags, Bitmap& bitmap) {
  LocalBytes row;
  Outcome outcome = MakeBuffer(TIFFScanlineSize(file.Get()), RowBytes(tags, tags.width),
                               tags.height, bitmap, row);
  SampleTaker taker(tags, bitmap);
  for (int plane = 0; outcome.Ok() && plane < Planes(tags); ++plane) {
    if (!taker.Wants(plane)) continue;
    for (uint32_t y = 0; y < tags.height; ++y) {
      if (TIFFReadScanline(file.Get(), row.get(), y, static_cast<uint16_t>(plane)) < 0 ||
          file.Complained()) {
        return file.Complaint(K_ERROR_INVALID_FORMAT);
      }
      taker.Take(row.get(), 0, y, tags.width, plane);
    }
  }
  return outcome;
}

Outcome ReadTiles(TiffFile& file, const TiffTags& tags, Bitmap& bitmap) {
  uint32_t width = 0, height = 0;
  TIFFGetField(file.Get(), TIFFTAG_TILEWIDTH, &width);
  TIFFGetField(file.Get(), TIFFTAG_TILELENGTH, &height);
  if (width == 0 || height == 0) return Failure(K_ERROR_INVALID_FORMAT);
  const uint64_t across = (uint64_t{tags.width} + width - 1) / width;
  const uint64_t down = (uint64_t{tags.height} + height - 1) / height;
  const tmsize_t tileRow = TIFFTileRowSize(file.Get());
  LocalBytes tile;
  if (tileRow <= 0 || static_cast<uint64_t>(tileRow) < RowBytes(tags, width)) {
    return Failure(K_ERROR_INVALID_FORMAT);
  }
  Outcome outcome = MakeBuffer(TIFFTileSize(file.Get()), static_cast<uint64_t>(tileRow) * height,
                               across * down, bitmap, tile);
  SampleTaker taker(tags, bitmap);
  for (int plane = 0; outcome.Ok() && plane < Planes(tags); ++plane) {
    if (!taker.Wants(plane)) continue;
    for (uint64_t i = 0; i < across * down; ++i) {
      const auto x = static_cast<uint32_t>(i % across * width);
      const auto y = static_cast<uint32_t>(i / across * height);
      const auto sample = static_cast<uint16_t>(plane);
      if (TIFFReadTile(file.Get(), tile.get(), x, y, 0, sample) < 0 || file.Complained()) {
        return file.Complaint(K_ERROR_INVALID_FORMAT);
      }
      const uint32_t columns = std::min(width, tags.width - x);
      for (uint32_t row = 0; row < std::min(height, tags.height - y); ++row) {
        taker.Take(tile.get() + static_cast<ptrdiff_t>(row) * tileRow, x, y + row, columns, plane);
      }
    }
  }
  return outcome;
}

}  // namespace

bool IsGray(const TiffTags& tags) {
  return tags.photometric == PHOTOMETRIC_MINISWHITE || tags.photometric == PHOTOMETRIC_MINISBLACK;
}

TiffTags ReadTiffTags(TIFF* tiff) {
  TiffTags tags;
  TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &tags.width);
  TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &tags.height);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &tags.bitsPerSample);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &tags.samples);
  TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &tags.photometric);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_COMPRESSION, &tags.compression);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &tags.planes);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLEFORMAT, &tags.sampleFormat);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_ORIENTATION, &tags.orientation);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_INKSET, &tags.inkSet);
  if (IsMapped(tags)) {
    TIFFGetField(tiff, TIFFTAG_COLORMAP, &tags.colorMap[0], &tags.colorMap[1], &tags.colorMap[2]);
  }
  tags.tiled = TIFFIsTiled(tiff) != 0;
  if (tags.samples == 1) tags.planes = PLANARCONFIG_CONTIG;
  uint16_t extras = 0;
  const uint16_t* kinds = nullptr;
  TIFFGetFieldDefaulted(tiff, TIFFTAG_EXTRASAMPLES, &extras, &kinds);
  for (int i = extras - 1; i >= 0; --i) {
    if (kinds[i] != EXTRASAMPLE_ASSOCALPHA && kinds[i] != EXTRASAMPLE_UNASSALPHA) continue;
    tags.alpha = tags.samples - extras + i;
    tags.associated = kinds[i] == EXTRASAMPLE_ASSOCALPHA;
  }
  return tags;
}

int SampleDepth(const TiffTags& tags) {
  const int colors = ColorSamples(tags.photometric, tags.compression);
  const int bits = tags.bitsPerSample;
  if (colors == 0 || tags.samples < colors) return 0;
  if (bits != 1 && bits != 2 && bits != 4 && bits != 8 && bits != 16) return 0;
  if (tags.sampleFormat != SAMPLEFORMAT_UINT && tags.sampleFormat != SAMPLEFORMAT_VOID) return 0;
  if (tags.alpha >= 0 && tags.alpha < colors) return 0;
  if (IsMapped(tags) && (bits > 8 || tags.colorMap[0] == nullptr || tags.alpha >= 0)) return 0;
  if (tags.photometric == PHOTOMETRIC_SEPARATED && tags.inkSet != INKSET_CMYK) return 0;
  if (tags.photometric == PHOTOMETRIC_YCBCR &&
      (tags.planes != PLANARCONFIG_CONTIG || tags.samples != colors || bits != 8)) {
    return 0;
  }
  if (colors > 1) return 24;
  return tags.samples == 1 && bits != 2 && bits != 16 ? bits : 8;
}

Outcome ReadTiffSamples(TiffFile& file, const TiffTags& tags, Bitmap& bitmap) {
  const int status =
      bitmap.Create(static_cast<int>(tags.width), static_cast<int>(tags.height), SampleDepth(tags));
  if (status != K_SUCCESS) return Failure(status);
  if (IsMapped(tags)) {
    Outcome outcome = SetColorMap(tags, bitmap);
    if (!outcome.Ok()) return outcome;
  }
  if (tags.compression == COMPRESSION_JPEG && tags.photometric == PHOTOMETRIC_YCBCR) {
    TIFFSetField(file.Get(), TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
  }
  file.BeginData();
  return tags.tiled ? ReadTiles(file, tags, bitmap) : ReadStrips(file, tags, bitmap);
}

}  // namespace kz
