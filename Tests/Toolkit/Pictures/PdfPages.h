// PDF files as other programs see them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Support/TestPictures.h"
#include "Toolkit/Pictures/PictureFile.h"

namespace kz::test {

// A PDF file's objects, as its cross-reference table finds them.
struct Pdf {
  explicit Pdf(const std::string& path) {
    const Bytes bytes = FileBytes(path);
    const std::string text(bytes.begin(), bytes.end());
    const size_t table = std::stoul(text.substr(text.rfind("startxref\n") + 10));
    EXPECT_EQ(text.compare(table, 7, "xref\n0 "), 0);
    const size_t count = std::stoul(text.substr(table + 7));
    const size_t entries = text.find('\n', table + 5) + 1;
    size_t end = table;
    objects.resize(count);
    std::vector<std::pair<size_t, size_t>> places;  // where, and which
    for (size_t i = 1; i < count; ++i) {
      places.emplace_back(std::stoul(text.substr(entries + 20 * i, 10)), i);
    }
    std::sort(places.rbegin(), places.rend());
    for (const auto& [at, i] : places) {
      objects[i] = text.substr(at, end - at);
      end = at;
      EXPECT_TRUE(objects[i].starts_with(std::to_string(i) + " 0 obj\n")) << i;
    }
  }
  Bytes Stream(size_t number) const {
    const std::string& object = objects.at(number);
    const size_t length = std::stoul(object.substr(object.find("/Length ") + 8));
    const size_t at = object.find("\nstream\n") + 8;
    EXPECT_EQ(object.compare(at + length, 10, "\nendstream"), 0);
    return AsBytes(std::string_view(object).substr(at, length));
  }
  std::vector<std::string> objects;
};

// What a command says on both outputs, with its exit status.
struct Said {
  std::string words;
  int status;
};
inline Said Say(const std::string& command) {
  Said said{};
  FILE* out = ::popen((command + " 2>&1").c_str(), "r");
  if (out == nullptr) return {"not run", -1};
  char part[4096];
  for (size_t n; (n = std::fread(part, 1, sizeof(part), out)) > 0;) said.words.append(part, n);
  said.status = ::pclose(out);
  return said;
}

// qpdf finds nothing to complain of.
inline void ExpectPdfIsSound(const std::string& path) {
  const Said said = Say("qpdf --check " + path);
  EXPECT_EQ(said.status, 0) << said.words;
  EXPECT_NE(said.words.find("No syntax or stream encoding errors"), std::string::npos)
      << said.words;
}

// The pages as poppler draws them, which it must do in silence. A point of the page becomes
// a square of `kDrawnPixels` on each side: poppler blurs what it draws smaller.
constexpr int kDrawnPixels = 5;
inline std::vector<Bitmap> DrawnPages(const TemporaryFolder& folder, const std::string& name) {
  std::filesystem::create_directory(folder / "drawn");
  const Said said = Say("pdftoppm -r " + std::to_string(72 * kDrawnPixels) + " " + (folder / name) +
                        " " + (folder / "drawn/p"));
  EXPECT_EQ(said.status, 0);
  EXPECT_EQ(said.words, "");
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder / "drawn")) {
    names.push_back(entry.path());
  }
  std::sort(names.begin(), names.end());
  std::vector<Bitmap> pages(names.size());
  for (size_t i = 0; i < names.size(); ++i) {
    PictureReader reader;
    EXPECT_TRUE(reader.Open(names[i]).Ok());
    EXPECT_TRUE(reader.Read(1, pages[i]).Ok());
  }
  std::filesystem::remove_all(folder / "drawn");
  return pages;
}

// What a page drawn so shows at a place in points.
inline Color DrawnAt(const Bitmap& page, int x, int y) {
  return ColorAt(page, kDrawnPixels * x + kDrawnPixels / 2, kDrawnPixels * y + kDrawnPixels / 2);
}

}  // namespace kz::test
