// A file that is put together from pieces of other files.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Toolkit/Documents/PageIndex.h"
#include "Toolkit/Files/FileWindow.h"

namespace kz {

// What happens to a piece on its way.
enum class PieceForm {
  AsIs,
  AddPrefix,     // a 0x5A goes before each structured field that has none
  RemovePrefix,  // fields lose their 0x5A
  Wrap,          // raw image segment: is cut into Image Picture Data fields
  WrapPrefixed,  // the same with 0x5A
};

struct Piece {
  int source = kLiteral;  // an index into the files of the list
  PieceForm form = PieceForm::AsIs;
  ByteRange range;      // of the source
  std::string literal;  // bytes of its own

  static constexpr int kLiteral = -1;
};

// The pieces of one file, in order. A piece costs a few dozen bytes of memory,
// whatever its size; neighbours in the same source become one.
class PieceList {
 public:
  // Makes an indexed file a source. Fails when it isn't the file any more that was
  // indexed. A few files are kept open, however many there are.
  Outcome Open(const PageIndex& index, int& source);
  // The source's file, for now; like an empty file when it has gone meanwhile.
  FileWindow& File(int source);
  void Add(int source, ByteRange range, PieceForm form = PieceForm::AsIs);
  void Add(std::string literal);
  // Writes all pieces at the descriptor's position. -7 or -5 when that fails; -7, too,
  // when somebody wrote to a source meanwhile: the result may be made of two versions.
  Outcome Write(int descriptor);

 private:
  struct Source {
    std::string name;
    struct stat found;
  };
  struct OpenFile {
    int source;
    std::unique_ptr<FileWindow> window;
  };
  Outcome OpenWindow(int source, FileWindow& window) const;
  // Remembers it when somebody has written to a file that was read.
  void LookForChanges(const OpenFile& file);

  std::vector<Source> m_files;
  int64_t m_planned = 0;         // bytes of the result, about
  std::vector<OpenFile> m_open;  // the one used last comes last
  std::vector<Piece> m_pieces;
  std::string m_changed;  // the file that was written to; empty: none
};

}  // namespace kz
