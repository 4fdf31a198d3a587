#include "API/Filters/Ica/Common/Ioca/Comment.h"

#include <algorithm>
#include <cstring>

#include "API/Filters/Ica/Common/Ioca/Document/FieldStream.h"
#include "API/Filters/Ica/Common/Thread.h"
#include "Format/ControlSequence.h"

const char aCrLf[] = "\r\n";

namespace {

// A control sequence that isn't chained: prefix and class, the length from itself on,
// the function type, then its parameters.
constexpr unsigned kHeader = 4;
constexpr unsigned kLengthAndType = 2;

// The part of the caller's buffer that is still free.
struct Room {
  unsigned char* to;
  unsigned left;

  // Whether room is left after what was stored.
  bool Store(const void* bytes, unsigned count) {
    const unsigned n = std::min(count, left);
    std::memcpy(to, bytes, n);
    to += n;
    left -= n;
    return left > 0;
  }
};

void FreeText(PTOKADECODERSTATE* state) {
  if (state->pTextData != nullptr) K_LocalFree(state->pTextData, __LINE__, KZICA_SOURCE);
  state->pTextData = nullptr;
}

// Goes past the Begin Page field of the page wanted or past End Document.
int SeekPage(PTOKADECODERSTATE* state) {
  uint32_t count = 0;
  do {
    const int status = ReadSFI(state->hFile, &state->sfiCur);
    if (status <= 0) return status;
    SkipSFData(state->hFile, &state->sfiCur);
    if (state->sfiCur.wTypeCategory == kz::sf::kBeginPage) ++count;
  } while (count != state->nPageNumber && state->sfiCur.wTypeCategory != kz::sf::kEndDocument);
  return K_SUCCESS;
}

// Stores the text of the field's Transparent Data. Whether room is left.
bool StoreText(const unsigned char* data, unsigned length, Room* room) {
  // Text is scanned like everything else, so a sequence in a text counts as well.
  for (unsigned p = 0; p + kHeader <= length; ++p) {
    const unsigned char* sequence = data + p;
    const bool begins = std::memcmp(sequence, kz::kSequencePrefix.data(), 2) == 0;
    if (!begins || sequence[3] != kz::ptx::kTransparentData) continue;
    const unsigned text = std::max<unsigned>(sequence[2], kLengthAndType) - kLengthAndType;
    if (!room->Store(sequence + kHeader, std::min(text, length - p - kHeader))) return false;
  }
  return true;
}

// What ReadText came to besides a status.
constexpr int kNoMemoryForText = 0;

// Reads the data of the current field into the state's text data.
int ReadText(PTOKADECODERSTATE* state) {
  FreeText(state);
  state->nTextDataLen = SFDataLength(state->sfiCur);
  // Not every host has a block of no bytes.
  const size_t size = std::max(state->nTextDataLen, 1u);
  state->pTextData = static_cast<unsigned char*>(K_LocalAlloc(size, 1, __LINE__, KZICA_SOURCE));
  if (state->pTextData == nullptr) return kNoMemoryForText;
  const int read = K_RedirectedRead(state->hFile, state->pTextData, state->nTextDataLen);
  return read == static_cast<int>(state->nTextDataLen) ? K_SUCCESS : K_ERROR_READ;
}

}  // namespace

int K_InitDecoder(PTOKADECODERSTATE* state, char* fileName) {
  state->hFile = K_InvalidHandle();
  state->pTextData = nullptr;
  if (fileName == nullptr) return K_ERROR_NO_FILE_NAME;
  state->hFile = K_RedirectedOpen(fileName, K_OPEN_READ, K_MODE_READABLE);
  return state->hFile != K_InvalidHandle() ? K_SUCCESS : K_ERROR_OPEN_READ;
}

void K_FreeDecoder(PTOKADECODERSTATE* state) {
  if (state->hFile != K_InvalidHandle()) K_RedirectedClose(state->hFile);
  FreeText(state);
}

int K_GetModcaComment(PTOKADECODERSTATE* state, unsigned char* buffer, unsigned int size) {
  if (size == 0 || buffer == nullptr) return K_ERROR_NO_BUFFER;
  int status = SeekPage(state);
  if (status <= 0) return status;
  Room room{buffer, size};
  for (;;) {
    status = ReadSFI(state->hFile, &state->sfiCur);
    if (status <= 0) return status;
    if (state->sfiCur.wTypeCategory != kz::sf::kPresentationText) {
      SkipSFData(state->hFile, &state->sfiCur);
      if (state->sfiCur.wTypeCategory == kz::sf::kEndDocument) return K_SUCCESS;
      continue;
    }
    status = ReadText(state);
    if (status == kNoMemoryForText) return K_SUCCESS;
    if (status < 0) return status;
    if (!StoreText(state->pTextData, state->nTextDataLen, &room)) return K_SUCCESS;
    if (!room.Store(aCrLf, 2)) return K_SUCCESS;
  }
}

int fltComment(_COMMENTDISPATCH* pDispatch) {
  int32_t& page = pDispatch->pLoadOptions->nPageNumber;
  page = std::max(page, 1);
  const uint32_t pages = pDispatch->pFileInfo->nTotalPages;
  if (pages < static_cast<uint32_t>(page)) page = static_cast<int32_t>(pages);

  PTOKADECODERSTATE state = {};
  state.nPageNumber = static_cast<uint32_t>(page);
  int status = K_InitDecoder(&state, const_cast<char*>(pDispatch->pszFileName));
  if (status != K_SUCCESS) return status;
  BindRead(ThreadState());
  status = K_GetModcaComment(&state, pDispatch->pBuffer, pDispatch->uBufferSize);
  K_FreeDecoder(&state);
  return status;
}
