#include "Tests/Support/EditedDocuments.h"

namespace kz::test {
namespace {

constexpr unsigned kIncludeObject = 0xAFC3;
constexpr unsigned kObjectAreaDescriptor = 0xA66B;
constexpr unsigned kObjectAreaPosition = 0xAC6B;
constexpr unsigned kMapImageObject = 0xABFB;

// A resource group with one overlay.
Bytes OverlayGroup(const std::string& name, const Style& style = {}) {
  return Field(0xA8C6, Name("GROUP"), style) + Field(0xA8CE, Name(name) + Bytes{0, 0}, style) +
         Field(0xA8DF, Name(name), style) + Comment("an overlay", style) +
         Field(0xA9DF, Name(name), style) + Field(0xA9CE, Name(name), style) +
         Field(0xA9C6, Name("GROUP"), style);
}

Bytes IncludeOverlay(const std::string& name) { return Field(0xAFD8, Name(name) + Bytes(8, 0)); }

TEST(ResourceGroups, ComeAlongWithThePagesThatNeedThem) {
  const TemporaryFolder folder;
  const Style with{true, {}, false};
  const std::string out = folder / "out";
  const auto file = [&](const char* name, const Bytes& bytes) {
    return Indexed(folder.File(name, bytes));
  };
  const Bytes stamped = NumberedPage(1, {}, IncludeOverlay("STAMP"));
  const Bytes elsewhere = NumberedPage(2, {}, IncludeOverlay("RESIDENT"));
  // Map Data Resource: a repeating group with a fully qualified name.
  const Bytes triplet = Bytes{9, 0x02, 0x84, 0x00} + Slice(Name("STAMP"), 0, 5);
  const Bytes mapped = NumberedPage(3, {}, Field(0xABC3, Bytes{0, 11} + triplet));
  const Bytes rest = stamped + elsewhere + mapped + End("S");
  const PageIndex source = file("source", OverlayGroup("STAMP") + Begin("S") + rest);
  const PageIndex plain = file("plain", Comment("c") + Begin("P") + NumberedPage(5) + End("P"));
  const PageIndex same =
      file("same", OverlayGroup("STAMP") + Begin("T") + NumberedPage(6) + End("T"));
  const PageIndex controlled = file("controlled", OverlayGroup("STAMP", with) + Begin("C", with) +
                                                      NumberedPage(7, with) + End("C", with));
  const PageIndex other =
      file("other", OverlayGroup("LOGO") + Begin("O") + NumberedPage(8) + End("O"));

  const Bytes group = OverlayGroup("STAMP");
  const auto plainWith = [](const Bytes& before, const Bytes& added) {
    return Comment("c") + before + Begin("P") + NumberedPage(5) + added + End("P");
  };
  const struct {
    const char* what;
    const PageIndex* target;
    PagePick pick;
    Bytes expected;  // empty: refused
  } cases[] = {
      {"no group there", &plain, {&source, 1}, plainWith(group, stamped)},
      {"a qualified name", &plain, {&source, 3}, plainWith(group, mapped)},
      {"not in the group", &plain, {&source, 2}, plainWith({}, elsewhere)},
      {"a group that isn't needed", &plain, {&other, 1}, plainWith({}, NumberedPage(8))},
      {"the same group",
       &same,
       {&source, 1},
       group + Begin("T") + NumberedPage(6) + stamped + End("T")},
      {"another group", &other, {&source, 1}, {}},
  };
  for (const auto& c : cases) {
    const Outcome outcome = WriteDocument(InsertPages(*c.target, 1, {c.pick}), out);
    EXPECT_EQ(outcome.Ok(), !c.expected.empty()) << c.what << ": " << outcome.what;
    if (outcome.Ok()) {
      EXPECT_EQ(FileBytes(out), c.expected) << c.what;
    } else {
      EXPECT_THAT(outcome.what, testing::HasSubstr("can have only one")) << c.what;
    }
  }
  // The 0x5A makes no difference between groups.
  ASSERT_TRUE(WriteDocument(InsertPages(controlled, 1, {{&source, 1}}), out).Ok());
  EXPECT_EQ(Pages(FileBytes(out)), (std::vector<Bytes>{NumberedPage(7), stamped}));
  EXPECT_EQ(Prefixes(FileBytes(out)), FieldPrefix::All);
  // Two pages that need different groups don't fit into one document.
  const PageIndex logo = file("logo", OverlayGroup("LOGO") + Begin("L") +
                                          NumberedPage(3, {}, IncludeOverlay("LOGO")) + End("L"));
  EXPECT_EQ(WriteDocument(AssembleDocument({{&plain, 1}, {&source, 1}, {&logo, 1}}), out).status,
            -9);
}

Bytes FieldOf(const Bytes& file, unsigned code) {
  for (const WalkedField& field : Walk(file)) {
    if (field.code == code) return field.Data();
  }
  return {};
}

// Images that pages include from the group stand in the pages afterwards; the golden
// files show where.
TEST(ResourceGroups, IncludedImagesMoveIntoThePage) {
  const TemporaryFolder folder;
  const std::string out = folder / "out";
  const PageIndex formatter = Indexed(Sample("formatter.afp"));
  const Bytes source = FileBytes(formatter.file);
  for (int page = 1; page <= 2; ++page) {
    ASSERT_TRUE(WriteDocument(SplitPage(formatter, page), out).Ok());
    EXPECT_EQ(CountImages(out), 1);
    EXPECT_EQ(Picture(out, 1), Picture(formatter.file, page));
    EXPECT_EQ(Prefixes(FileBytes(out)), FieldPrefix::All);
    for (const WalkedField& field : Walk(FileBytes(out))) {
      EXPECT_TRUE(field.code != 0xA8C6 && field.code != kIncludeObject);
    }
    // The area's origin and rotation.
    const Bytes include = FieldOf(Pages(source)[static_cast<size_t>(page) - 1], kIncludeObject);
    const Bytes position = FieldOf(FileBytes(out), kObjectAreaPosition);
    EXPECT_EQ(Slice(position, 2, 10), Slice(include, 10, 10));
  }
  // Put after other pages, the page needs nothing else either.
  const PageIndex report = Indexed(Sample("report-g4.mda"));
  ASSERT_TRUE(WriteDocument(InsertPages(report, 3, {{&formatter, 2}}), out).Ok());
  EXPECT_EQ(Picture(out, 4), Picture(formatter.file, 2));
  EXPECT_EQ(Prefixes(FileBytes(out)), FieldPrefix::None);
  // Whole, the document keeps its group.
  ASSERT_TRUE(
      WriteDocument(AssembleDocument({{&formatter, 1}, {&formatter, 2}, {&report, 1}}), out).Ok());
  EXPECT_EQ(Slice(FileBytes(out), 0, static_cast<size_t>(formatter.Tail().begin)),
            Slice(source, 0, static_cast<size_t>(formatter.Tail().begin)));
}

// A document of two pages, of which the first includes an image of a resource group.
struct Inclusion {
  Bytes descriptor;  // data of the image's Object Area Descriptor
  Bytes triplets;    // after the Include Object field's other data
  size_t times = 1;
  size_t imageFields = 1;
};

Bytes Including(const Inclusion& inclusion) {
  Bytes include = Name("PIC") + Bytes{0, 0xFB} + Bytes(16, 0xFF) + Bytes{1} + inclusion.triplets;
  Bytes image, page;
  for (size_t i = 0; i < inclusion.imageFields; ++i) image = image + Field(0xEEFB, Bytes(32000, 7));
  for (size_t i = 0; i < inclusion.times; ++i) page = page + Field(kIncludeObject, include);
  return Field(0xA8C6) + Field(0xA8CE, Name("PIC") + Bytes{0, 0}) + Field(0xA8FB, Name("PIC")) +
         Field(kObjectAreaDescriptor, inclusion.descriptor) +
         Field(kObjectAreaPosition, Bytes(24, 0)) + image + Field(0xA9FB) + Field(0xA9CE) +
         Field(0xA9C6) + Begin("D") + Field(0xA8AF) + page + Field(0xA9AF) + NumberedPage(2) +
         End("D");
}

TEST(ResourceGroups, FieldsMadeForIncludedImagesHaveALength) {
  const TemporaryFolder folder;
  const std::string out = folder / "out";
  const Bytes size = {9, 0x4C, 2, 0, 1, 0, 0, 1, 0};
  const struct {
    const char* what;
    Inclusion inclusion;
    const char* refusal;
  } cases[] = {
      {"the longest descriptor", {Bytes(32767 - 8 - size.size(), 2), size}, ""},
      {"a byte more", {Bytes(32767 - 7 - size.size(), 2), size}, "longer than a structured field"},
      {"the longest group", {{}, Bytes{255, 0x04} + Bytes(253, 0)}, ""},
      {"images without end", {{}, {}, 3000, 30}, "more than 2 GiB"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const PageIndex index = Indexed(folder.File("document", Including(c.inclusion)));
    std::filesystem::remove(out);
    const Outcome outcome = WriteDocument(SplitPage(index, 1), out);
    EXPECT_THAT(outcome.what, testing::HasSubstr(c.refusal));
    EXPECT_EQ(outcome.Ok(), *c.refusal == '\0') << outcome.what;
    EXPECT_EQ(std::filesystem::exists(out), outcome.Ok());
    if (!outcome.Ok()) continue;
    EXPECT_EQ(Pages(FileBytes(out)).size(), 1u);
    const Bytes mapping = FieldOf(FileBytes(out), kMapImageObject);
    if (!c.inclusion.descriptor.empty()) continue;
    ASSERT_EQ(mapping.size(), 257u);
    EXPECT_EQ(Slice(mapping, 0, 2), (Bytes{1, 1}));
  }
}

}  // namespace
}  // namespace kz::test
