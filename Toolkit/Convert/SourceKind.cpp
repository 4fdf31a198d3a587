#include "Toolkit/Convert/SourceKind.h"

#include <sys/stat.h>

#include <algorithm>
#include <iterator>
#include <string_view>
#include <vector>

#include "Toolkit/Files/FileDescriptor.h"

namespace kz {

namespace {

using namespace std::string_view_literals;

// How files begin that are found beside documents and aren't any, whatever their bytes look
// like further on.
constexpr std::string_view kOthers[] = {
    "%PDF-"sv,
    "%!PS"sv,
    "\x89PNG"sv,
    "II*\0"sv,
    "MM\0*"sv,
    "\xFF\xD8\xFF"sv,
    "GIF8"sv,
    "PK\3\4"sv,
    "\x1F\x8B"sv,
    "BZh"sv,
    "\xFD"
    "7zXZ"sv,
    "\x7F"
    "ELF"sv,
    "<?xml"sv,
};

bool IsOther(const std::string& path) {
  const OwnedDescriptor file(OpenDescriptor(path.c_str(), O_RDONLY | O_NONBLOCK));
  char bytes[8];
  const int64_t read =
      file.Get() < 0
          ? 0
          : ReadFully(file.Get(), 0, reinterpret_cast<unsigned char*>(bytes), sizeof(bytes));
  const std::string_view start(bytes, static_cast<size_t>(std::max<int64_t>(read, 0)));
  return std::any_of(std::begin(kOthers), std::end(kOthers),
                     [&](std::string_view other) { return start.starts_with(other); });
}

}  // namespace

Outcome SourceOpener::Open(const std::string& path, bool named, bool& isDocument) {
  isDocument = true;
  Outcome unframed = m_file.Open(path);
  if (!unframed.Ok()) return unframed;
  Container container;
  const Outcome start = FindContainer(m_file.Path(), container);
  const auto leaveOut = [&] {
    isDocument = false;
    return Outcome{};
  };
  struct stat found;
  const bool empty = ::stat(path.c_str(), &found) == 0 && found.st_size == 0;
  const bool none = start.status == K_ERROR_INVALID_FORMAT;
  if (!named && (empty || (none && IsOther(m_file.Path())))) return leaveOut();
  m_document = std::make_unique<Document>(m_file.Path());
  Outcome opened = m_document->Open();
  if (!opened.Ok()) return !named && none && opened.status == start.status ? leaveOut() : opened;
  if (!named && none && m_document->Pages() == 0 && m_document->Pictures() == 0) {
    return leaveOut();
  }
  opened.warnings = std::move(unframed.warnings);
  return opened;
}

bool BeginsAsDocument(const std::string& path) {
  Framing framing;
  Container container;
  return FindFraming(path, framing).Ok() &&
         (framing.IsFramed() || FindContainer(path, container).Ok());
}

std::string DamageWords(const PageIndex& index) {
  if (index.structure.status == K_ERROR_READ || index.skipped.empty()) return index.structure.what;
  const SkippedBytes& first = index.skipped.front();
  std::string words = "bytes " + std::to_string(first.offset) + " to " +
                      std::to_string(first.offset + first.length) + " are no structured field";
  const size_t more = index.skipped.size() - 1;
  if (more > 0) words += ", nor are those at " + std::to_string(more) + " more places";
  return words;
}

}  // namespace kz
