#include "API/Filters/Ica/Common/Ioca/CutFile.h"

#include "API/Filters/Ica/Common/Thread.h"

int ReadInto(LocalBuffer* buffer, tagHANDLE* handle, const FilterThreadState* state, int nPosition,
             unsigned nCount) {
  if (!buffer->Grow(nCount, __LINE__)) return K_ERROR_NO_MEMORY;
  if (K_RedirectedSeek(handle, nPosition, K_SEEK_START) < 0) return K_ERROR_SEEK;
  return ReadBound(state, handle, buffer->get(), nCount) ? K_SUCCESS : K_ERROR_READ;
}

int CutFile(OpenedFile* file, const char* pszName, const FilterThreadState* state,
            unsigned nLength) {
  LocalBuffer content;
  const int status = ReadInto(&content, file->get(), state, 0, nLength);
  if (status != K_SUCCESS) return status;
  constexpr int cut = K_OPEN_UPDATE | K_OPEN_CREATE | K_OPEN_TRUNCATE;
  if (!file->Reopen(pszName, cut, K_MODE_WRITABLE)) return K_ERROR_OPEN_WRITE;
  return WriteBound(state, file->get(), content.get(), nLength) ? K_SUCCESS : K_ERROR_WRITE;
}
