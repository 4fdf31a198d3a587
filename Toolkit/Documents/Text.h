// The text of a document: what the presentation text of its pages shows.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Format/DefaultEncoding.h"
#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Fields/TextLine.h"

namespace kz {

// How people ask for ReadRawTexts instead of an encoding.
constexpr const char* kRawEncoding = "raw";

struct TextPage {
  int page = 0;                       // from 1
  std::vector<TextLine> lines;        // in reading order
  std::vector<std::string> warnings;  // what is wrong with the page's text
};

struct TextOptions {
  std::vector<int> pages;  // to be read, in any order; all when empty
  // The encoding of all text, as iconv calls it, whatever the document says. When empty,
  // each font's own: that of the code page which the document brings along for it, or
  // names; UTF-16 with TrueType fonts; else that which Begin Document names, or
  // kDefaultEncoding.
  std::string encoding;
};

// Takes a page; false ends the reading.
using TakeTextPage = std::function<bool(const TextPage&)>;

// Reads the text of pages, one after the other in the order of the file, also of those
// without any. Pages are what stands between Begin and End Page outside of resources;
// text of overlays isn't theirs. A bare image has no page of text. Damage ends nothing:
// the warnings say what was passed over. Fails with -10 for a file that can't be opened,
// -9 for an unknown encoding or a page that isn't there, and with what is wrong when
// damage leaves no page.
K_EXPORT Outcome ReadTexts(const std::string& file, const TextOptions& options,
                           const TakeTextPage& take);

// Takes the text of a page; false ends the reading.
using TakeRawText = std::function<bool(int page, const std::string& text)>;

// Reads the bytes of the transparent text of pages, all when none is named: a line that
// ends with CR LF for each presentation text field and each move to a baseline in it.
// Otherwise as ReadTexts.
K_EXPORT Outcome ReadRawTexts(const std::string& file, const std::vector<int>& pages,
                              const TakeRawText& take);

}  // namespace kz
