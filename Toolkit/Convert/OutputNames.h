// What outputs are called: a pattern, filled in for each.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Pictures/PictureFile.h"

namespace kz {

// What has an output of its own. Formats that hold one picture have one for each picture of it.
enum class OutputPer : uint8_t { Document, Page, Group };

// In a pattern, %f is the source's name without its ending, %F the whole name, %d the number of
// the page, group or picture (%03d: with three digits), %g the name of the page group, %% a
// percent sign. The format's ending follows by itself. Outputs stand below the output folder in
// the folders in which the sources stand below theirs.
class K_EXPORT OutputNames {
 public:
  // An empty pattern is the usual one: %f, %f-%d for pages, %f-%g for groups. -9, with words for
  // people, for one that can't be: with a slash or another %, or without what tells outputs of
  // one source apart.
  Outcome Parse(const std::string& pattern, OutputPer per, PictureFormat format);

  // What sources have in common that may give outputs of the same names: it is empty, whatever
  // the source, when the pattern has neither %f nor %F and says nothing in advance; else two
  // sources with the same key can't be converted into one folder.
  std::string Key(const std::string& relative) const;
  // By this sources are shared out: those that may give outputs of the same names go together.
  std::string ShardKey(const std::string& relative) const;

  // The path below the output folder, with the format's ending. A suffix above 0 goes before
  // that: -2.
  std::string Name(const std::string& relative, size_t number, const std::string& group,
                   size_t suffix = 0) const;
  bool HasNumber() const { return m_hasNumber; }
  bool HasGroup() const { return m_hasGroup; }

 private:
  enum class Kind : uint8_t { Text, Stem, FileName, Number, Group };
  struct Piece {
    Kind kind = Kind::Text;
    std::string text;  // of Text; of Number the way to print it, for NumberedName
  };

  bool Has(Kind kind) const;

  std::vector<Piece> m_pieces;
  std::string m_ending;  // with its dot
  bool m_hasNumber = false;
  bool m_hasGroup = false;
};

// A group's name as a part of a file name: without slashes, control characters and blanks at its
// ends, at most 100 bytes; longer ones end with a hash of the whole. Never empty.
K_EXPORT std::string SafeName(const std::string& name);

}  // namespace kz
