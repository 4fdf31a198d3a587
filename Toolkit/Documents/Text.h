// The text of a document: what its presentation text fields show.
#pragma once

#include <string>
#include <vector>

#include "Format/CodePage.h"
#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"

namespace kz {

// The encoding that leaves the bytes as they are.
constexpr const char* kRawEncoding = "raw";

// Reads the text of a page, or with page 0 of all pages, whole however long it is: a
// line for each presentation text field and baseline in it, in UTF-8, or raw with the
// ends of lines that comments have, CR LF. Chained text is read too. `encoding` is
// the document's, kDefaultEncoding as a rule; iconv knows it by this name. A bare image has no
// text, which is no failure. Fails with -10 for a file that can't be opened, -9 for a page that
// isn't there, an unknown encoding or a damaged field, -7 for a document that doesn't end; with the
// last two `text` holds what stands before.
K_EXPORT Outcome ReadText(const std::string& file, int page, const std::string& encoding,
                          std::string& text);

// The text of each of these pages, in their order, in one pass over the file. Fails
// likewise.
K_EXPORT Outcome ReadTexts(const std::string& file, const std::vector<int>& pages,
                           const std::string& encoding, std::vector<std::string>& texts);

// The comment that the filter finds: the text from a page on to the end of the
// document, all of it, as bytes with CR LF. It knows no chained control sequences.
// Fails as ReadText does, and for bare images with -9.
K_EXPORT Outcome ReadComment(const std::string& file, int page, std::string& comment);

}  // namespace kz
