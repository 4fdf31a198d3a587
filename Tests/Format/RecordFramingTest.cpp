// Framed records: told from what is none, and taken off, with damage in them.
#include "Format/FramingSearch.h"

#include <gtest/gtest.h>

#include <string>

#include "Format/RecordWalk.h"
#include "Tests/Support/FramedRecords.h"

namespace {

kz::Framing Find(const Bytes& file) {
  return kz::FindFraming(kz::ByteSpan(file).first(std::min(file.size(), kz::kFramingRoom)),
                         static_cast<int64_t>(file.size()));
}

std::string Name(const kz::Framing& framing) {
  return std::string(kz::FramingName(framing)) + (framing.countsItself ? ", themselves in" : "") +
         " from " + std::to_string(framing.leading);
}

struct Unframed {
  Bytes document;
  std::vector<kz::DocumentPiece> lost;
};

Unframed Unframe(const Bytes& file, const kz::Framing& framing) {
  Unframed result;
  const kz::MemorySource source(file);
  kz::RecordWalk walk(source, framing);
  for (kz::DocumentPiece piece; walk.Next(piece);) {
    result.document.insert(result.document.end(), file.begin() + piece.begin,
                           file.begin() + piece.end);
    if (piece.lost) result.lost.push_back(piece);
  }
  return result;
}

Bytes SampleBytes(const std::string& name) { return FileBytes(KZ_SAMPLES "/" + name); }

const char* const kDocuments[] = {"report-mixed.afp", "report-g4.mda", "formatter.afp",
                                  "letter-scattered.afp"};
const Bytes kFillers[] = {{}, Bytes(1000, 0), {0x1A}, {'\r', '\n'}, {'\n', 0x1A, 0, 0}};

TEST(RecordFraming, IsFoundAndTakenOff) {
  for (const std::string name : kDocuments) {
    const Bytes document = SampleBytes(name);
    ASSERT_FALSE(document.empty());
    for (kz::Framing framing : kFramings) {
      for (const int fields : {1, 3}) {
        framing.leading = fields - 1;
        const Bytes file = Framed(RecordsOf(document, fields), framing);
        for (const Bytes& filler : kFillers) {
          SCOPED_TRACE(name + ": " + Name(framing) + ", filler " + std::to_string(filler.size()));
          const Bytes filled = file + filler;
          EXPECT_EQ(Name(Find(filled)), Name(framing));
          const Unframed unframed = Unframe(filled, Find(filled));
          EXPECT_TRUE(unframed.document == document);
          EXPECT_TRUE(unframed.lost.empty());
        }
      }
    }
    const Bytes led = Bytes{'\r', '\n'} + document;
    EXPECT_EQ(Name(Find(led)), "line ends before the first record from 2");
    EXPECT_TRUE(Unframe(led, Find(led)).document == document);
  }
}

TEST(RecordFraming, IsNoneWhereThereIsNone) {
  for (const char* name :
       {"report-mixed.afp", "report-g4.mda", "formatter.afp", "letter-scattered.afp",
        "letter-g4.ica", "damaged-truncated.mda", "damaged-length.mda", "odd.png"}) {
    const Bytes file = SampleBytes(name);
    for (const Bytes& filler : kFillers) EXPECT_FALSE(Find(file + filler).IsFramed()) << name;
    for (size_t length = 0; length < std::min<size_t>(file.size(), 300); ++length) {
      EXPECT_FALSE(Find({file.begin(), file.begin() + static_cast<int64_t>(length)}).IsFramed());
    }
  }
  EXPECT_FALSE(Find(Bytes(5000, '\n')).IsFramed());
  EXPECT_FALSE(Find(Bytes(5000, 0)).IsFramed());
  // What only looks framed: one record, or records that aren't fields in common use.
  const Bytes field = Field(kz::sf::kBeginDocument, {1}), odd = Field(0x1234);
  for (const kz::Framing& framing : kFramings) {
    EXPECT_FALSE(Find(Framed(std::vector{field}, framing)).IsFramed()) << Name(framing);
    EXPECT_FALSE(Find(Framed(std::vector{odd, odd, odd, odd, odd}, framing)).IsFramed());
  }
}

// Fields whose length reads as a line end, and data that do.
TEST(RecordFraming, LeavesWhatOnlyLooksLikeLineEnds) {
  Bytes bytes;
  for (const size_t length : {0x0008U, 0x0D0AU, 0x0A0DU, 0x0A0AU, 0x0D0DU, 0x0AD3U}) {
    bytes = bytes + Field(kz::sf::kNoOperation, Bytes(length - 8, '\n'));
  }
  EXPECT_FALSE(Find(bytes).IsFramed());
  for (const kz::Framing& framing : kFramings) {
    const Bytes file = Framed(RecordsOf(bytes), framing);
    EXPECT_EQ(Name(Find(file)), Name(framing));
    EXPECT_TRUE(Unframe(file, framing).document == bytes) << Name(framing);
  }
}

TEST(RecordFraming, ThatBreaksOffGoesOnAtTheNextRecord) {
  const std::vector<Bytes> records = RecordsOf(SampleBytes("formatter.afp"));
  ASSERT_GT(records.size(), 20u);
  const std::vector<Bytes> head(records.begin(), records.begin() + 10);
  const std::vector<Bytes> tail(records.begin() + 10, records.end());
  const Bytes document = SampleBytes("formatter.afp");
  for (const Bytes& junk :
       {Bytes(100000, 0), Bytes(7, 0xFF), Pattern(5000), Bytes{0xFF, 0xFF, 0xD3}}) {
    for (const kz::Framing& framing : kFramings) {
      SCOPED_TRACE(Name(framing) + ", junk " + std::to_string(junk.size()));
      const Bytes before = Framed(head, framing), after = Framed(tail, framing);
      const Bytes file = before + junk + after;
      EXPECT_EQ(Name(Find(file)), Name(framing));
      const Unframed unframed = Unframe(file, framing);
      Bytes expected = junk;
      for (size_t i = 10; i-- > 0;) expected = records[i] + expected;
      for (const Bytes& record : tail) expected = expected + record;
      EXPECT_TRUE(unframed.document == expected);
      ASSERT_EQ(unframed.lost.size(), 1u);
      EXPECT_EQ(unframed.lost[0].begin, static_cast<int64_t>(before.size()));
      EXPECT_EQ(unframed.lost[0].end, static_cast<int64_t>(before.size() + junk.size()));
    }
  }
  for (const kz::Framing& framing : kFramings) {
    SCOPED_TRACE(Name(framing));
    // A field that is no field, in a record that counts its bytes, breaks nothing off.
    if (framing.records >= kz::RecordFraming::Length16) {
      std::vector<Bytes> changed = records;
      changed[12][3] ^= 0xFF;
      const Unframed unframed = Unframe(Framed(changed, framing), framing);
      EXPECT_EQ(unframed.document.size(), document.size());
      EXPECT_TRUE(unframed.lost.empty());
    }
    // A file that is cut short ends as the document would.
    Bytes cut = Framed(records, framing);
    cut.erase(cut.end() - 5, cut.end());
    const Unframed unframed = Unframe(cut, framing);
    EXPECT_TRUE(unframed.lost.empty());
    EXPECT_TRUE(std::equal(unframed.document.begin(), unframed.document.end(), document.begin()));
    EXPECT_LE(document.size() - unframed.document.size(), 5u);
  }
}

}  // namespace
