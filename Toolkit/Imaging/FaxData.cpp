#include "Toolkit/Imaging/FaxData.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>

#include "Host/Fax/Fax.h"
#include "Host/Kernel/Kernel.h"
#include "Toolkit/Imaging/RowConversion.h"

namespace kz {

namespace {

// Data in memory that the fax library reads like a file: its address is the file
// handle, so that the read routine needs no user data and leaves the host's alone.
struct MemoryFile {
  const unsigned char* data;
  size_t left;

  tagHANDLE* Handle() { return reinterpret_cast<tagHANDLE*>(this); }

  static int Read(tagHANDLE* handle, unsigned char* buffer, unsigned int count, void*) {
    auto* file = reinterpret_cast<MemoryFile*>(handle);
    const size_t n = std::min({file->left, size_t{count}, size_t{INT_MAX}});
    if (n > 0) std::memcpy(buffer, file->data, n);
    file->data += n;
    file->left -= n;
    return static_cast<int>(n);
  }
};

// Keeps the memory read routine in force for its lifetime.
class MemoryReading {
 public:
  MemoryReading() { Exchange(); }
  ~MemoryReading() { Exchange(); }
  MemoryReading(const MemoryReading&) = delete;
  MemoryReading& operator=(const MemoryReading&) = delete;

 private:
  void Exchange() {
    K_FilterIO(nullptr, &m_routine, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
               nullptr);
  }
  K_ReadRoutine m_routine = MemoryFile::Read;
};

struct RowsTaken {
  int first;  // the stored row that row 0 becomes
  int count;
};

// `userData` is a RowsTaken.
int TakeRows(void*, _BITMAPHANDLE* bitmap, unsigned char* rows, uint32_t, int row, int count,
             void* userData) {
  auto* taken = static_cast<RowsTaken*>(userData);
  taken->count = row + count;
  row += taken->first;
  const size_t bytes = static_cast<size_t>(bitmap->nBytesPerLine);
  for (int i = 0; i < count; ++i) {
    const int stored =
        K_PutBitmapRow(bitmap, rows + static_cast<size_t>(i) * bytes, row + i, bytes);
    if (stored < 0) return stored;
  }
  return K_SUCCESS;
}

// Takes a row for nothing but its number.
int CountRow(void*, _BITMAPHANDLE*, unsigned char*, uint32_t, int row, int count, void* userData) {
  *static_cast<int*>(userData) = row + count;
  return K_SUCCESS;
}

// The data encoded so far: its address is the file handle, so that the write
// routine needs no user data and leaves the host's alone.
struct MemorySink {
  std::vector<unsigned char>* data;
  bool outOfMemory;

  static int Write(tagHANDLE* handle, unsigned char* buffer, unsigned int count, void*) {
    auto* sink = reinterpret_cast<MemorySink*>(handle);
    try {
      sink->data->insert(sink->data->end(), buffer, buffer + count);
    } catch (const std::bad_alloc&) {
      sink->outOfMemory = true;
      return -1;
    }
    return static_cast<int>(count);
  }
};

void ExchangeWrite(K_WriteRoutine& routine) {
  K_FilterIO(nullptr, nullptr, &routine, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
             nullptr);
}

}  // namespace

int CountFaxRows(const unsigned char* data, size_t size, _LOADINFO& info, bool* damaged,
                 int* rows) {
  *rows = 0;
  Bitmap row;  // the decoder asks it for the length of rows only
  const int created = row.Create(static_cast<int>(info.nWidth), 1, 1);
  if (created != K_SUCCESS) return created;
  MemoryFile file{data, size};
  _LOADDISPATCH dispatch{};
  dispatch.pBitmap = row.Handle();
  dispatch.pfnCallback = CountRow;
  dispatch.pUserData = rows;
  const MemoryReading reading;
  const int status =
      K_LoadRawFax(&dispatch, file.Handle(), &info, nullptr, row.Handle(), CountRow, 1, rows);
  *damaged = status == K_SUCCESS && dispatch.nLoadError < 0;
  return status == K_SUCCESS || status < 0 ? status : K_ERROR_INVALID_FORMAT;
}

int DecodeFax(const unsigned char* data, size_t size, _LOADINFO& info, int firstRow, Bitmap& bitmap,
              bool* damaged, int* rows) {
  RowsTaken taken{firstRow, 0};
  MemoryFile file{data, size};
  _LOADDISPATCH dispatch{};
  dispatch.pBitmap = bitmap.Handle();
  dispatch.pfnCallback = TakeRows;
  dispatch.pUserData = &taken;
  const MemoryReading reading;
  const int status =
      K_LoadRawFax(&dispatch, file.Handle(), &info, nullptr, bitmap.Handle(), TakeRows, 1, &taken);
  if (rows != nullptr) *rows = taken.count;
  *damaged = status == K_SUCCESS && dispatch.nLoadError < 0;
  // TakeRows gives 1 or a failure, and so must whoever calls it.
  return status == K_SUCCESS || status < 0 ? status : K_ERROR_INVALID_FORMAT;
}

Outcome EncodeGroup4(const Bitmap& bitmap, std::vector<unsigned char>& data) {
  data.clear();
  _BITMAPHANDLE record = *bitmap.Handle();
  _SAVEDISPATCH dispatch{};
  dispatch.pBitmap = &record;
  dispatch.nBitsPerPixel = 1;
  dispatch.pfnBeginRows = BeginRows;
  dispatch.pfnGetRow = GetRow;
  dispatch.pfnEndRows = EndRows;
  MemorySink sink{&data, false};
  K_WriteRoutine routine = MemorySink::Write;
  ExchangeWrite(routine);
  const int status = K_SaveRawFax(&dispatch, reinterpret_cast<tagHANDLE*>(&sink), &record, 1,
                                  K_FAX_G4, 0, nullptr, nullptr, nullptr, 0, nullptr, nullptr);
  ExchangeWrite(routine);
  if (status == K_SUCCESS) return {};
  return Failure(sink.outOfMemory ? K_ERROR_NO_MEMORY : status);
}

}  // namespace kz
