#include "Benchmarks/FileInputs.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string_view>

#include <jpeglib.h>
#include <tiffio.h>

#include "Format/FieldBuilder.h"
#include "Host/Fax/Fax.h"
#include "Toolkit/Documents/Document.h"
#include "Toolkit/Editing/SavePage.h"
#include "Toolkit/Imaging/MemoryLoader.h"
#include "Toolkit/Imaging/MemorySaver.h"
#include "Toolkit/Imaging/RowConversion.h"
#include "Toolkit/Pictures/PictureFile.h"

namespace {

namespace fs = std::filesystem;

constexpr int kTextWidth = 2550;
constexpr int kBareGroup4 = 79;
constexpr int kDocumentGroup4 = 73;
constexpr int kDocumentJpeg = 377;
constexpr int kBareUncompressed = 254;

void Check(bool done, const std::string& what) {
  if (!done) throw std::runtime_error(what);
}

BitmapPointer NewBitmap(int width, int height, int bits) {
  BitmapPointer bitmap(new _BITMAPHANDLE);
  Check(K_CreateBitmap(bitmap.get(), sizeof(_BITMAPHANDLE), width, height, bits, K_ORDER_BGR,
                       K_VIEW_TOP_DOWN) == K_SUCCESS,
        "no bitmap");
  bitmap->nXResolution = bitmap->nYResolution = 300;
  return bitmap;
}

// Fills a 1-bit bitmap with a sample picture, repeated.
void Tile(_BITMAPHANDLE* bitmap, const std::string& sample) {
  kz::PictureReader reader;
  kz::Bitmap tile;
  Check(reader.Open(KZ_SAMPLES "/" + sample).Ok() && reader.Read(1, tile).Ok(), sample);
  for (int y = 0; y < bitmap->nHeight; ++y) {
    const unsigned char* from = tile.TopDownRow(y % tile.Height());
    unsigned char* to = bitmap->pRows + static_cast<ptrdiff_t>(y) * bitmap->nBytesPerLine;
    for (int x = 0; x < bitmap->nWidth; ++x) {
      const int source = x % tile.Width();
      const bool black = (from[source / 8] >> (7 - source % 8) & 1) != 0;
      if (black) to[x / 8] = static_cast<unsigned char>(to[x / 8] | 0x80 >> x % 8);
    }
  }
}

// A document of `pages` copies of the page of a one-page document that the filter
// has written: Begin Document, the page, End Document.
void Repeat(const std::string& onePage, const std::string& out, int pages) {
  constexpr size_t prologue = 64;
  constexpr size_t epilogue = 16;
  const std::vector<char> bytes = ReadTail(onePage, fs::file_size(onePage));
  std::ofstream file(out, std::ios::binary);
  file.write(bytes.data(), prologue);
  const auto length = static_cast<std::streamsize>(bytes.size() - prologue - epilogue);
  for (int i = 0; i < pages; ++i) file.write(bytes.data() + prologue, length);
  file.write(bytes.data() + bytes.size() - epilogue, epilogue);
  Check(file.good(), "can't write " + out);
}

// A field with its 0x5A.
std::string Field(uint16_t code, std::string_view data) {
  return kz::FieldBuilder(code, true).PutBytes(data).Finish();
}

// A million pages: each an image of 16 x 8 pixels with the fields that writers put around
// one, or without `picture` a line of text.
void MakeMillionPages(const std::string& out, bool picture) {
  namespace sf = kz::sf;
  using namespace std::literals;
  const std::string name(kz::kFieldNameLength, '\x40');
  std::string page = Field(sf::kBeginPage, name);
  if (picture) {
    page += Field(sf::kBeginImageObject, name) + Field(sf::kBeginObjectEnvironment, name);
    page += Field(sf::kObjectAreaDescriptor,
                  "\x03\x43\x01\x08\x4B\0\0\x09\x60\x09\x60\x09\x4C\x02\0\0\x10\0\0\x10"sv);
    page += Field(sf::kObjectAreaPosition, "\x01\x17"s + std::string(22, '\0'));
    page += Field(sf::kMapImageObject, "\0\x05\x03\x04\0"sv);
    page += Field(sf::kImageDataDescriptor, "\0\x0B\xB8\x0B\xB8\0\x10\0\x08"sv);
    page += Field(sf::kEndObjectEnvironment, name);
    page += Field(sf::kImagePictureData,
                  "\x70\x04\0\0\0\0\x91\x01\xFF\x94\x09\0\x0B\xB8\x0B\xB8\0\x10\0\x08"
                  "\x95\x02\x03\x01\x96\x01\x01\xFE\x92\0\x10"s +
                      std::string(16, '\xAA') + "\x93\0\x71\0"s);
    page += Field(sf::kEndImageObject, name);
  } else {
    page += Field(sf::kBeginActiveEnvironment, name);
    page += Field(sf::kPageDescriptor, "\0\0\x09\x60\x09\x60\0\x27\x60\0\x33\x90\0\0\0"sv);
    page += Field(sf::kEndActiveEnvironment, name) + Field(sf::kBeginText, name);
    page +=
        Field(sf::kPresentationText, "\x2B\xD3\x04\xC6\0\x10\x22\xDA"s + std::string(30, '\xC8'));
    page += Field(sf::kEndText, name);
  }
  page += Field(sf::kEndPage, name);
  std::ofstream file(out, std::ios::binary);
  file << Field(sf::kBeginDocument, name + "\0\0"s);
  for (int i = 0; i < kMillion; ++i) file << page;
  file << Field(sf::kEndDocument, name);
  Check(file.good(), "can't write " + out);
}

}  // namespace

void BitmapDeleter::operator()(_BITMAPHANDLE* bitmap) const {
  K_FreeBitmap(bitmap);
  delete bitmap;
}

BitmapPointer MakeBitmap(int bitsPerPixel) { return NewBitmap(32767, 8000, bitsPerPixel); }

BitmapPointer MakePage(int height) {
  BitmapPointer bitmap = NewBitmap(kTextWidth, height, 1);
  Tile(bitmap.get(), "letter.png");
  return bitmap;
}

BitmapPointer MakeGrayPage() {
  const BitmapPointer page = MakePage(kTextHeight);
  BitmapPointer gray = NewBitmap(kTextWidth, kTextHeight, 8);
  for (int y = 0; y < kTextHeight; ++y) {
    const unsigned char* from = page->pRows + static_cast<ptrdiff_t>(y) * page->nBytesPerLine;
    unsigned char* to = gray->pRows + static_cast<ptrdiff_t>(y) * gray->nBytesPerLine;
    for (int x = 0; x < kTextWidth; ++x) to[x] = (from[x / 8] << x % 8 & 0x80) != 0 ? 0 : 255;
  }
  return gray;
}

PageToLoad::PageToLoad(const std::string& file, int page) : m_file(file) {
  m_options.nPageNumber = page;
  _IMAGEFILEINFO info = {};
  _INFODISPATCH describe{K_RedirectedOpen(file.c_str(), K_OPEN_READ, 0), &info, nullptr,
                         &m_options};
  Check(fltInfo(&describe) == K_SUCCESS, file);
  K_RedirectedClose(describe.hFile);
  m_bitmap = NewBitmap(static_cast<int>(info.nWidth), static_cast<int>(info.nHeight),
                       static_cast<int>(info.nBitsPerPixel));
}

int PageToLoad::Load(K_RowCallback callback) {
  _LOADDISPATCH load = {};
  load.pszFileName = m_file.c_str();
  load.pBitmap = m_bitmap.get();
  load.pfnCallback = callback;
  load.pContext = m_bitmap.get();
  load.pLoadOptions = &m_options;
  load.pfnLoadMemory = kz::LoadMemory;
  load.pfnSetLoadInfoCallback = kz::SetLoadInfoCallback;
  return fltLoad(&load);
}

int SaveBitmap(const std::string& file, _BITMAPHANDLE* bitmap, int format, int page) {
  _SAVEOPTIONS options{0, page};
  _SAVEDISPATCH save = {};
  save.pszFileName = file.c_str();
  save.pBitmap = bitmap;
  save.nBitsPerPixel = bitmap->nBitsPerPixel;
  save.nFormat = format;
  save.nQFactor = 20;
  save.pSaveOptions = &options;
  save.pfnBeginRows = kz::BeginRows;
  save.pfnEndRows = kz::EndRows;
  save.pfnGetRow = kz::GetRow;
  save.pfnSaveToMemory = kz::SaveToMemory;
  return fltSave(&save);
}

int CountPages(const std::string& file) {
  _LOADOPTIONS options = {};
  options.nPageNumber = 1;
  _INFOOPTIONS count{K_INFO_TOTAL_PAGES};
  _IMAGEFILEINFO info = {};
  _INFODISPATCH describe{K_RedirectedOpen(file.c_str(), K_OPEN_READ, 0), &info, &count, &options};
  const int status = fltInfo(&describe);
  K_RedirectedClose(describe.hFile);
  return status == K_SUCCESS ? static_cast<int>(info.nTotalPages) : 0;
}

size_t ReadWhole(const std::string& file, std::vector<char>& buffer) {
  const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
  size_t total = 0;
  for (ssize_t n; (n = ::read(descriptor, buffer.data(), buffer.size())) > 0;)
    total += static_cast<size_t>(n);
  ::close(descriptor);
  return total;
}

void WriteWhole(const std::string& file, const std::vector<char>& bytes) {
  const int descriptor = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  Check(::write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
        "can't write " + file);
  ::close(descriptor);
}

std::vector<char> ReadTail(const std::string& file, size_t count) {
  std::vector<char> tail(count);
  std::ifstream in(file, std::ios::binary);
  in.seekg(-static_cast<std::streamoff>(count), std::ios::end);
  in.read(tail.data(), static_cast<std::streamsize>(count));
  Check(in.good(), "can't read " + file);
  return tail;
}

void RestoreTail(const std::string& file, uintmax_t size, const std::vector<char>& tail) {
  fs::resize_file(file, size);
  std::fstream out(file, std::ios::binary | std::ios::in | std::ios::out);
  out.seekp(-static_cast<std::streamoff>(tail.size()), std::ios::end);
  out.write(tail.data(), static_cast<std::streamsize>(tail.size()));
  Check(out.good(), "can't write " + file);
}

int RunCommand(const std::string& command) {
  return std::system(command.c_str());  // NOLINT(cert-env33-c): commands of this program's own
}

FaxInMemory::FaxInMemory(const std::string& file) {
  kz::PictureInfo info;
  Check(kz::DescribePicture(file, 1, info).Ok() && kz::ReadImageData(file, 1, m_data).Ok(), file);
  m_bitmap = NewBitmap(info.width, info.height, 1);
}

int FaxInMemory::Decode(K_RowCallback callback) const {
  struct Source {
    const std::vector<unsigned char>* data;
    size_t position;
  } source{&m_data, 0};
  K_ReadRoutine read = [](tagHANDLE*, unsigned char* buffer, unsigned count, void* userData) {
    auto* from = static_cast<Source*>(userData);
    const size_t n = std::min<size_t>(count, from->data->size() - from->position);
    std::memcpy(buffer, from->data->data() + from->position, n);
    from->position += n;
    return static_cast<int>(n);
  };
  const auto exchange = [&] {
    K_FilterIO(nullptr, &read, nullptr, nullptr, nullptr, nullptr, &source, nullptr, nullptr,
               nullptr);
  };
  _BITMAPHANDLE* bitmap = m_bitmap.get();
  _LOADDISPATCH dispatch = {};
  _LOADINFO info = {};
  info.nFormat = K_FAX_G4;
  info.nWidth = static_cast<uint32_t>(bitmap->nWidth);
  info.nHeight = static_cast<uint32_t>(bitmap->nHeight);
  info.nBitsPerPixel = 1;
  exchange();
  const int status = K_LoadRawFax(&dispatch, nullptr, &info, bitmap, bitmap, callback, 1, nullptr);
  exchange();
  return status;
}

std::vector<unsigned char> JpegOf(const std::string& file) {
  std::vector<unsigned char> data;
  Check(kz::ReadImageData(file, 1, data).Ok(), file);
  return data;
}

size_t DecodeJpeg(const std::vector<unsigned char>& jpeg, std::vector<unsigned char>& picture) {
  jpeg_decompress_struct decoder;
  jpeg_error_mgr errors;
  decoder.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&decoder);
  jpeg_mem_src(&decoder, jpeg.data(), jpeg.size());
  jpeg_read_header(&decoder, TRUE);
  decoder.out_color_space = JCS_EXT_BGR;
  jpeg_start_decompress(&decoder);
  const size_t rowBytes = size_t{decoder.output_width} * 3;
  const size_t size = rowBytes * decoder.output_height;
  picture.resize(size);
  while (decoder.output_scanline < decoder.output_height) {
    JSAMPROW row = picture.data() + decoder.output_scanline * rowBytes;
    jpeg_read_scanlines(&decoder, &row, 1);
  }
  jpeg_finish_decompress(&decoder);
  jpeg_destroy_decompress(&decoder);
  return size;
}

size_t ReadTif(const std::string& file) {
  TIFF* tiff = TIFFOpen(file.c_str(), "r");
  if (tiff == nullptr) return 0;
  size_t size = 0;
  const size_t room = fs::file_size(file);
  const std::unique_ptr<unsigned char[]> picture(new unsigned char[room]);
  for (uint32_t strip = 0; strip < TIFFNumberOfStrips(tiff); ++strip) {
    const tmsize_t got =
        TIFFReadEncodedStrip(tiff, strip, picture.get() + size, static_cast<tmsize_t>(room - size));
    if (got <= 0) break;
    size += static_cast<size_t>(got);
  }
  TIFFClose(tiff);
  return size;
}

namespace {

// Uncompressed strips, as most programs write them.
void WriteTif(const std::string& file, const kz::Bitmap& bitmap) {
  TIFF* tiff = TIFFOpen(file.c_str(), "w");
  Check(tiff != nullptr, file);
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(bitmap.Width()));
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(bitmap.Height()));
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 3);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 6u);
  std::vector<unsigned char> row(static_cast<size_t>(bitmap.Width()) * 3);
  for (int y = 0; y < bitmap.Height(); ++y) {
    std::copy_n(bitmap.TopDownRow(y), row.size(), row.begin());
    Check(TIFFWriteScanline(tiff, row.data(), static_cast<uint32_t>(y)) == 1, file);
  }
  TIFFClose(tiff);
}

}  // namespace

Inputs MakeInputs(const fs::path& folder) {
  fs::create_directories(folder);
  Inputs in;
  const auto named = [&](const std::string& name) { return (folder / name).string(); };
  in.text = named("text.ica");
  in.uncompressed = named("uncompressed.ica");
  in.jpeg = named("colour.mda");
  in.pages200 = named("pages200.mda");
  in.tiff200 = named("pages200.tif");
  const std::string onePage = named("one.mda");
  const std::string smallPage = named("tiny.mda");
  if (!fs::exists(in.text)) {
    const BitmapPointer page = MakePage(kTextHeight);
    Check(SaveBitmap(in.text, page.get(), kBareGroup4, 1) == K_SUCCESS, in.text);
    Check(SaveBitmap(onePage, page.get(), kDocumentGroup4, 1) == K_SUCCESS, onePage);
    Repeat(onePage, in.pages200, 200);
  }
  if (!fs::exists(smallPage)) {
    const BitmapPointer small = NewBitmap(100, 60, 1);
    Tile(small.get(), "letter.png");
    Check(SaveBitmap(smallPage, small.get(), kDocumentGroup4, 1) == K_SUCCESS, smallPage);
  }
  if (!fs::exists(in.uncompressed)) {
    const BitmapPointer wide = MakeBitmap(1);
    Tile(wide.get(), "halftone.png");
    Check(SaveBitmap(in.uncompressed, wide.get(), kBareUncompressed, 1) == K_SUCCESS,
          in.uncompressed);
  }
  if (!fs::exists(in.jpeg)) {
    // Smooth shapes with some grain, as in a photograph.
    const BitmapPointer colour = NewBitmap(4000, 3000, 24);
    uint32_t noise = 1;
    for (int y = 0; y < 3000; ++y) {
      for (int x = 0; x < 4000 * 3; ++x) {
        noise = noise * 1664525u + 1013904223u;
        colour->pRows[static_cast<ptrdiff_t>(y) * colour->nBytesPerLine + x] =
            static_cast<unsigned char>((x / 9 * (1 + x % 3) + y) / 16 % 200 +
                                       static_cast<int>(noise >> 29));
      }
    }
    Check(SaveBitmap(in.jpeg, colour.get(), kDocumentJpeg, 1) == K_SUCCESS, in.jpeg);
  }
  in.colour = named("colour-none.mda");
  in.colourTif = named("colour-none.tif");
  if (!fs::exists(in.colourTif)) {
    kz::Bitmap colour;
    kz::SaveRequest request;
    request.compression = kz::Compression::None;
    request.bitsPerPixel = 24;
    Check(kz::LoadPicture(in.jpeg, 1, {}, colour).Ok(), in.jpeg);
    Check(kz::SavePage(in.colour, colour, request).Ok(), in.colour);
    WriteTif(in.colourTif, colour);
  }
  const auto pageBytes = static_cast<double>(fs::file_size(onePage));
  for (const int mebibytes : {1, 16, 128, 1024}) {
    in.documents.push_back(named("document" + std::to_string(mebibytes) + "MiB.mda"));
    const int pages = std::max(1, static_cast<int>(mebibytes * 1048576.0 / pageBytes));
    if (!fs::exists(in.documents.back())) Repeat(onePage, in.documents.back(), pages);
  }
  for (const int pages : {4000, 8000, 16000, 32000}) {
    in.growing.push_back({named("tiny" + std::to_string(pages) + ".mda"), pages});
    if (!fs::exists(in.growing.back().file)) Repeat(smallPage, in.growing.back().file, pages);
  }
  for (const int rows : {1000, 2000, 4000, 8000}) {
    in.tall.push_back({named("tall" + std::to_string(rows) + ".ica"), rows});
    const std::string& file = in.tall.back().file;
    if (fs::exists(file)) continue;
    Check(SaveBitmap(file, MakePage(rows).get(), kBareGroup4, 1) == K_SUCCESS, file);
  }
  in.millionPictures = named("million-pictures.mda");
  in.millionTexts = named("million-texts.mda");
  if (!fs::exists(in.millionPictures)) MakeMillionPages(in.millionPictures, true);
  if (!fs::exists(in.millionTexts)) MakeMillionPages(in.millionTexts, false);
  if (!fs::exists(in.tiff200)) {
    kz::PictureWriter writer;
    kz::Bitmap page;
    Check(kz::LoadPicture(in.text, 1, {}, page).Ok() && writer.Open(in.tiff200).Ok(), in.tiff200);
    for (int i = 0; i < 200; ++i) Check(writer.AddPage(page).Ok(), in.tiff200);
    Check(writer.Commit().Ok(), in.tiff200);
  }
  return in;
}
