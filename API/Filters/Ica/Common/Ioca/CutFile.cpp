#include "API/Filters/Ica/Common/Ioca/CutFile.h"

#include "API/Filters/Ica/Common/Ioca/BigEndian.h"
#include "API/Filters/Ica/Common/Ioca/StructuredField.h"
#include "API/Filters/Ica/Common/Thread.h"

namespace {

// End Page without data, after a 0x5A.
constexpr unsigned char kEndPage[] = {CARRIAGE_CONTROL,
                                      0,
                                      SF_INTRODUCER_LENGTH,
                                      SF_CLASS,
                                      SF_END_PAGE >> 8,
                                      SF_END_PAGE & 0xFF,
                                      0,
                                      0,
                                      0};

// Bytes that take the place of a range.
struct Replacement {
  int from;
  int to;
  const unsigned char* bytes;
  unsigned count;
};

int Rewrite(OpenedFile* file, const char* pszName, const FilterThreadState* state,
            const Replacement& part) {
  const int size = K_RedirectedSeek(file->get(), 0, K_SEEK_END);
  if (size < part.to) return K_ERROR_READ;
  LocalBlock content(KZICA_SOURCE);
  const int status = ReadInto(&content, file->get(), state, 0, static_cast<unsigned>(size));
  if (status != K_SUCCESS) return status;
  constexpr int cut = K_OPEN_UPDATE | K_OPEN_CREATE | K_OPEN_TRUNCATE;
  if (!file->Reopen(pszName, cut, K_MODE_WRITABLE)) return K_ERROR_OPEN_WRITE;
  const auto write = [&](const unsigned char* bytes, int count) {
    return count == 0 || WriteBound(state, file->get(), bytes, static_cast<unsigned>(count));
  };
  if (write(content.get(), part.from) && write(part.bytes, static_cast<int>(part.count)) &&
      write(content.get() + part.to, size - part.to)) {
    return K_SUCCESS;
  }
  if (K_RedirectedSeek(file->get(), 0, K_SEEK_START) == 0) write(content.get(), size);
  return K_ERROR_WRITE;
}

// Makes a page whose End Page field begins at nFrom one that ends at nTo.
int LengthenPage(tagHANDLE* handle, int nFrom, int nTo, int prefix) {
  const auto put = [&](int at, uint16_t code, int length, int extension) {
    unsigned char field[2 * SF_INTRODUCER_LENGTH] = {0, 0, SF_CLASS};
    PutBig16(field, static_cast<uint32_t>(length - prefix));
    PutBig16(field + 3, code);
    if (extension > 0) {
      field[5] = SF_FLAG_EXTENSION;
      field[SF_INTRODUCER_LENGTH] = static_cast<unsigned char>(extension);
    }
    if (K_RedirectedSeek(handle, at, K_SEEK_START) < 0) return K_ERROR_SEEK;
    return WriteStructuredField(handle, field,
                                SF_INTRODUCER_LENGTH + static_cast<unsigned>(extension));
  };
  const int shortest = static_cast<int>(SF_INTRODUCER_LENGTH) + prefix;
  const int end = nTo - shortest;
  const int gap = end - nFrom;
  // Too short for a field of its own, it is an extension of End Page.
  if (gap < shortest) return put(nFrom, SF_END_PAGE, shortest + gap, gap);
  int status = put(end, SF_END_PAGE, shortest, 0);
  // Fields that are far shorter than those whose length begins with 0x5A.
  constexpr int usual = 0x4000;
  int length = gap % usual >= shortest ? gap % usual : gap % usual + usual;
  for (int at = nFrom; status == K_SUCCESS && at < end; length = usual) {
    status = put(at, SF_NO_OPERATION, length, 0);
    at += length;
  }
  return status;
}

}  // namespace

int ReadInto(LocalBlock* buffer, tagHANDLE* handle, const FilterThreadState* state, int nPosition,
             unsigned nCount) {
  if (!buffer->Grow(nCount, __LINE__)) return K_ERROR_NO_MEMORY;
  if (K_RedirectedSeek(handle, nPosition, K_SEEK_START) < 0) return K_ERROR_SEEK;
  return ReadBound(state, handle, buffer->get(), nCount) ? K_SUCCESS : K_ERROR_READ;
}

int CutFile(OpenedFile* file, const char* pszName, const FilterThreadState* state, int nFrom,
            int nTo) {
  return Rewrite(file, pszName, state, {nFrom, nTo, nullptr, 0});
}

int CutAfterPage(OpenedFile* file, const char* pszName, const FilterThreadState* state, int nFrom,
                 int nTo) {
  const int prefix = state->bWriteCC != 0 ? 1 : 0;
  const unsigned endPage = SF_INTRODUCER_LENGTH + static_cast<unsigned>(prefix);
  const int from = nFrom - static_cast<int>(endPage);
  const int status = LengthenPage(file->get(), from, nTo, prefix);
  if (status != K_SUCCESS) return status;
  return Rewrite(file, pszName, state, {from, nTo, kEndPage + 1 - prefix, endPage});
}
