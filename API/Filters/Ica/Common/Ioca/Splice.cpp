// Pages in the middle of a document: the splices of fltSave, and fltDeletePage.
#include "API/Filters/Ica/Common/Ioca/Splice.h"

#include "API/Filters/Ica/Common/Ioca/CutFile.h"
#include "API/Filters/Ica/Common/Ioca/Document/Navigation.h"
#include "API/Filters/Ica/Common/Ioca/OpenedFile.h"
#include "API/Filters/Ica/Common/Ioca/WriteImage.h"
#include "API/Filters/Ica/Common/Thread.h"

namespace {

// That says nothing of the page sought.
bool FailedInFile(int status) { return status == K_ERROR_READ || status == K_ERROR_SEEK; }

// Finds the second page; without one, the empty part after the first. Returns 1, or
// the code of FindEndOfPage for the first page or for a failure.
int FindSecondPage(tagHANDLE* handle, FilePart* page) {
  int status = FindEndOfPage(handle, 1, &page->from);
  page->to = page->from;
  if (status != K_SUCCESS) return status;
  int end = 0;
  status = FindEndOfPage(handle, 2, &end);
  if (status == K_SUCCESS) page->to = end;
  return FailedInFile(status) ? status : K_SUCCESS;
}

// Finds what the page to be written replaces. Returns 1 or why it can't be written.
int FindPlace(tagHANDLE* handle, bool insert, FilePart* place) {
  const int status =
      insert ? FindEndOfPage(handle, 1, &place->from) : FindSecondPage(handle, place);
  if (insert) place->to = place->from;
  // After End Document no reader would look for a page.
  return status == K_END_OF_DOCUMENT ? K_ERROR_INVALID_FORMAT : status;
}

}  // namespace

int SaveSpliced(_SAVEDISPATCH* pSave, const FilterThreadState* state, bool insert) {
  OpenedFile file(pSave->pszFileName, K_OPEN_UPDATE, K_MODE_WRITABLE);
  if (!file) return K_ERROR_OPEN_WRITE;
  FilePart place;
  int status = FindPlace(file.get(), insert, &place);
  if (status != K_SUCCESS) return status;

  const int size = K_RedirectedSeek(file.get(), 0, K_SEEK_END);
  if (size < place.to) return K_ERROR_READ;
  const auto tailLength = static_cast<unsigned>(size - place.to);
  LocalBlock tail(KZICA_SOURCE);
  status = ReadInto(&tail, file.get(), state, place.to, tailLength);
  if (status != K_SUCCESS) return status;

  if (K_RedirectedSeek(file.get(), place.from, K_SEEK_START) < 0) return K_ERROR_SEEK;
  status = AppendPage(pSave, file.get(), 0);
  if (status != K_SUCCESS) return file.Close(status);
  const int end = K_RedirectedSeek(file.get(), 0, K_SEEK_CURRENT);
  if (end < 0) {
    status = K_ERROR_SEEK;
  } else if (end < place.to) {
    // The tail stays where it is until the bytes before it can be cut out.
    tail.Reset();
    status = CutAfterPage(&file, pSave->pszFileName, state, {end, place.to});
  } else if (!WriteBound(state, file.get(), tail.get(), tailLength)) {
    status = K_ERROR_WRITE;
  }
  return file.Close(status);
}

int fltDeletePage(_DELETEDISPATCH* pDispatch) {
  FilterThreadState* state = ThreadState();
  BindReadWrite(state);
  const char* name = pDispatch->pszFileName;
  OpenedFile file(name, K_OPEN_UPDATE, K_MODE_WRITABLE);
  if (!file) return K_ERROR_OPEN_WRITE;

  // Without two pages nothing is cut, and the file is written back as it was.
  FilePart page;
  int status = FindSecondPage(file.get(), &page);
  if (FailedInFile(status)) return status;
  status = CutFile(&file, name, state, page);
  return file.Close(status);
}
