// Appends without a copy of the document.
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "API/Filters/Ica/Common/Ioca/Document.h"
#include "Format/BigEndian.h"
#include "Format/FieldScan.h"
#include "Toolkit/Editing/Assemble.h"
#include "Toolkit/Editing/Pieces.h"
#include "Toolkit/Files/DocumentLock.h"

namespace kz {

namespace {

// Finds End Document, with or without a name, as the last field of a document of
// `size` bytes. False when there is none or it can't be read.
bool FindEnd(int descriptor, int64_t size, std::string& field) {
  for (const unsigned length : {END_DOCUMENT_LENGTH, kIntroducerLength}) {
    field.resize(length);
    auto* bytes = reinterpret_cast<unsigned char*>(field.data());
    const bool there =
        size >= length && ReadFully(descriptor, size - length, bytes, length) == length;
    if (there && GetBig16(bytes) == length && bytes[2] == kFieldClass &&
        GetBig16(bytes + 3) == sf::kEndDocument) {
      return true;
    }
  }
  return false;
}

Outcome Append(int descriptor, int64_t size, const PageIndex& pages) {
  std::string end;
  if (!FindEnd(descriptor, size, end)) {
    return Failure(K_ERROR_INVALID_FORMAT, "the document doesn't end with End Document");
  }
  // A 0x5A before it may be its own or another field's last byte: where the pages begin
  // with the same byte, both are kept as they are.
  unsigned char before = 0;
  const int64_t room = static_cast<int64_t>(end.size()) + 1;
  if (pages.prefix == FieldPrefix::All && size >= room &&
      ReadFully(descriptor, size - room, &before, 1) == 1 && before == kCarriageControl) {
    end.insert(end.begin(), static_cast<char>(before));
  }
  const int64_t place = size - static_cast<int64_t>(end.size());
  PieceList list;
  int source = 0;
  Outcome outcome = list.Open(pages, source);
  if (!outcome.Ok()) return outcome;
  for (const IndexedPage& page : pages.pages) list.Add(source, page.bytes);
  list.Add(end);
  if (::lseek(descriptor, place, SEEK_SET) < 0) {
    return SystemFailure(K_ERROR_SEEK, errno);
  }
  outcome = list.Write(descriptor);
  if (outcome.Ok() && ::fsync(descriptor) != 0) outcome = SystemFailure(K_ERROR_WRITE, errno);
  if (outcome.Ok()) return outcome;
  const auto* bytes = reinterpret_cast<const unsigned char*>(end.data());
  const bool restored = ::lseek(descriptor, place, SEEK_SET) >= 0 &&
                        WriteFully(descriptor, bytes, end.size()) &&
                        ::ftruncate(descriptor, size) == 0;
  if (!restored) outcome.what += "; the document is left damaged";
  return outcome;
}

}  // namespace

Outcome AppendInPlace(const std::string& file, const PageIndex& pages) {
  DocumentLock lock;
  const Outcome locked = lock.Take(file);
  if (!locked.Ok()) return Failure(K_ERROR_OPEN_WRITE, locked.what);
  if (!lock.IsEffective()) {
    return Failure(K_ERROR_OPEN_WRITE,
                   "its file system has no locks, without which it can't be written in place");
  }
  const OwnedDescriptor document(OpenDescriptor(file.c_str(), O_RDWR | O_NONBLOCK));
  struct stat found;
  if (document.Get() < 0 || ::fstat(document.Get(), &found) != 0) {
    return SystemFailure(K_ERROR_OPEN_WRITE, errno);
  }
  if (!S_ISREG(found.st_mode)) {
    return Failure(K_ERROR_OPEN_WRITE, "only regular files can be written in place");
  }
  return Append(document.Get(), found.st_size, pages);
}

}  // namespace kz
