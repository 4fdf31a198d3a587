// Everything that a file consists of, field by field, for people who want to see why
// it is as it is: also past what can't be read.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Format/DefaultEncoding.h"
#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Fields/TextDecoder.h"

namespace kz {

enum class DumpKind {
  StructuredField,
  SelfDefiningField,  // of an image segment
  ControlSequence,    // of presentation text
  Problem,            // what can't be read and why
};

// A value of a field, in words or as a number.
struct DumpValue {
  const char* name;  // as JSON has it: "xUnits"
  std::string words;
  int64_t number;
  bool isNumber;
};

struct DumpEvent {
  DumpKind kind = DumpKind::StructuredField;
  int depth = 0;           // of the fields that enclose it
  int64_t offset = 0;      // in the file
  int64_t length = 0;      // all bytes of it but for the 0x5A; of a problem those passed over
  bool prefixed = false;   // a 0x5A stands before it
  std::string identifier;  // hexadecimal
  std::string acronym;     // empty when it has none
  std::string name;        // in words
  std::vector<std::string> flags;
  std::string extension;  // hexadecimal, without the length byte
  std::vector<DumpValue> values;
  std::string data;  // hexadecimal, the beginning, when there are no values

  void Add(const char* value, int64_t number);
  void Add(const char* value, std::string words);
};

// Takes the events in the order of the file.
class DumpSink {
 public:
  virtual ~DumpSink() = default;
  // False ends the dump.
  virtual bool Take(const DumpEvent& event) = 0;
};

// Takes lines, each with its line end. False ends the dump.
using DumpOutput = std::function<bool(std::string_view)>;

// A table, one line for each event: offset, 0x5A, length, identifier, acronym, name
// indented by depth, values. Begins with a line of headings.
K_EXPORT std::unique_ptr<DumpSink> MakeTextDump(DumpOutput output);
// One JSON object for each event, each on a line: "kind", "offset", "length" and the
// others of DumpEvent that have something to say; "values" by their names, several of
// one name as a list. With the name of a file each begins with "file".
K_EXPORT std::unique_ptr<DumpSink> MakeJsonDump(DumpOutput output, std::string file = {});

struct DumpOptions {
  std::string encoding = kDefaultEncoding;  // of names and text
};

// Dumps a document or a bare image. Holds one field at a time, be the file as large
// as it may. What can't be read is an event and no failure; then the dump goes on at
// the next field that looks like one. Fails with -10 for a file that can't be opened,
// -7 when reading fails or there is nothing to read, -9 for an unknown encoding and for
// a file without any field; 1 also when the sink ended it.
K_EXPORT Outcome DumpFile(const std::string& file, const DumpOptions& options, DumpSink& sink);

}  // namespace kz
