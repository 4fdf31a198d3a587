// What is a document among files of any kind.
#pragma once

#include <memory>
#include <string>

#include "Toolkit/Documents/Document.h"
#include "Toolkit/Documents/UnframedFile.h"

namespace kz {

// A file that is opened if it is a document, whatever frames its records.
class SourceOpener {
 public:
  // Opens and indexes it. Of a file that wasn't `named` but found, and that doesn't begin as a
  // document does, there must be more to it than some plausible field, else `isDocument` is
  // false. Fails as UnframedFile and Document do.
  Outcome Open(const std::string& path, bool named, bool& isDocument);
  // The document, which must not outlive this.
  std::unique_ptr<Document> Take() { return std::move(m_document); }

 private:
  UnframedFile m_file;
  std::unique_ptr<Document> m_document;
};

// Whether it begins as a document does, with framed records or without; nothing more is read.
bool BeginsAsDocument(const std::string& path);

// What is lost of a damaged file, in words.
std::string DamageWords(const PageIndex& index);

}  // namespace kz
