#include "Toolkit/Editing/Pieces.h"

#include <algorithm>

#include "Format/BigEndian.h"
#include "Format/FieldBuilder.h"
#include "Format/FieldScan.h"
#include "Format/PageFields.h"
#include "Format/SelfDefiningField.h"
#include "Format/StructuredField.h"
#include "Toolkit/Files/FileVersion.h"

namespace kz {

namespace {

constexpr int64_t kMinBuffer = 4096;
constexpr int64_t kMaxBuffer = int64_t{1} << 20;
// Ranges from this size on are left to the kernel.
constexpr int64_t kKernelCopy = int64_t{64} * 1024;
// The most data of an Image Picture Data field: an Image Data field with its header, as
// pages that the filter saves have it.
constexpr int64_t kPictureData = kDocumentImageData + SelfDefiningHeaderLength(sdf::kImageData);

class PieceWriter {
 public:
  // `planned` is about what will be written, so that little takes little memory.
  PieceWriter(int to, int64_t planned)
      : m_to(to),
        m_capacity(static_cast<size_t>(std::clamp(planned, kMinBuffer, kMaxBuffer))),
        m_buffer(std::make_unique_for_overwrite<unsigned char[]>(m_capacity)) {}

  Outcome Put(const void* bytes, size_t count) {
    const auto* from = static_cast<const unsigned char*>(bytes);
    while (count > 0) {
      if (m_used == m_capacity) {
        Outcome outcome = Flush();
        if (!outcome.Ok()) return outcome;
      }
      const size_t n = std::min(count, m_capacity - m_used);
      std::copy_n(from, n, m_buffer.get() + m_used);
      m_used += n;
      from += n;
      count -= n;
    }
    return {};
  }

  Outcome Flush() {
    if (!WriteFully(m_to, m_buffer.get(), m_used)) return SystemFailure(K_ERROR_WRITE, errno);
    m_used = 0;
    return {};
  }

  Outcome Copy(FileWindow& from, ByteRange range) {
    if (range.Size() >= kKernelCopy) {
      const Outcome flushed = Flush();
      return flushed.Ok() ? KernelCopy(from, range) : flushed;
    }
    while (range.Size() > 0) {
      const auto n = static_cast<size_t>(
          std::min<int64_t>(range.Size(), static_cast<int64_t>(FileWindow::kMaxBytes)));
      const unsigned char* bytes = from.At(range.begin, n);
      if (bytes == nullptr) return Failure(K_ERROR_READ);
      Outcome outcome = Put(bytes, n);
      if (!outcome.Ok()) return outcome;
      range.begin += static_cast<int64_t>(n);
    }
    return {};
  }

 private:
  Outcome KernelCopy(FileWindow& from, ByteRange range) {
    while (range.Size() > 0) {
      off_t at = range.begin;
      const ssize_t n = ::copy_file_range(from.Descriptor(), &at, m_to, nullptr,
                                          static_cast<size_t>(range.Size()), 0);
      if (n < 0 && errno == EINTR) continue;
      if (n == 0) return Failure(K_ERROR_READ);
      // Not every pair of file systems can; a full disk shows once more below.
      if (n < 0) return CopyThroughMemory(from, range);
      range.begin += n;
    }
    return {};
  }

  Outcome CopyThroughMemory(FileWindow& from, ByteRange range) {
    while (range.Size() > 0) {
      const auto n = static_cast<size_t>(std::min(range.Size(), static_cast<int64_t>(m_capacity)));
      const int64_t read = ReadFully(from.Descriptor(), range.begin, m_buffer.get(), n);
      if (read < 0) return SystemFailure(K_ERROR_READ, errno);
      if (read != static_cast<int64_t>(n)) return Failure(K_ERROR_READ);
      if (!WriteFully(m_to, m_buffer.get(), n)) return SystemFailure(K_ERROR_WRITE, errno);
      range.begin += read;
    }
    return {};
  }

  int m_to;
  size_t m_capacity;
  std::unique_ptr<unsigned char[]> m_buffer;
  size_t m_used = 0;
};

Outcome WriteFields(PieceWriter& writer, FileWindow& from, ByteRange range, bool prefixed) {
  while (range.Size() > 0) {
    const ScannedField field = ScanField(from, range.begin);
    if (field.fault != FieldFault::None || field.End() > range.end) return Failure(K_ERROR_READ);
    const unsigned char prefix = kCarriageControl;
    Outcome outcome = prefixed ? writer.Put(&prefix, 1) : Outcome{};
    if (outcome.Ok()) outcome = writer.Copy(from, {field.End() - field.length, field.End()});
    if (!outcome.Ok()) return outcome;
    range.begin = field.End();
  }
  return {};
}

Outcome WriteWrapped(PieceWriter& writer, FileWindow& from, ByteRange range, bool prefixed) {
  while (range.Size() > 0) {
    const int64_t n = std::min(range.Size(), kPictureData);
    const std::string introducer =
        FieldBuilder(sf::kImagePictureData, prefixed).Finish(static_cast<size_t>(n));
    Outcome outcome = writer.Put(introducer.data(), introducer.size());
    if (outcome.Ok()) outcome = writer.Copy(from, {range.begin, range.begin + n});
    if (!outcome.Ok()) return outcome;
    range.begin += n;
  }
  return {};
}

}  // namespace

Outcome PieceList::OpenWindow(int source, FileWindow& window) const {
  const Source& file = m_files[static_cast<size_t>(source)];
  const Outcome outcome = window.Open(file.name);
  if (!outcome.Ok()) return Failure(outcome.status, file.name + ": " + outcome.what);
  if (!IsSameVersion(window.Found(), file.found)) {
    return Failure(K_ERROR_READ, file.name + " has changed meanwhile");
  }
  return {};
}

Outcome PieceList::Open(const PageIndex& index, int& source) {
  source = static_cast<int>(m_files.size());
  m_files.push_back({index.file, index.found});
  FileWindow window;
  return OpenWindow(source, window);
}

FileWindow& PieceList::File(int source) {
  constexpr size_t maxOpen = 8;
  const auto open = std::find_if(m_open.begin(), m_open.end(),
                                 [source](const OpenFile& file) { return file.source == source; });
  if (open != m_open.end()) {
    std::rotate(open, open + 1, m_open.end());
    return *m_open.back().window;
  }
  auto window = std::make_unique<FileWindow>();
  if (!OpenWindow(source, *window).Ok()) window = std::make_unique<FileWindow>();
  if (m_open.size() == maxOpen) {
    LookForChanges(m_open.front());
    m_open.erase(m_open.begin());
  }
  m_open.push_back({source, std::move(window)});
  return *m_open.back().window;
}

void PieceList::Add(int source, ByteRange range, PieceForm form) {
  if (range.Size() <= 0) return;
  m_planned += range.Size();
  if (!m_pieces.empty()) {
    Piece& last = m_pieces.back();
    const bool wrapped = form == PieceForm::Wrap || form == PieceForm::WrapPrefixed;
    if (last.source == source && last.form == form && last.range.end == range.begin && !wrapped) {
      last.range.end = range.end;
      return;
    }
  }
  m_pieces.push_back({source, form, range, {}});
}

void PieceList::Add(std::string literal) {
  m_planned += static_cast<int64_t>(literal.size());
  if (!literal.empty()) {
    m_pieces.push_back({Piece::kLiteral, PieceForm::AsIs, {}, std::move(literal)});
  }
}

Outcome PieceList::Write(int descriptor) {
  PieceWriter writer(descriptor, m_planned);
  for (const Piece& piece : m_pieces) {
    Outcome outcome;
    if (piece.source == Piece::kLiteral) {
      outcome = writer.Put(piece.literal.data(), piece.literal.size());
    } else {
      FileWindow& file = File(piece.source);
      switch (piece.form) {
        case PieceForm::AsIs:
          outcome = writer.Copy(file, piece.range);
          break;
        case PieceForm::AddPrefix:
        case PieceForm::RemovePrefix:
          outcome = WriteFields(writer, file, piece.range, piece.form == PieceForm::AddPrefix);
          break;
        case PieceForm::Wrap:
        case PieceForm::WrapPrefixed:
          outcome = WriteWrapped(writer, file, piece.range, piece.form == PieceForm::WrapPrefixed);
          break;
      }
      if (outcome.status == K_ERROR_READ) {
        outcome.what = m_files[static_cast<size_t>(piece.source)].name + ": " + outcome.what;
      }
    }
    if (!outcome.Ok()) return outcome;
  }
  Outcome outcome = writer.Flush();
  for (const OpenFile& file : m_open) LookForChanges(file);
  if (outcome.Ok() && !m_changed.empty()) {
    return Failure(K_ERROR_READ, m_changed + " has changed meanwhile");
  }
  return outcome;
}

void PieceList::LookForChanges(const OpenFile& file) {
  if (!file.window->IsAsFound()) m_changed = m_files[static_cast<size_t>(file.source)].name;
}

}  // namespace kz
