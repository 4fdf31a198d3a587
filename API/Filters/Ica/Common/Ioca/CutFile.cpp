#include "API/Filters/Ica/Common/Ioca/CutFile.h"

#include "API/Filters/Ica/Common/Ioca/Document/FieldStream.h"
#include "API/Filters/Ica/Common/Thread.h"
#include "Format/FieldBuilder.h"

namespace {

int Rewrite(OpenedFile* file, const char* pszName, const FilterThreadState* state,
            const FilePart& part, kz::ByteSpan inPlace) {
  const int size = K_RedirectedSeek(file->get(), 0, K_SEEK_END);
  if (size < part.to) return K_ERROR_READ;
  LocalBlock content(KZICA_SOURCE);
  const int status = ReadInto(&content, file->get(), state, 0, static_cast<unsigned>(size));
  if (status != K_SUCCESS) return status;
  constexpr int cut = K_OPEN_UPDATE | K_OPEN_CREATE | K_OPEN_TRUNCATE;
  if (!file->Reopen(pszName, cut, K_MODE_WRITABLE)) return K_ERROR_OPEN_WRITE;
  const auto write = [&](kz::ByteSpan bytes) {
    const auto count = static_cast<unsigned>(bytes.size());
    return count == 0 || WriteBound(state, file->get(), bytes.data(), count);
  };
  const kz::ByteSpan all(content.get(), static_cast<size_t>(size));
  if (write(all.first(static_cast<size_t>(part.from))) && write(inPlace) &&
      write(all.subspan(static_cast<size_t>(part.to)))) {
    return K_SUCCESS;
  }
  if (K_RedirectedSeek(file->get(), 0, K_SEEK_START) == 0) write(all);
  return K_ERROR_WRITE;
}

// Makes a page whose End Page field begins with the part one that ends with it.
int LengthenPage(tagHANDLE* handle, const FilePart& part, int prefix) {
  const auto put = [&](int at, uint16_t code, int length, int extension) {
    unsigned char field[2 * kz::kIntroducerLength] = {};
    kz::PutIntroducer(field, static_cast<unsigned>(length - prefix), code);
    if (extension > 0) {
      field[5] = kz::kFlagExtension;
      field[kz::kIntroducerLength] = static_cast<unsigned char>(extension);
    }
    if (K_RedirectedSeek(handle, at, K_SEEK_START) < 0) return K_ERROR_SEEK;
    return WriteStructuredField(handle,
                                {field, kz::kIntroducerLength + static_cast<unsigned>(extension)});
  };
  const int shortest = static_cast<int>(kz::kIntroducerLength) + prefix;
  const int end = part.to - shortest;
  const int gap = end - part.from;
  // Too short for a field of its own, it is an extension of End Page.
  if (gap < shortest) return put(part.from, kz::sf::kEndPage, shortest + gap, gap);
  int status = put(end, kz::sf::kEndPage, shortest, 0);
  // Fields that are far shorter than those whose length begins with 0x5A.
  constexpr int usual = 0x4000;
  int length = gap % usual >= shortest ? gap % usual : gap % usual + usual;
  for (int at = part.from; status == K_SUCCESS && at < end; length = usual) {
    status = put(at, kz::sf::kNoOperation, length, 0);
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

int CutFile(OpenedFile* file, const char* pszName, const FilterThreadState* state,
            const FilePart& part) {
  return Rewrite(file, pszName, state, part, {});
}

int CutAfterPage(OpenedFile* file, const char* pszName, const FilterThreadState* state,
                 const FilePart& part) {
  const int prefix = state->bWriteCC != 0 ? 1 : 0;
  const auto endPage =
      kz::FixedFieldBuilder<1 + kz::kIntroducerLength>(kz::sf::kEndPage, prefix != 0).Finish();
  const FilePart withEndPage{part.from - static_cast<int>(endPage.size()), part.to};
  const int status = LengthenPage(file->get(), withEndPage, prefix);
  if (status != K_SUCCESS) return status;
  return Rewrite(file, pszName, state, withEndPage, endPage);
}
