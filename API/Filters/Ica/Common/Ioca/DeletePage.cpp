// The entry point that removes the second page of a document: fltDeletePage.
#include "API/Filters/Ica/Common/Ioca/CutFile.h"
#include "API/Filters/Ica/Common/Ioca/Navigation.h"
#include "API/Filters/Ica/Common/Thread.h"

int fltDeletePage(_DELETEDISPATCH* pDispatch) {
  FilterThreadState* state = ThreadState();
  BindReadWrite(state);
  const char* name = pDispatch->pszFileName;
  OpenedFile file(name, K_OPEN_UPDATE, K_MODE_WRITABLE);
  if (!file) return K_ERROR_OPEN_WRITE;

  // Without two pages nothing is cut, and the file is written back as it was.
  int start = 0;
  int end = 0;
  const auto failed = [](int status) { return status == K_ERROR_READ || status == K_ERROR_SEEK; };
  int status = FindEndOfPage(file.get(), 1, &start);
  if (!failed(status)) status = FindEndOfPage(file.get(), 2, &end);
  if (failed(status)) return status;
  if (status != K_SUCCESS) end = start;

  const int size = K_RedirectedSeek(file.get(), 0, K_SEEK_END);
  if (size < end) return K_ERROR_READ;
  const auto tailLength = static_cast<unsigned>(size - end);
  LocalBuffer tail;
  status = ReadInto(&tail, file.get(), state, end, tailLength);
  if (status != K_SUCCESS) return status;
  if (K_RedirectedSeek(file.get(), start, K_SEEK_START) < 0) return K_ERROR_SEEK;
  if (!WriteBound(state, file.get(), tail.get(), tailLength)) return K_ERROR_WRITE;
  tail.Reset();
  status = CutFile(&file, name, state, static_cast<unsigned>(start) + tailLength);
  return file.Close(status);
}
