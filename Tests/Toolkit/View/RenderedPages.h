// A document, and the files that its pages are drawn into.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "Tests/Support/TemporaryFolder.h"
#include "Toolkit/Pictures/PictureFile.h"
#include "Toolkit/View/PageRenderer.h"

namespace kz::test {

// What a command prints.
inline std::string OutputOf(const std::string& command) {
  std::string output;
  FILE* pipe = ::popen(command.c_str(), "r");
  if (pipe == nullptr) return output;
  char piece[4096];
  for (size_t n = 0; (n = std::fread(piece, 1, sizeof(piece), pipe)) > 0;) output.append(piece, n);
  ::pclose(pipe);
  return output;
}

// A document and what is rendered of it.
class Rendered {
 public:
  explicit Rendered(const Bytes& file) : m_document(m_folder.File("file", file)) {
    m_opened = m_document.Open();
  }
  explicit Rendered(const std::string& path) : m_document(path) { m_opened = m_document.Open(); }

  // Writes pages; the name says the format. The warnings are of pages.
  Outcome Write(const std::string& name, const std::vector<int>& pages = {1},
                const RenderOptions& options = {.dpi = 72}) {
    if (!m_opened.Ok()) return m_opened;
    PageRenderer renderer(m_document, options);
    std::vector<std::string> warnings;
    Outcome outcome = renderer.Write(
        pages, FindRenderFormat(name)->format, m_folder / name, [&](int, const Outcome& told) {
          warnings.insert(warnings.end(), told.warnings.begin(), told.warnings.end());
        });
    outcome.warnings.insert(outcome.warnings.end(), warnings.begin(), warnings.end());
    return outcome;
  }
  std::string Path(const std::string& name) const { return m_folder / name; }
  // A page as a picture of a pixel for a point, drawn by us or, from a pdf, by poppler.
  Bitmap Picture(const std::string& name) const {
    std::string path = Path(name);
    if (name.ends_with(".pdf")) {
      OutputOf("pdftoppm -r 72 -png -singlefile " + path + " " + path);
      path += ".png";
    }
    PictureReader reader;
    Bitmap bitmap;
    Outcome outcome = reader.Open(path);
    if (outcome.Ok()) outcome = reader.Read(1, bitmap);
    EXPECT_TRUE(outcome.Ok()) << outcome.what;
    return bitmap;
  }

 private:
  TemporaryFolder m_folder;
  Document m_document;
  Outcome m_opened;
};

}  // namespace kz::test
