#include "Toolkit/View/RenderedFile.h"

#include <unistd.h>

#include <cerrno>

#include "Toolkit/Files/FileDescriptor.h"

namespace kz {

Outcome RenderedFile::Open(const std::string& out, FileBatch* batch) {
  m_standard = out == "-";
  return m_standard ? m_spool.Open() : m_file.Open(out, batch);
}

bool RenderedFile::Write(const void* bytes, size_t count) {
  const int descriptor = m_standard ? m_spool.Descriptor() : m_file.Descriptor();
  if (m_error == 0 && !WriteFully(descriptor, static_cast<const unsigned char*>(bytes), count)) {
    m_error = errno;
  }
  return m_error == 0;
}

Outcome RenderedFile::Written() const {
  return m_error == 0 ? Outcome{} : SystemFailure(K_ERROR_WRITE, m_error);
}

Outcome RenderedFile::Commit() {
  Outcome written = Written();
  if (!written.Ok()) return written;
  if (!m_standard) return m_file.Commit();
  if (::lseek(m_spool.Descriptor(), 0, SEEK_SET) != 0) return SystemFailure(K_ERROR_WRITE, errno);
  return CopyDescriptor(m_spool.Descriptor(), STDOUT_FILENO);
}

}  // namespace kz
