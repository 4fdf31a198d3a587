#include "Toolkit/Pictures/Tiff/TiffFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <new>
#include <string_view>

#include "Toolkit/Base/Bitmap.h"

namespace kz {

namespace {

toff_t FileSize(int descriptor) {
  struct stat status;
  return ::fstat(descriptor, &status) == 0 ? static_cast<toff_t>(status.st_size) : 0;
}

// Values may be shared by pages, within reason.
constexpr uint64_t kReadings = 8;
constexpr uint64_t kReadAnyway = uint64_t{64} * 1024;

}  // namespace

TIFFOpenOptions* TiffFile::Options() {
  TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
  if (options != nullptr) {
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, static_cast<tmsize_t>(kMaxPictureBytes));
    TIFFOpenOptionsSetErrorHandlerExtR(options, TakeError, this);
    TIFFOpenOptionsSetWarningHandlerExtR(options, TakeWarning, this);
  }
  return options;
}

TiffFile::TiffFile(int descriptor, const char* mode) : m_descriptor(descriptor) {
  Forget();
  TIFFOpenOptions* options = Options();
  if (options != nullptr) {
    if (mode[0] == 'w') {
      m_tiff = TIFFFdOpenExt(descriptor, "picture", mode, options);
    } else {
      m_allowance = kReadings * FileSize(descriptor) + kReadAnyway;
      m_tiff = TIFFClientOpenExt(
          "picture", mode, this, Read, [](thandle_t, void*, tmsize_t) { return tmsize_t{-1}; },
          [](thandle_t self, toff_t offset, int from) {
            return static_cast<toff_t>(::lseek(static_cast<TiffFile*>(self)->m_descriptor,
                                               static_cast<off_t>(offset), from));
          },
          [](thandle_t self) { return ::close(static_cast<TiffFile*>(self)->m_descriptor); },
          [](thandle_t self) { return FileSize(static_cast<TiffFile*>(self)->m_descriptor); },
          nullptr, nullptr, options);
    }
    TIFFOpenOptionsFree(options);
  }
  if (m_tiff == nullptr) ::close(descriptor);
}

TiffFile::TiffFile(std::vector<unsigned char>& memory) : m_memory(&memory) {
  Forget();
  TIFFOpenOptions* options = Options();
  if (options == nullptr) return;
  m_tiff = TIFFClientOpenExt(
      "picture", "w", this, [](thandle_t, void*, tmsize_t) { return tmsize_t{0}; }, WriteMemory,
      SeekMemory, [](thandle_t) { return 0; },
      [](thandle_t self) {
        return static_cast<toff_t>(static_cast<TiffFile*>(self)->m_memory->size());
      },
      nullptr, nullptr, options);
  TIFFOpenOptionsFree(options);
}

TiffFile::~TiffFile() {
  if (m_tiff != nullptr) TIFFClose(m_tiff);
}

// Never less than 0: libtiff fills up what was not read from there on, and would
// begin before its buffer.
tmsize_t TiffFile::Read(thandle_t self, void* to, tmsize_t count) {
  auto& file = *static_cast<TiffFile*>(self);
  const auto wanted = static_cast<uint64_t>(count);
  if (wanted > file.m_allowance) {
    if (!file.Complained()) {
      (void)std::snprintf(file.m_message, sizeof(file.m_message),
                          "the file has its data read too many times");
    }
    return 0;
  }
  tmsize_t done = 0;
  while (done < count) {
    const ssize_t n =
        ::read(file.m_descriptor, static_cast<char*>(to) + done, static_cast<size_t>(count - done));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    done += n;
  }
  file.m_allowance -= static_cast<uint64_t>(done);
  file.m_bytesRead += static_cast<uint64_t>(done);
  return done;
}

tmsize_t TiffFile::WriteMemory(thandle_t self, void* from, tmsize_t count) try {
  auto& file = *static_cast<TiffFile*>(self);
  const auto* bytes = static_cast<const unsigned char*>(from);
  const uint64_t end = file.m_position + static_cast<uint64_t>(count);
  if (end > file.m_memory->size()) file.m_memory->resize(end);
  std::copy(bytes, bytes + count, file.m_memory->begin() + static_cast<ptrdiff_t>(file.m_position));
  file.m_position = end;
  return count;
} catch (const std::bad_alloc&) {
  errno = ENOMEM;
  return -1;
}

toff_t TiffFile::SeekMemory(thandle_t self, toff_t offset, int from) {
  auto& file = *static_cast<TiffFile*>(self);
  if (from == SEEK_CUR) offset += file.m_position;
  if (from == SEEK_END) offset += file.m_memory->size();
  return file.m_position = offset;
}

Outcome TiffFile::Complaint(int status) const {
  if (m_errorNumber != 0) return SystemFailure(status, m_errorNumber);
  return Failure(status, m_message[0] != '\0' ? m_message : m_warning);
}

Outcome TiffFile::DataWarnings() const {
  Outcome outcome;
  if (m_warnings == 0) return outcome;
  std::string words = std::string("parts of the picture are damaged: ") + m_warning;
  if (m_warnings > 1) words += " (the first of " + std::to_string(m_warnings) + ")";
  outcome.warnings.push_back(std::move(words));
  return outcome;
}

void TiffFile::Forget() {
  m_message[0] = '\0';
  m_warning[0] = '\0';
  m_warnings = 0;
  m_inData = false;
  m_errorNumber = 0;
  errno = 0;
}

int TiffFile::TakeError(TIFF*, void* self, const char*, const char* format, va_list values) {
  auto& file = *static_cast<TiffFile*>(self);
  if (!file.Complained()) {
    file.m_errorNumber = errno;
    (void)std::vsnprintf(file.m_message, sizeof(file.m_message), format, values);
  }
  return 1;
}

int TiffFile::TakeWarning(TIFF* tiff, void* self, const char* module, const char* format,
                          va_list values) {
  auto& file = *static_cast<TiffFile*>(self);
  const std::string_view words(format);
  // A value after the file's end is only warned about, and a page without its
  // colours or its resolution comes of it; a list of directories that leads back
  // into itself is, and pages are missing then. Lengths that it works out itself may
  // be right.
  if (words.starts_with("IO error") || words.find("IFD loop") != words.npos) {
    TakeError(tiff, self, module, format, values);
  } else if (file.m_inData ? !words.starts_with("Depr")  // as old-style JPEG is: no damage
                           : words.find("ignoring and calculating") != words.npos) {
    if (file.m_warnings++ == 0) {
      (void)std::vsnprintf(file.m_warning, sizeof(file.m_warning), format, values);
    }
  }
  return 1;
}

}  // namespace kz
