// What files hold, told from their fields by hand, and what stays of it under damage.
#include <functional>
#include <sstream>

#include "Format/FieldScan.h"
#include "Tests/Support/EditedDocuments.h"
#include "Toolkit/Editing/Repair.h"

namespace kz::test {
namespace {

using Pictures = std::vector<std::vector<int>>;

// A letter for each kind of picture.
std::string Kinds(const PageIndex& index) {
  std::string kinds;
  for (const IndexedPicture& picture : index.pictures) {
    kinds += "I1JT"[static_cast<size_t>(picture.kind)];
  }
  return kinds;
}

Pictures PicturesOfPages(const PageIndex& index) {
  Pictures pages;
  for (int page = 1; page <= static_cast<int>(index.pages.size()); ++page) {
    pages.push_back(index.PicturesOf(page));
  }
  return pages;
}

// "PGP00001 1+2 " for a group of two pages from the first on.
std::string Groups(const PageIndex& index) {
  std::ostringstream groups;
  for (const IndexedGroup& group : index.groups) {
    groups << group.name << " " << group.firstPage << "+" << group.pages << " ";
  }
  return groups.str();
}

std::string Missing(const PageIndex& index) {
  std::ostringstream names;
  for (const IncludedName& include : index.includes) {
    if (include.resource == kNoIndex) names << include.name << " ";
  }
  return names.str();
}

TEST(PageModel, FilesHoldWhatTheirFieldsSay) {
  const struct {
    const char* file;
    Pictures pages;
    const char* kinds;
    const char* groups = "";
    size_t resources = 0;
    const char* missing = "";
    bool text = false;
  } files[] = {
      {"letter-g4.ica", {{1}}, "I"},
      {"report-g4.mda", {{1}, {2}, {3}}, "III"},
      {"report-mixed.afp", {{1}, {2}, {3}, {4}, {5}, {6}}, "IIIIII"},
      {"letter-scattered.afp", {{1}}, "I"},
      {"formatter.afp", {{1}, {2}}, "II", "PGP00001 1+2 ", 2, "", true},
      {"damaged-truncated.mda", {{1}}, "I"},
      {"damaged-length.mda", {{}}, ""},
      {"foreign/bare_named.ica", {{1}}, "I"},
      {"foreign/bare_two.ica", {{1}, {2}}, "II"},
      {"foreign/bottomup_none.afp", {{1}}, "I"},
      {"foreign/extres.res.afp", {}, "IIIII", "", 5},
      {"foreign/fop_extres.afp",
       {{}},
       "",
       "PGP00001 1+1 ",
       0,
       "RES00001 RES00002 RES00003 RES00004 RES00005 ",
       true},
      {"foreign/fop_pseg_native.afp", {{1, 2, 3, 4, 5}}, "IJIJT", "PGP00001 1+1 ", 5, "", true},
      {"foreign/fop_svg_nogoca.afp", {{1}}, "I", "PGP00001 1+1 ", 1, "", true},
      {"foreign/fs10_g4_vsize0.afp", {{1}}, "I"},
      {"foreign/fs10_none_noencoding.afp", {{1}}, "I"},
      {"foreign/fs11_bilevel_band.afp", {{1}}, "I"},
      {"foreign/fs11_gray4_none.afp", {{1}}, "I"},
      {"foreign/fs11_jpeg_recfe_9f.afp", {{1}}, "I"},
      {"foreign/fs11_jpeg_subsampling_le.afp", {{1}}, "I"},
      {"foreign/fs14_lzw_gray.afp", {{1}}, "I"},
      {"foreign/fs40_g4_tiles_defaults.afp", {{1}}, "I"},
      {"foreign/fs42_cmyk1_g4_bands.afp", {{1}}, "I"},
      {"foreign/fs45_cmyk_jpeg_relres2.afp", {{1}}, "I"},
      {"foreign/g3_frame_padded.afp", {{1}}, "I"},
      {"foreign/idd_smaller.afp", {{1}}, "I"},
      {"foreign/im1_celled.afp", {{1}}, "1"},
      {"foreign/im1_simple.afp", {{1}}, "1"},
      {"foreign/ipd_len0_then_raw.afp", {{1}}, "I"},
      {"foreign/oc_jpeg.afp", {{1}}, "J", "", 1},
      {"foreign/overlay_included.afp", {{1}, {1}}, "I", "", 1},
      {"foreign/packbits.afp", {{1}}, "I"},
      {"foreign/pseg_included.afp", {{1}, {1}}, "I", "", 1},
      {"foreign/sf_padding.afp", {{1}}, "I"},
      {"foreign/two_images_one_page.afp", {{1, 2}}, "II"},
      {"foreign/unpadded_none.afp", {{1}}, "I"},
  };
  for (const auto& c : files) {
    SCOPED_TRACE(c.file);
    PageIndex index;
    ASSERT_TRUE(IndexFile(Sample(c.file), index).Ok());
    EXPECT_EQ(PicturesOfPages(index), c.pages);
    EXPECT_EQ(Kinds(index), c.kinds);
    EXPECT_EQ(Groups(index), c.groups);
    EXPECT_EQ(index.resources.size(), c.resources);
    EXPECT_EQ(Missing(index), c.missing);
    for (const IndexedPage& page : index.pages) EXPECT_EQ(page.hasText, c.text);
  }
}

TEST(PageModel, IncludesAreFollowedOnlySoFar) {
  const TemporaryFolder folder;
  // Overlays that include the next twice, and the last itself, too: 2^30 pictures.
  Bytes resources = Field(0xA8C6);
  const auto include = [](int overlay) {
    return Field(0xAFD8, Name(std::string("O").append(std::to_string(overlay))) + Bytes(8));
  };
  const Bytes image = Field(0xA8FB) + PictureDataFields(NumberedSegment(1)) + Field(0xA9FB);
  for (int i = 0; i < 30; ++i) {
    const Bytes name = Name(std::string("O").append(std::to_string(i)));
    resources = resources + Field(0xA8DF, name) + include(i == 29 ? i : i + 1) + include(i + 1) +
                image + Field(0xA9DF, name);
  }
  const Bytes page = Field(0xA8AF) + include(0) + include(0) + Field(0xA9AF);
  const std::string file =
      folder.File("nested", resources + Field(0xA9C6) + Begin("A") + page + page + End("A"));
  const PageIndex index = Indexed(file);
  EXPECT_LE(index.PicturesOf(1).size(), PageIndex::kMostShown);
  EXPECT_EQ(index.PicturesOf(1).front(), 8);  // as deep as includes are followed
  EXPECT_EQ(index.PagesOfPictures()[0], (std::vector<int>{1, 2}));
}

TEST(ResourceFolder, HasWhatTheDocumentNamesAndLacks) {
  const TemporaryFolder folder;
  const Bytes image = Field(0xA8FB) + PictureDataFields(NumberedSegment(7)) + Field(0xA9FB);
  folder.File("logo.PSG", Field(0xA85F, Name("LOGO")) + image + Field(0xA95F, Name("LOGO")));
  std::filesystem::create_directory(folder / "in");
  const auto include = [](const Bytes& name) { return Field(0xAF5F, name + Bytes(6)); };
  // "../LOGO" in EBCDIC.
  const Bytes outside = {0x4B, 0x4B, 0x61, 0xD3, 0xD6, 0xC7, 0xD6, 0x40};
  const Bytes includes = include(Name("LOGO")) + include(outside) + include(Name("NONE"));
  const std::string file =
      folder.File("document", Begin("A") + NumberedPage(1, {}, includes) + End("A"));
  for (const auto& [from, count] : {std::pair{folder / ".", 2u}, {folder / "in", 1u}}) {
    Document document(file);
    ASSERT_TRUE(document.Open().Ok());
    document.AddResources(from);
    const std::vector<ShownPicture> shown = document.PicturesOnPage(1);
    ASSERT_EQ(shown.size(), count);
    EXPECT_EQ(shown.back().document, &document);
    if (count == 1) continue;
    EXPECT_EQ(shown[0].picture, 1);
    Bitmap bitmap;
    ASSERT_TRUE(shown[0].document->LoadPicture(1, {}, bitmap).Ok());
    EXPECT_TRUE(std::equal(bitmap.TopDownRow(0), bitmap.TopDownRow(0) + 2, Pattern(8, 7).begin()));
  }
}

// Damage to a document, and what must come out of it.
struct Damage {
  const char* what;
  std::function<void(Bytes&)> edit;
  // For each page that is found the one that it was; 0 for one that is damaged.
  std::vector<int> pages;
  std::vector<std::pair<int64_t, int64_t>> skipped;
};

void SetLength(Bytes& file, int64_t field, unsigned length) {
  const size_t at = static_cast<size_t>(field) + (file[static_cast<size_t>(field)] == 0x5A);
  file[at] = static_cast<unsigned char>(length >> 8);
  file[at + 1] = static_cast<unsigned char>(length);
}

void Insert(Bytes& file, int64_t at, const Bytes& bytes) {
  file.insert(file.begin() + at, bytes.begin(), bytes.end());
}

void Erase(Bytes& file, ByteRange range) {
  file.erase(file.begin() + range.begin, file.begin() + range.end);
}

Bytes FirstPicture(const Document& document, int page) {
  const std::vector<int> pictures = document.Index().PicturesOf(page);
  Bitmap bitmap;
  EXPECT_FALSE(pictures.empty());
  if (pictures.empty()) return {};
  const Outcome outcome = document.LoadPicture(pictures[0], {}, bitmap);
  EXPECT_TRUE(outcome.Ok()) << outcome.what;
  return Bytes(bitmap.Handle()->pRows,
               bitmap.Handle()->pRows + ptrdiff_t{bitmap.Height()} * bitmap.Handle()->nRowBytes);
}

void ExpectPages(const std::string& file, const Document& whole, const std::vector<int>& pages) {
  Document document(file);
  ASSERT_TRUE(document.Open().Ok());
  ASSERT_EQ(document.Pages(), static_cast<int>(pages.size()));
  for (size_t i = 0; i < pages.size(); ++i) {
    if (pages[i] == 0) continue;
    const int page = static_cast<int>(i) + 1;
    EXPECT_TRUE(FirstPicture(document, page) == FirstPicture(whole, pages[i])) << "page " << page;
  }
}

// Does the damage to a copy of the sample, looks at what is found, and repairs it.
void TryDamages(const std::string& sample, const std::vector<Damage>& damages) {
  const TemporaryFolder folder;
  Document whole(sample);
  ASSERT_TRUE(whole.Open().Ok());
  for (const Damage& damage : damages) {
    SCOPED_TRACE(sample + ": " + damage.what);
    Bytes bytes = FileBytes(sample);
    damage.edit(bytes);
    const std::string file = folder.File("damaged", bytes);
    PageIndex index;
    ASSERT_TRUE(IndexFile(file, index).Ok());
    EXPECT_FALSE(index.structure.Ok());
    std::vector<std::pair<int64_t, int64_t>> skipped;
    for (const SkippedBytes& range : index.skipped) skipped.push_back({range.offset, range.length});
    EXPECT_EQ(skipped, damage.skipped);
    ExpectPages(file, whole, damage.pages);

    Repair repair;
    ASSERT_TRUE(repair.Plan(index).Ok());
    EXPECT_TRUE(repair.Needed());
    const Outcome written = repair.Write(folder / "repaired");
    ASSERT_TRUE(written.Ok()) << written.what;
    PageIndex sound;
    const Outcome outcome = IndexPages(folder / "repaired", sound);
    EXPECT_TRUE(outcome.Ok()) << outcome.what;
    ExpectPages(folder / "repaired", whole, damage.pages);
  }
}

TEST(Damage, LeavesAllPagesOutsideOfIt) {
  const std::string sample = Sample("report-g4.mda");
  const PageIndex index = Indexed(sample);
  const ByteRange first = index.pages[0].bytes, second = index.pages[1].bytes,
                  third = index.pages[2].bytes;
  const int64_t size = index.Size();
  // The first and second Image Picture Data field of page 2.
  const int64_t data = index.pictures[1].bytes.begin;
  const Bytes bytes = FileBytes(sample);
  const int64_t length = GetBig16(bytes.data() + data);
  const int64_t next = data + length;
  const int64_t nextLength = GetBig16(bytes.data() + next);
  const int64_t million = 1 << 20;
  const auto setLength = [](int64_t at, int64_t value) {
    return [=](Bytes& file) { SetLength(file, at, static_cast<unsigned>(value)); };
  };
  // The first fields that begin after the zeros over two pages begin, and after they end.
  const auto fieldFrom = [&](int64_t at) {
    MemorySource source(bytes);
    FieldWalk walk(source);
    for (ScannedField field; walk.At() < at && walk.Next(field);) continue;
    return walk.At();
  };
  const int64_t zeroed = fieldFrom(first.end - 50), goesOn = fieldFrom(second.begin + 50);
  // The last image data field of page 3.
  int64_t last = index.pictures[2].bytes.begin;
  for (;;) {
    const int64_t end = last + GetBig16(bytes.data() + last);
    if (end == index.pictures[2].bytes.end) break;
    last = end;
  }
  TryDamages(
      sample,
      {
          {"cut",
           [=](Bytes& file) { file.resize(static_cast<size_t>(last) + 10); },
           {1, 2, 0},
           {{last, 10}}},
          {"cut within an introducer",
           [=](Bytes& file) { file.resize(static_cast<size_t>(third.begin) + 5); },
           {1, 2},
           {{third.begin, 5}}},
          {"too short", setLength(data, 10), {1, 0, 3}, {{data + 10, length - 10}}},
          {"too long", setLength(data, length + 100), {1, 0, 3}, {{data, length}}},
          {"too long, the second",
           setLength(next, nextLength + 100),
           {1, 0, 3},
           {{next, nextLength}}},
          {"below eight", setLength(data, 7), {1, 0, 3}, {{data, length}}},
          {"all ones", setLength(next, 0xFFFF), {1, 0, 3}, {{next, nextLength}}},
          {"Begin Page, all ones", setLength(second.begin, 0xFFFF), {1, 2, 3}, {{second.begin, 8}}},
          {"Begin Page, too long", setLength(second.begin, 999), {1, 2, 3}, {{second.begin, 8}}},
          {"End Page, too long", setLength(second.end - 8, 999), {1, 2, 3}, {{second.end - 8, 8}}},
          {"End Page, below eight", setLength(second.end - 8, 7), {1, 2, 3}, {{second.end - 8, 8}}},
          {"Begin Document, all ones", setLength(0, 0xFFFF), {1, 2, 3}, {{0, first.begin}}},
          {"End Document, below eight", setLength(size - 16, 7), {1, 2, 3}, {{size - 16, 16}}},
          {"zeros between fields",
           [=](Bytes& file) { Insert(file, next, Bytes(size_t{1} << 20)); },
           {1, 0, 3},
           {{next, million}}},
          {"zeros within a field",
           [=](Bytes& file) { Insert(file, next + nextLength - 100, Bytes(size_t{1} << 20)); },
           {1, 0, 3},
           {{next + nextLength, million}}},
          {"zeros over the end of page 1 and the beginning of 2",
           [=](Bytes& file) {
             std::fill(file.begin() + first.end - 50, file.begin() + second.begin + 50, 0);
           },
           {0, 3},
           {{zeroed, goesOn - zeroed}}},
          {"junk between pages",
           [=](Bytes& file) { Insert(file, first.end, Pattern(77)); },
           {1, 2, 3},
           {{first.end, 77}}},
          {"junk before all",
           [=](Bytes& file) { Insert(file, 0, Pattern(77)); },
           {1, 2, 3},
           {{0, 77}}},
          {"no End Page",
           [=](Bytes& file) {
             Erase(file, {second.end - 8, second.end});
           },
           {1, 2, 3},
           {}},
      });
}

TEST(Damage, OfResourcesLeavesThePages) {
  const std::string sample = Sample("formatter.afp");
  const PageIndex index = Indexed(sample);
  const ByteRange group = index.resourceGroups[0];
  const int64_t secondImage = index.pictures[1].bytes.begin;
  TryDamages(
      sample,
      {
          {"no End Resource Group",
           [=](Bytes& file) {
             Erase(file, {group.end - 17, group.end});
           },
           {1, 2},
           {}},
          {"no end of the last resource, either",
           [=](Bytes& file) {
             Erase(file, {group.end - 2 * 17, group.end});
           },
           {1, 2},
           {}},
          {"an image",
           [=](Bytes& file) { Insert(file, secondImage, Bytes(1000, 0xD3)); },
           {1, 0},
           {{secondImage, 1000}}},
          {"no Begin Document", [=](Bytes& file) { Erase(file, index.beginDocument); }, {1, 2}, {}},
      });
}

TEST(Repair, LeavesASoundFileAsItIs) {
  const TemporaryFolder folder;
  for (const char* name : {"formatter.afp", "letter-g4.ica"}) {
    PageIndex index;
    Repair repair;
    ASSERT_TRUE(IndexFile(Sample(name), index).Ok() && repair.Plan(index).Ok());
    EXPECT_FALSE(repair.Needed());
    EXPECT_TRUE(repair.LeftOut().empty());
    ASSERT_TRUE(repair.Write(folder / "out").Ok());
    EXPECT_TRUE(FileBytes(folder / "out") == FileBytes(Sample(name)));
  }
}

}  // namespace
}  // namespace kz::test
