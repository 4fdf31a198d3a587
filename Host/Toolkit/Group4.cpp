// Group 4 data of a picture, for files that store them inside.
#include "Host/Fax/Fax.h"
#include "Host/Kernel/Kernel.h"
#include "Host/Toolkit/PictureFormats.h"
#include "Host/Toolkit/RowConversion.h"

namespace kz {

namespace {

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
