#include "Toolkit/Pictures/PictureFile.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <new>
#include <utility>
#include <vector>

#include "Toolkit/Base/AsciiCase.h"
#include "Toolkit/Files/AtomicFile.h"
#include "Toolkit/Files/FileDescriptor.h"
#include "Toolkit/Imaging/JpegCodec.h"
#include "Toolkit/Pictures/PictureFormats.h"

namespace kz {

namespace {

// The formats in words: "png, tif or pdf".
std::string FormatsInWords() {
  std::string words;
  for (const PictureFormatRow& row : kPictureFormats) {
    const bool last = &row == std::end(kPictureFormats) - 1;
    words += std::string(words.empty() ? "" : last ? " or " : ", ") + row.ending;
  }
  return words;
}

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
  JpegFile Jpeg() const override {
    if (m_decode != ReadJpeg) return {};
    return {&m_data, ObjectionToJpeg(m_data)};
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

// What writes a format; null for kNone.
std::unique_ptr<PictureSink> MakeSink(PictureFormat format, int descriptor) {
  switch (format) {
    case PictureFormat::kNone:
      break;
    case PictureFormat::kPng:
      return MakePngSink(descriptor);
    case PictureFormat::kTiff:
      return MakeTiffSink(descriptor);
    case PictureFormat::kPbm:
      return MakePnmSink(descriptor, 1);
    case PictureFormat::kPgm:
      return MakePnmSink(descriptor, 8);
    case PictureFormat::kPpm:
      return MakePnmSink(descriptor, 24);
    case PictureFormat::kPnm:
      return MakePnmSink(descriptor, 0);
    case PictureFormat::kJpeg:
      return MakeJpegSink(descriptor);
    case PictureFormat::kPdf:
      return MakePdfSink(descriptor);
  }
  return nullptr;
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
  for (const PictureFormatRow& row : kPictureFormats) {
    const bool other = row.otherEnding != nullptr && ending == row.otherEnding;
    if (ending == row.ending || other) return row.format;
  }
  return PictureFormat::kNone;
}

std::vector<std::string> PictureEndings() {
  std::vector<std::string> endings;
  for (const PictureFormatRow& row : kPictureFormats) {
    endings.emplace_back(row.ending);
    if (row.otherEnding != nullptr) endings.emplace_back(row.otherEnding);
  }
  return endings;
}

bool HoldsPages(PictureFormat format) {
  return std::any_of(
      std::begin(kPictureFormats), std::end(kPictureFormats),
      [format](const PictureFormatRow& row) { return row.format == format && row.holdsPages; });
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

JpegFile PictureReader::Jpeg() const { return m_source ? m_source->Jpeg() : JpegFile{}; }

bool PictureReader::ReadData(int page, bool check, PictureData& data) try {
  data = {};
  return page >= 1 && page <= Pages() && m_source->ReadData(page, m_maxPixels, check, data);
} catch (const std::bad_alloc&) {
  return false;
}

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

PictureWriter::PreparedPage::PreparedPage() = default;
PictureWriter::PreparedPage::~PreparedPage() = default;
PictureWriter::PreparedPage::PreparedPage(PreparedPage&& other) noexcept = default;
PictureWriter::PreparedPage& PictureWriter::PreparedPage::operator=(PreparedPage&& other) noexcept =
    default;

PictureWriter::PictureWriter() = default;
PictureWriter::~PictureWriter() = default;

Outcome PictureWriter::Open(const std::string& path, PictureFormat format, FileBatch* batch) try {
  m_sink.reset();
  m_output.reset();
  m_pages = 0;
  m_format = format != PictureFormat::kNone ? format : FormatOfEnding(path);
  if (m_format == PictureFormat::kNone) {
    return Failure(K_ERROR_SAVE_FORMAT, "the picture's format must be one of " + FormatsInWords());
  }
  auto output = std::make_unique<PictureOutput>(path == "-");
  Outcome outcome = output->Open(path, batch);
  if (!outcome.Ok()) return outcome;
  m_sink = MakeSink(m_format, output->Descriptor());
  m_output = std::move(output);
  return outcome;
} catch (const std::bad_alloc&) {
  return NoMemory();
}

Outcome PictureWriter::AddPage(const Bitmap& bitmap) try {
  Outcome outcome = CheckPage(bitmap);
  if (outcome.Ok()) outcome = CheckAnotherPage();
  return outcome.Ok() ? Added(m_sink->AddPage(bitmap)) : outcome;
} catch (const std::bad_alloc&) {
  return Added(NoMemory());
}

Outcome PictureWriter::Prepare(const Bitmap& bitmap, PreparedPage& page) const try {
  page = {};
  Outcome outcome = CheckPage(bitmap);
  if (!outcome.Ok()) return outcome;
  if (m_sink == nullptr) return Failure(K_ERROR_OPEN_WRITE);
  outcome = m_sink->Prepare(bitmap, page.m_picture);
  if (!outcome.Ok()) page.m_picture.reset();
  page.m_format = m_format;
  return outcome;
} catch (const std::bad_alloc&) {
  page = {};
  return NoMemory();
}

Outcome PictureWriter::AddPrepared(PreparedPage&& page) try {
  const std::unique_ptr<PreparedPicture> picture = std::move(page.m_picture);
  if (picture == nullptr) return Failure(K_ERROR_INVALID_FORMAT, "there is no picture to write");
  Outcome outcome = CheckAnotherPage();
  if (!outcome.Ok()) return outcome;
  if (page.m_format != m_format) {
    return Failure(K_ERROR_SAVE_FORMAT, "the page was prepared for another format");
  }
  return Added(m_sink->AddPrepared(*picture));
} catch (const std::bad_alloc&) {
  return Added(NoMemory());
}

bool PictureWriter::Takes(const PictureData& data) const {
  const bool sane = data.coding == PictureCoding::kJpeg ? data.width > 0 && data.height > 0
                                                        : IsSanePicture(data.width, data.height, 1);
  return m_sink != nullptr && sane && m_sink->Takes(data);
}

Outcome PictureWriter::AddData(const PictureData& data) try {
  Outcome outcome = CheckAnotherPage();
  if (!outcome.Ok()) return outcome;
  if (data.data.empty()) return Failure(K_ERROR_INVALID_FORMAT, "there is no picture to write");
  if (!Takes(data)) {
    return Failure(K_ERROR_SAVE_FORMAT, "a file of this format can't have the data as they are");
  }
  return Added(m_sink->AddData(data));
} catch (const std::bad_alloc&) {
  return Added(NoMemory());
}

Outcome PictureWriter::AddInks(const InkPicture& inks) try {
  Outcome outcome = CheckAnotherPage();
  return outcome.Ok() ? Added(m_sink->AddInks(inks)) : outcome;
} catch (const std::bad_alloc&) {
  return Added(NoMemory());
}

Outcome PictureWriter::CheckPage(const Bitmap& bitmap) const {
  if (bitmap.Empty()) return Failure(K_ERROR_INVALID_FORMAT, "there is no picture to write");
  if (m_format == PictureFormat::kPbm && bitmap.BitsPerPixel() > 1) {
    return Failure(K_ERROR_BITS_PER_PIXEL, "a pbm holds 1 bit per pixel, the picture has " +
                                               std::to_string(bitmap.BitsPerPixel()));
  }
  return {};
}

Outcome PictureWriter::CheckAnotherPage() const {
  if (m_sink == nullptr) return Failure(K_ERROR_OPEN_WRITE);
  if (m_pages > 0 && !HoldsPages(m_format)) {
    return Failure(K_ERROR_SAVE_FORMAT, "a file of this format holds one page only");
  }
  return {};
}

Outcome PictureWriter::Added(Outcome outcome) {
  if (outcome.Ok()) {
    ++m_pages;
  } else {
    // What was written of the page can't be taken back.
    m_sink.reset();
    m_output.reset();
  }
  return outcome;
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

}  // namespace kz
