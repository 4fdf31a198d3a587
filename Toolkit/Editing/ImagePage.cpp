#include "Toolkit/Editing/ImagePage.h"

#include <algorithm>

#include "API/Filters/Ica/Common/Ioca/Document.h"
#include "API/Filters/Ica/Common/Ioca/Page.h"
#include "API/Filters/Ica/Common/Thread.h"
#include "Toolkit/Documents/Document.h"
#include "Toolkit/Editing/Pieces.h"

namespace kz {

namespace {

// Lets the filter's field writers write into memory for its lifetime.
class FieldCapture {
 public:
  explicit FieldCapture(bool prefixed)
      : m_state(ThreadState()),
        m_write(m_state->pfnWrite),
        m_userData(m_state->pWriteUserData),
        m_prefix(m_state->bWriteCC) {
    m_state->pfnWrite = Write;
    m_state->pWriteUserData = &m_bytes;
    m_state->bWriteCC = prefixed ? 1 : 0;
  }
  ~FieldCapture() {
    m_state->pfnWrite = m_write;
    m_state->pWriteUserData = m_userData;
    m_state->bWriteCC = m_prefix;
  }
  FieldCapture(const FieldCapture&) = delete;
  FieldCapture& operator=(const FieldCapture&) = delete;

  std::string Take() { return std::move(m_bytes); }

 private:
  static int Write(tagHANDLE*, unsigned char* bytes, unsigned count, void* userData) {
    static_cast<std::string*>(userData)->append(reinterpret_cast<const char*>(bytes), count);
    return static_cast<int>(count);
  }

  FilterThreadState* m_state;
  K_WriteRoutine m_write;
  void* m_userData;
  uint32_t m_prefix;
  std::string m_bytes;
};

// The largest resolution that the descriptor's ten inches can express.
constexpr int kMaxResolution = INT16_MAX / 10;

}  // namespace

Outcome MakePageEnvelope(const std::string& file, bool prefixed, PageEnvelope& envelope) {
  PageInfo info;
  Outcome outcome = DescribePage(file, 1, false, info);
  if (!outcome.Ok()) return outcome;
  _BITMAPHANDLE bitmap = {};
  bitmap.nWidth = info.width;
  bitmap.nHeight = info.height;
  bitmap.nXResolution = std::min(info.xResolution, kMaxResolution);
  bitmap.nYResolution = std::min(info.yResolution, kMaxResolution);
  _SAVEDISPATCH save = {};
  save.pBitmap = &bitmap;
  {
    FieldCapture capture(prefixed);
    const int status = WriteMODCAStartPage(&save, nullptr);
    if (status != K_SUCCESS) return Failure(status);
    envelope.before = capture.Take();
  }
  FieldCapture capture(prefixed);
  const int status = WriteMODCAEndPage(nullptr);
  if (status != K_SUCCESS) return Failure(status);
  envelope.after = capture.Take();
  return {};
}

std::string MakeBeginDocument() {
  FieldCapture capture(false);
  return WriteMODCAStartDoc(nullptr) == K_SUCCESS ? capture.Take() : std::string();
}

std::string MakeEndDocument() {
  constexpr size_t nameLength = END_DOCUMENT_LENGTH - kIntroducerLength;
  std::string field;
  const Outcome outcome = MakeField(sf::kEndDocument, std::string(nameLength, '\0'), false, field);
  return outcome.Ok() ? field : std::string();
}

}  // namespace kz
