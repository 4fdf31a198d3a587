// What a command reads: files, what can be read only once, and documents whose records
// another system framed.
#pragma once

#include <string>

#include "Format/RecordFraming.h"
#include "Tools/kzica/Command.h"

namespace kzica {

// Makes an argument the path of a file that can be opened again and read anywhere: "-",
// standard input, and pipes become the path of an unlinked copy, and so does a document
// with framed records, without the framing. A copy lasts until CloseInput or as long as
// the process; others stay as they are, whether they can be read or not. Says what
// fails. Standard input that is a terminal is a UsageError. This and the others may be called
// from several threads.
Exit OpenInput(std::string& file);

// Gives up the copy that such a path leads to, if it can be made again, once all that
// opened it have closed it: a command that reads one file after the other needs no room
// for all of them.
void CloseInput(const std::string& path);

// How the records of the file were framed that such a path was made from.
kz::Framing FramingOf(const std::string& path);

// Whether `out` is the file that such a path was made from.
bool IsInput(const std::string& path, const std::string& out);

// What such a path is called: the argument that it was made from, or "standard input".
std::string InputName(const std::string& path);

}  // namespace kzica
