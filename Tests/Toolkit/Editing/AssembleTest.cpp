#include "Toolkit/Editing/Assemble.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <map>
#include <thread>

#include "Tests/Support/EditedDocuments.h"
#include "Toolkit/Files/AtomicFile.h"
#include "Toolkit/Files/FileDescriptor.h"
#include "Toolkit/Files/WritingPolicy.h"

namespace kz::test {
namespace {

using testing::HasSubstr;

// Two documents, of five and three pages. Edits are compared with what their parts,
// named by letters, come to: H and T what is before and after the pages, 1 to 5 the
// pages of one, a to c those of the other, g what stands between two pages.
class AssembleTest : public testing::Test {
 protected:
  AssembleTest() {
    for (int i = 1; i <= 5; ++i) m_parts[static_cast<char>('0' + i)] = NumberedPage(i);
    for (int i = 1; i <= 3; ++i) m_parts[static_cast<char>('`' + i)] = NumberedPage(10 + i);
    m_parts['H'] = Comment("before") + Begin("FIRST") + Comment("inside");
    m_parts['T'] = Comment("behind") + End("FIRST") + Bytes(3, 0);
    m_parts['g'] = Comment("between");
    m_parts['h'] = Begin("OTHER");
    m_parts['t'] = End("OTHER");
    m_first = Indexed(m_folder.File("first", Parts("H12g345T")));
    m_other = Indexed(m_folder.File("other", Parts("habct")));
  }

  Bytes Parts(const std::string& names) const {
    Bytes bytes;
    for (const char name : names) bytes = bytes + m_parts.at(name);
    return bytes;
  }

  std::vector<PagePick> Picks(const std::string& names) const {
    std::vector<PagePick> picks;
    for (const char name : names) {
      const bool first = name <= '9';
      picks.push_back({first ? &m_first : &m_other, first ? name - '0' : name - '`'});
    }
    return picks;
  }

  std::string Out() const { return m_folder / "out"; }
  Outcome Write(const DocumentEdit& edit) const { return WriteDocument(edit, Out()); }

  TemporaryFolder m_folder;
  std::map<char, Bytes> m_parts;
  PageIndex m_first;
  PageIndex m_other;
};

TEST_F(AssembleTest, EditsMoveNothingButPages) {
  const struct {
    DocumentEdit edit;
    const char* expected;
  } cases[] = {
      {InsertPages(m_first, 0, Picks("b")), "Hb12g345T"},
      {InsertPages(m_first, 2, Picks("ca")), "H12cag345T"},
      {InsertPages(m_first, 5, Picks("a")), "H12g345aT"},
      {ReplacePage(m_first, 1, Picks("a")), "Ha2g345T"},
      {ReplacePage(m_first, 3, Picks("abc")), "H12gabc45T"},
      {DeletePages(m_first, {5, 2, 3, 3}), "H1g4T"},
      {DeletePages(m_other, {2}), "hact"},
      {AssembleDocument(Picks("12345ba")), "H12g345baT"},
      {AssembleDocument(Picks("543")), "H543T"},
      {AssembleDocument(Picks("a23ac")), "ha2g3act"},
      {SplitPage(m_first, 4), "H4T"},
  };
  for (const auto& c : cases) {
    const Outcome outcome = Write(c.edit);
    EXPECT_TRUE(outcome.Ok()) << c.expected << ": " << outcome.what;
    EXPECT_TRUE(FileBytes(Out()) == Parts(c.expected)) << c.expected;
  }
}

TEST_F(AssembleTest, AFileMayBecomeItsOwnEdit) {
  const PageIndex before = m_first;
  ASSERT_TRUE(WriteDocument(InsertPages(m_first, 0, Picks("5a")), m_first.file).Ok());
  EXPECT_EQ(FileBytes(m_first.file), Parts("H5a12g345T"));
  // The index is that of the file before, also beside one of the file as it is.
  const PageIndex now = Indexed(m_first.file);
  for (const DocumentEdit& edit :
       {DeletePages(before, {1}), AssembleDocument({{&now, 1}, {&before, 2}})}) {
    const Outcome outcome = Write(edit);
    EXPECT_EQ(outcome.status, -7);
    EXPECT_THAT(outcome.what, HasSubstr("has changed"));
  }
}

TEST_F(AssembleTest, RefusesAndLeavesWhatWasThere) {
  const PageIndex bare = Indexed(Sample("letter-g4.ica"));
  const Bytes before = Comment("what was there");
  m_folder.File("out", before);
  const struct {
    DocumentEdit edit;
    const char* words;
  } cases[] = {
      {AssembleDocument({}), "at least one page"},
      {InsertPages(m_first, 1, {}), "no pages to put in"},
      {InsertPages(m_first, -1, Picks("a")), "there is no page -1"},
      {ReplacePage(bare, 1, Picks("a")), "bare IOCA file"},
      {AppendPages(bare, Picks("a")), "bare IOCA file"},
      {SplitPage(bare, 2), "there is no page 2"},
  };
  for (const auto& c : cases) {
    const Outcome outcome = Write(c.edit);
    EXPECT_EQ(outcome.status, -9) << c.words;
    EXPECT_THAT(outcome.what, HasSubstr(c.words));
  }
  EXPECT_EQ(FileBytes(Out()), before);
}

TEST_F(AssembleTest, PagesFollowTheCarriageControlOfTheirDocument) {
  const Style with{true, {}, false};
  const Bytes scattered = Field(0xA8AF, {}, with) + Field(0xA8FB) +
                          PictureDataFields(NumberedSegment(7), {30}, with) +
                          Field(0xA9FB, {}, with) + Field(0xA9AF);
  // A saved document has no 0x5A before End Document.
  const PageIndex controlled = Indexed(
      m_folder.File("controlled", Begin("C", with) + NumberedPage(6, with) + Comment("gap", with) +
                                      NumberedPage(8, with) + End("C")));
  const PageIndex mixed =
      Indexed(m_folder.File("mixed", Begin("M") + scattered + NumberedPage(9) + End("M")));
  EXPECT_EQ(controlled.prefix, FieldPrefix::All);
  EXPECT_EQ(mixed.prefix, FieldPrefix::Some);

  ASSERT_TRUE(Write(InsertPages(controlled, 1, {{&m_first, 2}, {&mixed, 1}})).Ok());
  EXPECT_EQ(Prefixes(FileBytes(Out())), FieldPrefix::All);
  EXPECT_EQ(Pages(FileBytes(Out())), (std::vector<Bytes>{NumberedPage(6), NumberedPage(2),
                                                         Pages(scattered)[0], NumberedPage(8)}));

  ASSERT_TRUE(
      Write(AssembleDocument({{&m_other, 1}, {&controlled, 1}, {&controlled, 2}, {&mixed, 1}}))
          .Ok());
  EXPECT_EQ(Prefixes(FileBytes(Out())), FieldPrefix::None);
  EXPECT_EQ(Pages(FileBytes(Out())), (std::vector<Bytes>{NumberedPage(11), NumberedPage(6),
                                                         NumberedPage(8), Pages(scattered)[0]}));

  // A mixed document takes pages as they come.
  ASSERT_TRUE(Write(InsertPages(mixed, 0, {{&controlled, 1}})).Ok());
  EXPECT_EQ(FileBytes(Out()),
            Begin("M") + NumberedPage(6, with) + scattered + NumberedPage(9) + End("M"));
}

TEST_F(AssembleTest, PageGroupsAndDocumentsStayWellFormed) {
  const Bytes open1 = Field(0xA8AD, Name("G1")), close1 = Field(0xA9AD, Name("G1"));
  const Bytes open2 = Field(0xA8AD, Name("G2")), close2 = Field(0xA9AD, Name("G2"));
  const Bytes one = NumberedPage(1), two = NumberedPage(2);
  const PageIndex groups = Indexed(
      m_folder.File("groups", Begin("A") + open1 + one + close1 + open2 + two + close2 + End("A")));
  const PageIndex documents =
      Indexed(m_folder.File("two", Begin("A") + one + End("A") + Begin("B") + two + End("B")));
  const struct {
    DocumentEdit edit;
    Bytes expected;
  } cases[] = {
      {AssembleDocument({{&groups, 1}, {&groups, 2}, {&m_other, 1}}),
       Begin("A") + open1 + one + close1 + open2 + two + close2 + Parts("a") + End("A")},
      {AppendPages(groups, Picks("a")),
       Begin("A") + open1 + one + close1 + open2 + two + close2 + Parts("a") + End("A")},
      {AssembleDocument({{&groups, 2}, {&groups, 1}}),
       Begin("A") + open2 + two + close2 + open1 + one + close1 + End("A")},
      {DeletePages(groups, {2}), Begin("A") + open1 + one + close1 + open2 + close2 + End("A")},
      {SplitPage(documents, 2), Begin("A") + two + End("A")},
      {InsertPages(documents, 2, Picks("a")),
       Begin("A") + one + End("A") + Begin("B") + two + Parts("a") + End("B")},
  };
  for (const auto& c : cases) {
    const Outcome outcome = Write(c.edit);
    EXPECT_TRUE(outcome.Ok()) << outcome.what;
    EXPECT_EQ(FileBytes(Out()), c.expected);
  }
}

// O is a group of the pages 1, of the inner groups I, with 2 and 3, and J, with 4, and of
// 5; K is one of page 6. x and y are tags, in the page 3 there is one, too.
TEST_F(AssembleTest, GroupsAndTagsStayAroundThePagesThatStay) {
  const auto tag = [](char text) {
    return Field(0xA090, Bytes{4, 0x36, 0, 0} + Comment(std::string(1, text)));
  };
  for (const char name : {'O', 'I', 'J', 'K', 'U'}) {
    m_parts[name] = Field(0xA8AD, Name(std::string(1, name)));
    m_parts[static_cast<char>(name + 'a' - 'A')] = Field(0xA9AD, Name(std::string(1, name)));
  }
  for (const char name : {'x', 'y', 'w'}) m_parts[name] = tag(name);
  m_parts['6'] = NumberedPage(6);
  m_parts['3'] = NumberedPage(3, {}, tag('p'));
  m_parts['B'] = Begin("FIRST");
  m_parts['E'] = End("FIRST");
  const std::map<std::string, std::vector<std::pair<std::vector<int>, const char*>>> cases = {
      {"BwOx1Iy2g3iJ4jg5oKx6kgE",
       {{{1, 2, 3, 4, 5, 6}, "BwOx1Iy2g3iJ4jg5oKx6kgE"},
        {{1}, "BwOx1ogE"},
        {{3}, "BwOxIy3iogE"},
        {{2, 3, 4}, "BwOxIy2g3iJ4jogE"},
        {{4, 2, 6}, "BwOxJ4jIy2ioKx6kgE"},
        {{6, 1}, "BwKx6kOx1ogE"},
        {{3, 2}, "BwOxIy32iogE"}}},
      // Nothing ends U but the document, and an empty group stands in another.
      {"BwU1Ix2ig3E", {{{2}, "BwIx2iE"}, {{3, 2}, "Bw3Ix2iE"}, {{2, 3}, "BwIx2ig3E"}}},
      {"BOxJjg1g2oE", {{{1}, "BOx1oE"}, {{2}, "BOx2oE"}}},
      // A group around two documents is the file's, and documents are no neighbours.
      {"OB1EB2g3Eo", {{{1}, "OB1E"}, {{1, 2, 3}, "OB1EB2g3Eo"}, {{2, 1, 2}, "OB212E"}}},
  };
  for (const auto& [parts, edits] : cases) {
    const PageIndex index = Indexed(m_folder.File("groups", Parts(parts)));
    for (const auto& [pages, expected] : edits) {
      const Outcome outcome = Write(SplitPages(index, pages));
      EXPECT_TRUE(outcome.Ok()) << expected << ": " << outcome.what;
      EXPECT_TRUE(FileBytes(Out()) == Parts(expected)) << parts << " to " << expected;
    }
  }
}

// In place, the pages go where a copy has them, whatever stands before End Document.
TEST_F(AssembleTest, AppendsInPlace) {
  const Style with{true, {}, false};
  const Bytes named = End("T"), unnamed = Field(0xA9A8), prefixed = Field(0xA9A8, {}, with);
  const auto fields = [](const Bytes& file) {
    std::vector<Bytes> bytes;
    for (const WalkedField& field : Walk(file)) bytes.push_back(field.bytes);
    return bytes;
  };
  for (const Style& style : {Style{}, with}) {
    // A field may end with the byte that stands before others.
    for (const Bytes& last : {Comment("last", style), Field(0xEEEE, {1, 0x5A}, style)}) {
      for (const Bytes& end : {named, unnamed, prefixed}) {
        const Bytes before = Begin("D", style) + NumberedPage(1, style) + last;
        const Bytes added = NumberedPage(2, style) + NumberedPage(3, style);
        const PageIndex pages = Indexed(m_folder.File("pages", Begin("P", style) + added + named));
        const std::string file = m_folder.File("out", before + end);
        ASSERT_TRUE(AppendInPlace(file, pages).Ok());
        EXPECT_EQ(fields(FileBytes(file)), fields(before + added + end));
      }
    }
  }
  EXPECT_EQ(AppendInPlace(m_folder / "none", m_other).status, -14);
}

TEST_F(AssembleTest, ABareImageGetsThePageThatADocumentHas) {
  const PageIndex bare = Indexed(Sample("letter-g4.ica"));
  const PageIndex report = Indexed(Sample("report-g4.mda"));
  const PageIndex mixed = Indexed(Sample("report-mixed.afp"));
  const std::vector<PagePick> pick = {{&bare, 1}};
  ASSERT_TRUE(Write(AssembleDocument(pick)).Ok());
  const Bytes alone = FileBytes(Out());
  // The report's first page is the same picture, in a page that others made.
  const Bytes expected = FileBytes(report.file);
  const auto envelope = [](const Bytes& page) {
    Bytes fields;
    for (const WalkedField& field : Walk(page)) {
      if (field.code != 0xEEFB) fields = fields + field.bytes;
    }
    return fields;
  };
  ASSERT_EQ(Pages(alone).size(), 1u);
  EXPECT_EQ(envelope(Pages(alone)[0]), envelope(Pages(expected)[0]));
  EXPECT_EQ(Walk(alone).front().bytes, Walk(expected).front().bytes);
  EXPECT_EQ(Walk(alone).back().bytes, Walk(expected).back().bytes);
  Bytes segment;
  for (const WalkedField& field : Walk(alone)) {
    EXPECT_LE(field.bytes.size(), 8188u);
    if (field.code == 0xEEFB) segment = segment + field.Data();
  }
  EXPECT_EQ(segment, FileBytes(bare.file));

  ASSERT_TRUE(Write(InsertPages(mixed, 0, pick)).Ok());
  EXPECT_EQ(Prefixes(FileBytes(Out())), FieldPrefix::All);
  EXPECT_EQ(Picture(Out(), 1), Picture(bare.file, 1));
  ASSERT_TRUE(Write(SplitPage(bare, 1)).Ok());
  EXPECT_EQ(FileBytes(Out()), FileBytes(bare.file));
}

TEST_F(AssembleTest, ManyFilesNeedFewDescriptors) {
  std::vector<PageIndex> indexes;
  std::vector<PagePick> picks;
  constexpr int count = 200;
  for (int i = 0; i < count; ++i) {
    const std::string name = "scan" + std::to_string(i);
    indexes.push_back(Indexed(m_folder.File(name, NumberedSegment(i))));
  }
  for (const PageIndex& index : indexes) picks.push_back({&index, 1});
  rlimit before;
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit few = {64, before.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
  const Outcome outcome = Write(AssembleDocument(picks));
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
  ASSERT_TRUE(outcome.Ok()) << outcome.what;
  EXPECT_EQ(CountImages(Out()), count);
  EXPECT_EQ(Picture(Out(), count), Picture(indexes.back().file, 1));
}

// What somebody does to a file while a writer waits for its lock.
class WhileWaiting {
 public:
  WhileWaiting(const std::string& locked, std::function<void()> act)
      : m_file(OpenDescriptor(locked.c_str(), O_RDONLY)), m_former(Writing()) {
    EXPECT_EQ(flock(m_file.Get(), LOCK_EX), 0);
    Writing().silence = {};
    Writing().note = [this, act](const std::string&, const std::string&) {
      act();
      m_file.Reset(-1);
    };
  }
  ~WhileWaiting() { Writing() = m_former; }
  WhileWaiting(const WhileWaiting&) = delete;
  WhileWaiting& operator=(const WhileWaiting&) = delete;

 private:
  OwnedDescriptor m_file;
  WritingPolicy m_former;
};

TEST_F(AssembleTest, AChangeWhileWaitingIsNotWrittenOver) {
  const Bytes bytes = FileBytes(Sample("formatter.afp"));
  const std::string file = m_folder.File("formatter", bytes), changed = m_folder / "changed";
  const PageIndex index = Indexed(file);
  const WhileWaiting waiting(file, [&] {
    m_folder.File("changed", bytes + Bytes{0});
    std::filesystem::rename(changed, file);
  });
  const Outcome outcome =
      WriteDocument(AssembleDocument({{&index, 2}, {&index, 1}}), m_folder / "./formatter");
  EXPECT_THAT(outcome.what, HasSubstr("changed"));
  EXPECT_TRUE(FileBytes(file) == bytes + Bytes{0});
}

TEST_F(AssembleTest, ABatchKeepsNoLocksWhileItWaits) {
  const std::string one = m_folder.File("one", {1}), two = m_folder.File("two", {2});
  FileBatch batch([](const std::string&, const Outcome& failed) { ADD_FAILURE() << failed.what; });
  ASSERT_TRUE(WriteDocument(DeletePages(m_first, {1}), one, &batch).Ok());
  bool free = false;
  const WhileWaiting waiting(two, [&] {
    const OwnedDescriptor other(OpenDescriptor(one.c_str(), O_RDONLY));
    free = flock(other.Get(), LOCK_EX | LOCK_NB) == 0;
  });
  EXPECT_TRUE(WriteDocument(DeletePages(m_first, {2}), two, &batch).Ok());
  EXPECT_TRUE(free);
  batch.Finish();
}

TEST_F(AssembleTest, AResultOfTwoVersionsOfAFileFails) {
  Bytes bytes = Begin("LONG");
  for (int i = 1; i <= 60; ++i) bytes = bytes + NumberedPage(i) + Comment(std::string(30000, 'x'));
  const std::string file = m_folder.File("long", bytes + End("LONG"));
  const PageIndex index = Indexed(file);
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const OwnedDescriptor from(ends[0]);
  OwnedDescriptor to(ends[1]);
  // The pipe holds a small part: the rest is written after the change.
  std::thread reader([&] {
    std::vector<char> buffer(65536);
    ssize_t n = read(from.Get(), buffer.data(), 1);
    std::ofstream(file, std::ios::binary | std::ios::app).put(0);
    while (n > 0) n = read(from.Get(), buffer.data(), buffer.size());
  });
  const Outcome outcome = WriteDocument(DeletePages(index, {1}), to.Get());
  to.Reset(-1);
  reader.join();
  EXPECT_EQ(outcome.status, K_ERROR_READ);
  EXPECT_THAT(outcome.what, HasSubstr("has changed meanwhile"));
}

}  // namespace
}  // namespace kz::test
