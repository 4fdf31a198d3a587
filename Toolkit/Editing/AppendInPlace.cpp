// Appends without a copy of the document.
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "Format/PageFields.h"
#include "Toolkit/Editing/Assemble.h"
#include "Toolkit/Editing/Pieces.h"
#include "Toolkit/Files/DocumentLock.h"

namespace kz {

namespace {

Outcome Append(int descriptor, int64_t size, const PageIndex& pages) {
  unsigned char last[1 + kEndDocumentLength];  // the last field and the byte before it
  const auto count = static_cast<size_t>(std::min<int64_t>(size, sizeof(last)));
  const bool read = ReadFully(descriptor, size - static_cast<int64_t>(count), last, count) ==
                    static_cast<int64_t>(count);
  size_t length = read ? TrailingEndDocument({last, count}) : 0;
  if (length == 0) {
    return Failure(K_ERROR_INVALID_FORMAT, "the document doesn't end with End Document");
  }
  // A 0x5A before it may be its own or another field's last byte: where the pages begin
  // with the same byte, both are kept as they are.
  if (pages.prefix == FieldPrefix::All && count > length &&
      last[count - length - 1] == kCarriageControl) {
    ++length;
  }
  const unsigned char* bytes = last + count - length;
  const std::string end(bytes, bytes + length);
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
  const bool restored = ::lseek(descriptor, place, SEEK_SET) >= 0 &&
                        WriteFully(descriptor, bytes, length) && ::ftruncate(descriptor, size) == 0;
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
