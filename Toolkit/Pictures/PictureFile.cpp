#include "Toolkit/Pictures/PictureFile.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include "Toolkit/Files/AtomicFile.h"
#include "Toolkit/Files/FileDescriptor.h"
#include "Toolkit/Imaging/JpegCodec.h"
#include "Toolkit/Pictures/PictureFormats.h"

namespace kz {

namespace {

struct Ending {
  const char* ending;
  PictureFormat format;
};

constexpr Ending kEndings[] = {
    {"png", PictureFormat::kPng}, {"tif", PictureFormat::kTiff}, {"tiff", PictureFormat::kTiff},
    {"pbm", PictureFormat::kPbm}, {"pgm", PictureFormat::kPgm},  {"ppm", PictureFormat::kPpm},
    {"pnm", PictureFormat::kPnm}, {"jpg", PictureFormat::kJpeg}, {"jpeg", PictureFormat::kJpeg},
    {"pdf", PictureFormat::kPdf},
};

constexpr const char* kKnownEndings = "png, tif, pbm, pgm, ppm, pnm, jpg or pdf";

char LowerCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

bool StartsWith(const std::vector<unsigned char>& data, std::string_view bytes) {
  return data.size() >= bytes.size() && std::memcmp(data.data(), bytes.data(), bytes.size()) == 0;
}

bool IsPng(const std::vector<unsigned char>& data) { return StartsWith(data, "\x89PNG\r\n\x1A\n"); }

bool IsTiff(const std::vector<unsigned char>& data) {
  using namespace std::string_view_literals;
  return StartsWith(data, "II*\0"sv) || StartsWith(data, "MM\0*"sv) ||
         StartsWith(data, "II+\0"sv) || StartsWith(data, "MM\0+"sv);
}

bool IsPnm(const std::vector<unsigned char>& data) {
  return data.size() >= 2 && data[0] == 'P' && data[1] >= '1' && data[1] <= '6';
}

// A file of one picture, held in memory undecoded.
class SinglePicture : public PictureSource {
 public:
  using Decode = Outcome (*)(const std::vector<unsigned char>&, int64_t, Bitmap&);
  SinglePicture(std::vector<unsigned char> data, Decode decode)
      : m_data(std::move(data)), m_decode(decode) {}
  Outcome Read(int, int64_t maxPixels, Bitmap& bitmap) override {
    return m_decode(m_data, maxPixels, bitmap);
  }

 private:
  std::vector<unsigned char> m_data;
  Decode m_decode;
};

// Reads up to `count` bytes more into data; fewer at the file's end.
Outcome ReadMore(int descriptor, size_t count, std::vector<unsigned char>& data) {
  const size_t wanted = data.size() + count;
  size_t size = data.size();
  data.resize(wanted);
  while (size < wanted) {
    const ssize_t n = ::read(descriptor, data.data() + size, wanted - size);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return SystemFailure(K_ERROR_READ, errno);
    if (n == 0) break;
    size += static_cast<size_t>(n);
  }
  data.resize(size);
  return {};
}

Outcome ReadRest(int descriptor, std::vector<unsigned char>& data) {
  constexpr size_t kAtOnce = size_t{256} * 1024;
  struct stat status;
  size_t expected = kAtOnce;
  if (::fstat(descriptor, &status) == 0 && status.st_size > 0 &&
      status.st_size <= kMaxPictureBytes) {
    expected = static_cast<size_t>(status.st_size);
  }
  for (size_t before = 0;; before = data.size(), expected = kAtOnce) {
    Outcome outcome = ReadMore(descriptor, expected, data);
    if (!outcome.Ok() || data.size() - before < expected) return outcome;
    if (data.size() > static_cast<size_t>(kMaxPictureBytes)) {
      return Failure(K_ERROR_INVALID_FORMAT, "the file is too large for a picture");
    }
  }
}

Outcome OpenSource(const std::string& path, std::unique_ptr<PictureSource>& source) {
  OwnedDescriptor file(OpenDescriptor(path.c_str(), O_RDONLY));
  if (file.Get() < 0) return SystemFailure(K_ERROR_OPEN_READ, errno);
  struct stat status;
  if (::fstat(file.Get(), &status) == 0 && S_ISDIR(status.st_mode)) {
    return SystemFailure(K_ERROR_OPEN_READ, EISDIR);
  }
  std::vector<unsigned char> data;
  Outcome outcome = ReadMore(file.Get(), 8, data);
  if (!outcome.Ok()) return outcome;
  if (IsTiff(data)) return OpenTiff(file.Release(), source);
  SinglePicture::Decode decode = nullptr;
  if (IsPng(data)) decode = ReadPng;
  if (IsJpeg(data.data(), data.size())) decode = ReadJpeg;
  const bool pnm = IsPnm(data);
  if (decode == nullptr && !pnm) {
    return Failure(K_ERROR_INVALID_FORMAT, "not a png, tif, pnm or jpg picture");
  }
  outcome = ReadRest(file.Get(), data);
  if (!outcome.Ok()) return outcome;
  if (pnm) {
    source = OpenPnm(std::move(data));
  } else {
    source = std::make_unique<SinglePicture>(std::move(data), decode);
  }
  return outcome;
}

Outcome NoMemory() { return Failure(K_ERROR_NO_MEMORY, "there is not enough memory"); }

}  // namespace

// Where a picture file goes: into place when it is complete, or, gathered in
// memory, to standard output.
class PictureOutput {
 public:
  explicit PictureOutput(bool standardOutput)
      : m_gathered(standardOutput ? ::memfd_create("picture", MFD_CLOEXEC) : -1) {}
  Outcome Open(const std::string& path, FileBatch* batch) {
    if (path != "-") return m_file.Open(path, batch);
    return m_gathered.Get() >= 0 ? Outcome{} : SystemFailure(K_ERROR_OPEN_WRITE, errno);
  }
  int Descriptor() const { return m_gathered.Get() >= 0 ? m_gathered.Get() : m_file.Descriptor(); }
  Outcome Commit() {
    if (m_gathered.Get() < 0) return m_file.Commit();
    if (::lseek(m_gathered.Get(), 0, SEEK_SET) != 0) return SystemFailure(K_ERROR_WRITE, errno);
    return CopyDescriptor(m_gathered.Get(), STDOUT_FILENO);
  }

 private:
  AtomicFile m_file;
  OwnedDescriptor m_gathered;
};

PictureFormat FormatOfEnding(std::string_view name) {
  const size_t dot = name.rfind('.');
  if (dot == std::string_view::npos) return PictureFormat::kNone;
  std::string ending(name.substr(dot + 1));
  std::transform(ending.begin(), ending.end(), ending.begin(), LowerCase);
  for (const Ending& known : kEndings) {
    if (ending == known.ending) return known.format;
  }
  return PictureFormat::kNone;
}

bool HoldsPages(PictureFormat format) {
  return format == PictureFormat::kTiff || format == PictureFormat::kPdf;
}

PictureReader::PictureReader() = default;
PictureReader::~PictureReader() = default;

Outcome PictureReader::Open(const std::string& path, int64_t maxPixels) try {
  m_source.reset();
  m_maxPixels = maxPixels;
  return OpenSource(path, m_source);
} catch (const std::bad_alloc&) {
  return NoMemory();
}

int PictureReader::Pages() const { return m_source == nullptr ? 0 : m_source->Pages(); }

Outcome PictureReader::Read(int page, Bitmap& bitmap) try {
  bitmap.Reset();
  if (page < 1 || page > Pages()) {
    return Failure(K_ERROR_INVALID_FORMAT, "there is no page " + std::to_string(page));
  }
  Outcome outcome = m_source->Read(page, m_maxPixels, bitmap);
  if (!outcome.Ok()) bitmap.Reset();
  return outcome;
} catch (const std::bad_alloc&) {
  bitmap.Reset();
  return NoMemory();
}

PictureWriter::PictureWriter() = default;
PictureWriter::~PictureWriter() = default;

Outcome PictureWriter::Open(const std::string& path, PictureFormat format, FileBatch* batch) try {
  m_sink.reset();
  m_output.reset();
  m_pages = 0;
  m_format = format != PictureFormat::kNone ? format : FormatOfEnding(path);
  if (m_format == PictureFormat::kNone) {
    return Failure(K_ERROR_SAVE_FORMAT,
                   std::string("the picture's format must be one of ") + kKnownEndings);
  }
  auto output = std::make_unique<PictureOutput>(path == "-");
  Outcome outcome = output->Open(path, batch);
  if (!outcome.Ok()) return outcome;
  const int descriptor = output->Descriptor();
  switch (m_format) {
    case PictureFormat::kPng:
      m_sink = MakePngSink(descriptor);
      break;
    case PictureFormat::kTiff:
      m_sink = MakeTiffSink(descriptor);
      break;
    case PictureFormat::kJpeg:
      m_sink = MakeJpegSink(descriptor);
      break;
    case PictureFormat::kPdf:
      m_sink = MakePdfSink(descriptor);
      break;
    default:
      m_sink = MakePnmSink(descriptor, m_format);
      break;
  }
  m_output = std::move(output);
  return outcome;
} catch (const std::bad_alloc&) {
  return NoMemory();
}

Outcome PictureWriter::AddPage(const Bitmap& bitmap) try {
  if (m_sink == nullptr) return Failure(K_ERROR_OPEN_WRITE);
  if (bitmap.Empty()) return Failure(K_ERROR_INVALID_FORMAT, "there is no picture to write");
  if (m_pages > 0 && !HoldsPages(m_format)) {
    return Failure(K_ERROR_SAVE_FORMAT, "a file of this format holds one page only");
  }
  if (m_format == PictureFormat::kPbm && bitmap.BitsPerPixel() > 1) {
    return Failure(K_ERROR_BITS_PER_PIXEL, "a pbm holds 1 bit per pixel, the picture has " +
                                               std::to_string(bitmap.BitsPerPixel()));
  }
  Outcome outcome = m_sink->AddPage(bitmap);
  if (outcome.Ok()) {
    ++m_pages;
  } else {
    // What was written of the page can't be taken back.
    m_sink.reset();
    m_output.reset();
  }
  return outcome;
} catch (const std::bad_alloc&) {
  m_sink.reset();
  m_output.reset();
  return NoMemory();
}

Outcome PictureWriter::Commit() try {
  if (m_sink == nullptr) return Failure(K_ERROR_OPEN_WRITE);
  if (m_pages == 0) return Failure(K_ERROR_INVALID_FORMAT, "there is no picture to write");
  Outcome outcome = m_sink->Finish();
  m_sink.reset();
  if (outcome.Ok()) outcome = m_output->Commit();
  m_output.reset();
  return outcome;
} catch (const std::bad_alloc&) {
  m_sink.reset();
  m_output.reset();
  return NoMemory();
}

Outcome WriteBytes(int descriptor, const void* bytes, size_t count) {
  const bool written = WriteFully(descriptor, static_cast<const unsigned char*>(bytes), count);
  return written ? Outcome{} : SystemFailure(K_ERROR_WRITE, errno);
}

}  // namespace kz
