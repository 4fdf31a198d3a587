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
  status = CutFile(&file, name, state, start, end);
  return file.Close(status);
}
