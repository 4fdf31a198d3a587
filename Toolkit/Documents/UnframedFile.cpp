#include "Toolkit/Documents/UnframedFile.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "Format/FramingSearch.h"
#include "Format/RecordWalk.h"
#include "Toolkit/Files/FileDescriptor.h"
#include "Toolkit/Files/FileWindow.h"

namespace kz {

namespace {

// Bytes that are written at once: records are short.
constexpr size_t kWriteAtOnce = size_t{1} << 20;
// Places that warnings name one by one.
constexpr size_t kMostPlaces = 3;

// Copies parts of a file to the end of another.
class PieceCopy {
 public:
  PieceCopy(FileWindow& from, int to) : m_from(from), m_to(to) { m_bytes.reserve(kWriteAtOnce); }

  // -7 or -5 when it fails.
  Outcome Add(const DocumentPiece& piece) {
    constexpr int64_t most = FileWindow::kMaxBytes;
    for (int64_t at = piece.begin; at < piece.end; at += most) {
      const auto count = static_cast<size_t>(std::min(piece.end - at, most));
      const unsigned char* bytes = m_from.At(at, count);
      if (bytes == nullptr) return Failure(K_ERROR_READ);
      if (m_bytes.size() + count > kWriteAtOnce) {
        Outcome outcome = Flush();
        if (!outcome.Ok()) return outcome;
      }
      m_bytes.insert(m_bytes.end(), bytes, bytes + count);
    }
    return {};
  }

  // Writes what is still held.
  Outcome Flush() {
    if (!WriteFully(m_to, m_bytes.data(), m_bytes.size())) {
      return SystemFailure(K_ERROR_WRITE, errno);
    }
    m_bytes.clear();
    return {};
  }

 private:
  FileWindow& m_from;
  int m_to;
  std::vector<unsigned char> m_bytes;
};

Outcome CopyDocument(FileWindow& file, const Framing& framing, int to) {
  RecordWalk<FileWindow> walk(file, framing);
  PieceCopy copy(file, to);
  std::vector<std::string> warnings;
  size_t places = 0;
  for (DocumentPiece piece; walk.Next(piece);) {
    if (piece.lost && ++places <= kMostPlaces) {
      warnings.push_back("the framing of its records breaks off at byte " +
                         std::to_string(piece.begin) + " and goes on at byte " +
                         std::to_string(piece.end) + "; what stands between is read as it is");
    }
    Outcome outcome = copy.Add(piece);
    if (!outcome.Ok()) return outcome;
  }
  if (file.Failed()) return Failure(K_ERROR_READ);
  if (places > kMostPlaces) {
    warnings.push_back("so it does at " + std::to_string(places - kMostPlaces) + " more places");
  }
  Outcome outcome = copy.Flush();
  outcome.warnings = std::move(warnings);
  return outcome;
}

}  // namespace

Outcome FindFraming(const std::string& file, Framing& framing) {
  framing = {};
  const OwnedDescriptor descriptor(OpenDescriptor(file.c_str(), O_RDONLY | O_NONBLOCK));
  struct stat found;
  if (descriptor.Get() < 0 || ::fstat(descriptor.Get(), &found) != 0) {
    return SystemFailure(K_ERROR_OPEN_READ, errno);
  }
  if (!S_ISREG(found.st_mode)) {
    return Failure(K_ERROR_OPEN_READ, "only regular files can be read");
  }
  std::vector<unsigned char> start(
      static_cast<size_t>(std::min(int64_t{found.st_size}, int64_t{kFramingRoom})));
  const int64_t read = ReadFully(descriptor.Get(), 0, start.data(), start.size());
  if (read < 0) return SystemFailure(K_ERROR_READ, errno);
  // A file that is being cut meanwhile ends where reading it did.
  const bool whole = read == static_cast<int64_t>(start.size());
  framing = FindFraming({start.data(), static_cast<size_t>(read)}, whole ? found.st_size : read);
  return {};
}

Outcome UnframedFile::Open(const std::string& file) {
  m_path = file;
  Outcome outcome = FindFraming(file, m_framing);
  if (!outcome.Ok() || !m_framing.IsFramed()) return outcome;
  FileWindow window;
  outcome = window.Open(file);
  if (outcome.Ok()) outcome = m_copy.Open();
  if (!outcome.Ok()) return outcome;
  m_path = m_copy.Path();
  return CopyDocument(window, m_framing, m_copy.Descriptor());
}

}  // namespace kz
