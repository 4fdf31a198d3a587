// Framed files as files without the framing.
#include "Toolkit/Documents/UnframedFile.h"

#include <gtest/gtest.h>

#include "Tests/Support/FramedRecords.h"

namespace {

TEST(UnframedFile, HoldsTheDocumentWhateverItsSize) {
  const TemporaryFolder folder;
  const Bytes sample = FileBytes(KZ_SAMPLES "/report-mixed.afp");
  Bytes document;
  for (int i = 0; i < 5; ++i) document = document + sample;
  for (const kz::Framing& framing : kFramings) {
    SCOPED_TRACE(kz::FramingName(framing));
    kz::UnframedFile file;
    const kz::Outcome outcome =
        file.Open(folder.File("framed", Framed(RecordsOf(document), framing) + Bytes(70000, 0)));
    EXPECT_TRUE(outcome.Ok() && outcome.warnings.empty()) << outcome.what;
    EXPECT_STREQ(kz::FramingName(file.Found()), kz::FramingName(framing));
    EXPECT_TRUE(FileBytes(file.Path()) == document);
  }
  kz::UnframedFile plain;
  EXPECT_TRUE(plain.Open(folder.File("plain", document)).Ok());
  EXPECT_EQ(plain.Path(), folder / "plain");
  EXPECT_FALSE(plain.Found().IsFramed());
}

TEST(UnframedFile, SaysWhereTheFramingBreaksOff) {
  const TemporaryFolder folder;
  const std::vector<Bytes> records = RecordsOf(FileBytes(KZ_SAMPLES "/report-mixed.afp"));
  const kz::Framing framing = {kz::RecordFraming::RecordDescriptor};
  Bytes file;
  for (size_t i = 0; i < records.size(); ++i) {
    if (i % 10 == 9 && i < 60) file = file + Bytes(5, 0xFF);
    file = file + Framed(records[i], framing);
  }
  kz::UnframedFile unframed;
  const kz::Outcome outcome = unframed.Open(folder.File("damaged", file));
  EXPECT_TRUE(outcome.Ok());
  ASSERT_EQ(outcome.warnings.size(), 4u);
  const size_t first = Framed(std::vector(records.begin(), records.begin() + 9), framing).size();
  EXPECT_EQ(outcome.warnings[0], "the framing of its records breaks off at byte " +
                                     std::to_string(first) + " and goes on at byte " +
                                     std::to_string(first + 5) +
                                     "; what stands between is read as it is");
  EXPECT_EQ(outcome.warnings[3], "so it does at 3 more places");

  EXPECT_EQ(unframed.Open(folder / "none").status, K_ERROR_OPEN_READ);
  EXPECT_EQ(unframed.Open(folder / "").status, K_ERROR_OPEN_READ);
  EXPECT_TRUE(unframed.Open(folder.File("empty", {})).Ok());
}

}  // namespace
