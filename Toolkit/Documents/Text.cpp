#include "Toolkit/Documents/Text.h"

#include <cstring>
#include <map>
#include <new>
#include <vector>

#include "API/Filters/Ica/Common/Ica.h"
#include "Format/ControlSequence.h"
#include "Format/FieldScan.h"
#include "Toolkit/Documents/PageIndex.h"
#include "Toolkit/Fields/TextDecoder.h"
#include "Toolkit/Files/FileWindow.h"

namespace kz {

namespace {

// The text wanted of each page; page 0 takes that of all pages.
using PageTexts = std::map<int, std::string>;

class TextReader {
 public:
  // `decoder` is null for raw text.
  TextReader(TextDecoder* decoder, PageTexts& texts) : m_decoder(decoder), m_texts(texts) {}

  Outcome Run(FileWindow& file) {
    FieldWalk walk(file);
    ScannedField field;
    while (walk.Next(field)) {
      if (field.code == sf::kBeginPage) {
        ++m_pages;
      } else if (field.code == sf::kPresentationText && m_pages > 0) {
        if (Wanted(0) != nullptr || Wanted(m_pages) != nullptr) AddLines(DataOf(file, field));
      } else if (field.code == sf::kEndDocument) {
        return HasPages();
      }
    }
    const std::string place = " at byte " + std::to_string(field.offset);
    switch (field.fault) {
      case FieldFault::None:
        return Failure(K_ERROR_READ, "the file ends without an End Document field");
      case FieldFault::Cut:
      case FieldFault::CutData:
        return Failure(K_ERROR_READ, "the file ends within the structured field" + place);
      default:
        return Failure(K_ERROR_INVALID_FORMAT, "there is no valid structured field" + place);
    }
  }

 private:
  Outcome HasPages() const {
    const int last = m_texts.empty() ? 0 : m_texts.rbegin()->first;
    if (last <= m_pages) return {};
    return Failure(K_ERROR_INVALID_FORMAT, "there is no page " + std::to_string(last) +
                                               ", the last is page " + std::to_string(m_pages));
  }

  std::string* Wanted(int page) {
    const auto text = m_texts.find(page);
    return text != m_texts.end() ? &text->second : nullptr;
  }

  // A field is a line, and so is what stands on a baseline of its own.
  void AddLines(ByteSpan data) {
    std::string line;
    ControlSequences sequences({reinterpret_cast<const char*>(data.data()), data.size()});
    ControlSequence sequence;
    while (sequences.Next(sequence)) {
      if (sequence.Type() == ptx::kTransparentData) {
        line.append(sequence.parameters);
      } else if (sequence.MovesBaseline() && !line.empty()) {
        EndLine(line);
      }
    }
    EndLine(line);
  }

  void EndLine(std::string& line) {
    const std::string text = m_decoder != nullptr ? m_decoder->Decode(line) + "\n" : line + aCrLf;
    for (const int page : {0, m_pages}) {
      if (std::string* wanted = Wanted(page)) wanted->append(text);
    }
    line.clear();
  }

  TextDecoder* m_decoder;
  PageTexts& m_texts;
  int m_pages = 0;
};

Outcome Read(const std::string& file, const std::string& encoding, PageTexts& texts) {
  TextDecoder decoder;
  const bool raw = encoding == kRawEncoding;
  Outcome outcome = raw ? Outcome{} : decoder.Open(encoding);
  Container container = Container::Modca;
  if (outcome.Ok()) outcome = FindContainer(file, container);
  FileWindow window;
  if (outcome.Ok()) outcome = window.Open(file);
  if (!outcome.Ok()) return outcome;
  if (container == Container::Ioca) {
    if (texts.empty() || texts.rbegin()->first <= 1) return {};
    return Failure(K_ERROR_INVALID_FORMAT, "a bare image has one page only");
  }
  return TextReader(raw ? nullptr : &decoder, texts).Run(window);
}

// Runs the comment reader once, into a buffer filled with one byte.
int FillComment(const std::string& file, int page, unsigned char fill,
                std::vector<unsigned char>& buffer) {
  std::memset(buffer.data(), fill, buffer.size());
  _LOADOPTIONS options = {sizeof(options), 0, 0, 0, page};
  _IMAGEFILEINFO info = {};
  info.uStructSize = sizeof(info);
  info.nTotalPages = INT32_MAX;
  _COMMENTDISPATCH dispatch = {file.c_str(), buffer.data(), static_cast<uint32_t>(buffer.size()),
                               &options, &info};
  return fltComment(&dispatch);
}

// The reader doesn't say how much it stored: what stays different under two different
// fillings wasn't stored.
size_t StoredBytes(const std::vector<unsigned char>& a, const std::vector<unsigned char>& b) {
  size_t stored = 0;
  while (stored < a.size() && a[stored] == b[stored]) ++stored;
  return stored;
}

}  // namespace

Outcome ReadTexts(const std::string& file, const std::vector<int>& pages,
                  const std::string& encoding, std::vector<std::string>& texts) try {
  PageTexts found;
  for (const int page : pages) found.try_emplace(page);
  Outcome outcome = Read(file, encoding, found);
  texts.clear();
  for (const int page : pages) texts.push_back(found[page]);
  return outcome;
} catch (const std::bad_alloc&) {
  return Failure(K_ERROR_NO_MEMORY);
}

Outcome ReadText(const std::string& file, int page, const std::string& encoding,
                 std::string& text) {
  std::vector<std::string> texts;
  Outcome outcome = ReadTexts(file, {page}, encoding, texts);
  text = texts.empty() ? std::string() : std::move(texts[0]);
  return outcome;
}

Outcome ReadComment(const std::string& file, int page, std::string& comment) try {
  constexpr size_t firstSize = 1 << 16;
  constexpr size_t maxSize = size_t{1} << 31;
  comment.clear();
  for (size_t size = firstSize; size <= maxSize; size *= 2) {
    std::vector<unsigned char> zeros(size);
    std::vector<unsigned char> ones(size);
    const int status = FillComment(file, page, 0x00, zeros);
    if (FillComment(file, page, 0xFF, ones) != status) return Failure(K_ERROR_READ);
    const size_t stored = StoredBytes(zeros, ones);
    // A full buffer may have cut the text.
    if (stored == size) continue;
    comment.assign(zeros.begin(), zeros.begin() + static_cast<std::ptrdiff_t>(stored));
    return status == K_SUCCESS ? Outcome{} : Failure(status);
  }
  return Failure(K_ERROR_NO_MEMORY);
} catch (const std::bad_alloc&) {
  return Failure(K_ERROR_NO_MEMORY);
}

}  // namespace kz
