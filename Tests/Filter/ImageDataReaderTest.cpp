// The segment as one stream and the image data as another, whatever boundaries
// the writer has put into them.
#include "API/Filters/Ica/Common/Ioca/ImageDataReader.h"

#include <gtest/gtest.h>

#include "API/Filters/Ica/Common/Ioca/StructuredField.h"
#include "Tests/Filter/FileBuilder.h"
#include "Tests/Filter/OpenBytes.h"

namespace {

// A read with guard bytes behind the room that the reader may use.
struct Result {
  int count;
  Bytes bytes;
};
template <typename Reader>
Result Guarded(unsigned count, const Reader& reader) {
  Bytes room(count + 16, 0xA5);
  const int n = reader(room.data());
  EXPECT_EQ(std::count(room.begin() + count, room.end(), 0xA5), 16) << "written past the end";
  room.resize(n < 0 ? 0 : static_cast<size_t>(n));
  return {n, room};
}

enum class Reader { Img, RawImg };

// All image data in requests of one size; `ended` is the last, short count.
Bytes ReadAll(tagHANDLE* file, Reader reader, unsigned request, int* ended) {
  Bytes all;
  for (;;) {
    const Result result = Guarded(request, [&](unsigned char* to) {
      if (reader == Reader::Img) {
        ThreadState()->nImageDataRead = 77;
        const int n = ReadIMG(file, to, request, nullptr);
        if (n == static_cast<int>(request)) {
          EXPECT_EQ(ThreadState()->nImageDataRead, 77u) << "set at the end alone";
        }
        return n;
      }
      int status = 77;
      const int n = ReadRawIMG(file, to, request, &status);
      EXPECT_EQ(status, 77) << "a success leaves it alone";
      return n;
    });
    all = all + result.bytes;
    if (result.count != static_cast<int>(request)) {
      *ended = result.count;
      return all;
    }
  }
}

TEST(ImageDataReader, RequestsOfEverySizeCrossEveryBoundary) {
  const Bytes data = Pattern(60);
  Bytes segment;
  for (const auto& [from, count] : {std::pair{0, 10}, {10, 0}, {10, 5}, {15, 44}, {59, 1}}) {
    segment =
        segment + ImageData(Slice(data, static_cast<size_t>(from), static_cast<size_t>(count)));
  }
  segment = segment + kEpilogue;
  const std::vector<std::vector<size_t>> cuts = {{1}, {2}, {3}, {0, 5}, {7, 0, 0, 1}, {64}, {500}};
  for (const Reader reader : {Reader::Img, Reader::RawImg}) {
    for (unsigned request = 1; request <= 61; ++request) {
      for (size_t cut = 0; cut <= cuts.size(); ++cut) {
        SCOPED_TRACE(testing::Message() << "request " << request << " cut " << cut);
        const bool bare = cut == cuts.size();
        const Style style = {cut % 2 == 0, {1, 2, 3}, cut % 3 == 0};
        OpenBytes file(bare ? segment : PictureData(segment, cuts[cut], style) + Field(0xA9FB));
        FilterThreadState* state = ThreadState();
        state->bReadIPD = bare ? 0 : 1;
        int ended = -2;
        ASSERT_EQ(ReadAll(file, reader, request, &ended), data);
        EXPECT_EQ(ended, static_cast<int>(60 % request));
        EXPECT_EQ(+state->sdfRead.wId, 0x93);
        EXPECT_EQ(state->nImageDataLeft, 0u);
        if (reader == Reader::Img) {
          EXPECT_EQ(state->nImageDataRead, 60 % request);
        }
        // Behind End Image Content stands End Segment, behind that nothing.
        unsigned char byte = 0;
        EXPECT_EQ(ReadIMG(file, &byte, 1, nullptr), 0);
        int status = 1;
        EXPECT_EQ(ReadRawIMG(file, &byte, 1, &status), -1);
        EXPECT_EQ(status, -7);
        EXPECT_EQ(ReadIMG(file, &byte, 0, nullptr), 0) << "nothing asked, nothing read";
      }
    }
  }
}

TEST(ImageDataReader, FailuresAreToldApart) {
  struct Case {
    const char* what;
    Bytes bytes;
    bool document;
    int status;
  };
  const Case cases[] = {
      {"unknown field", ImageData(Pattern(3)) + Bytes{0x98, 0}, false, -9},
      {"malformed field", ImageData(Pattern(3)) + Bytes{0x93, 1}, false, -9},
      {"data end", {0xFE, 0x92, 0, 9, 1, 2, 3}, false, -7},
      {"header ends", {0xFE, 0x92, 0}, false, -7},
      {"no end field", ImageData(Pattern(3)), false, -7},
      {"other structured field", PictureData({0xFE, 0x92, 0, 9, 1}) + Field(0xA9FB), true, -7},
      {"bad introducer", PictureData({0xFE, 0x92, 0, 9, 1}) + Bytes(8, 1), true, -7},
      {"field cut off", Slice(PictureData(ImageData(Pattern(9))), 0, 15), true, -7},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Bytes buffer(9);
    for (const Reader reader : {Reader::Img, Reader::RawImg}) {
      OpenBytes file(c.bytes);
      ThreadState()->bReadIPD = c.document ? 1 : 0;
      int status = 1;
      EXPECT_EQ(reader == Reader::Img ? ReadIMG(file, buffer.data(), 9, nullptr)
                                      : ReadRawIMG(file, buffer.data(), 9, &status),
                -1);
      EXPECT_EQ(status, reader == Reader::Img ? 1 : c.status);
    }
  }
}

TEST(ImageDataReader, TheSegmentStreamEndsAtAnotherStructuredField) {
  const Bytes fields = PictureData(Pattern(20), {6, 0}, {true, {9}, true});
  struct Case {
    Bytes tail;
    int result;  // of asking for more than there is
  };
  const Style style = {true, {4, 5, 6}, true};
  for (const Case& c : {Case{Field(0xA9FB, {}, style), 8}, Case{{}, -1}, Case{Bytes(8, 1), -1}}) {
    OpenBytes file(fields + c.tail);
    ThreadState()->bReadIPD = 1;
    EXPECT_EQ(ReadIPD(file, nullptr, 0), 0);
    EXPECT_EQ(file.Position(), 0);
    EXPECT_EQ(Guarded(12, [&](auto* to) { return ReadIPD(file, to, 12); }).bytes,
              Slice(Pattern(20), 0, 12));
    EXPECT_EQ(Guarded(9, [&](auto* to) { return ReadIPD(file, to, 9); }).count, c.result);
    if (c.result < 0) continue;
    EXPECT_EQ(Guarded(9, [&](auto* to) { return ReadIPD(file, to, 9); }).count, 0);
    _SFI sfi;
    EXPECT_EQ(ReadSFI(file, &sfi), 1) << "the next to be read is the field that ended it";
    EXPECT_EQ(+sfi.wTypeCategory, 0xA9FB);
  }
}

TEST(ImageDataReader, BufferDataIsGatheredWithinItsRoom) {
  const Bytes data = Pattern(120);
  const Bytes fields =
      ImageData(Slice(data, 0, 60)) + ImageData({}) + ImageData(Slice(data, 60, 60));
  struct Case {
    const char* what;
    Bytes bytes;
    unsigned size;
    int status;
    unsigned gathered;
    int position;
  };
  const Case cases[] = {
      {"size 0", fields, 0, 1, 0, 0},
      {"first field", fields, 60, 1, 60, 64},
      {"a field that does not fit", fields, 100, 1, 100, 132},
      {"one byte", fields, 1, 1, 1, 64},
      {"all", fields, 120, 1, 120, 132},
      {"another field", fields + kEpilogue, 500, 1, 120, 134},
      {"file ends at a header", fields, 121, -7, 120, 132},
      {"file ends in a header", Slice(fields, 0, 67), 121, -7, 60, 67},
      {"file ends in the data", Slice(fields, 0, 100), 121, -7, 88, 100},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    OpenBytes file(c.bytes);
    ThreadState()->pfnRead = nullptr;  // it reads with the host's routine alone
    Bytes room(c.size + 16, 0xA5);
    EXPECT_EQ(GetBufferData(file, room.data(), c.size), c.status);
    EXPECT_EQ(Slice(room, 0, c.gathered), Slice(data, 0, c.gathered));
    EXPECT_EQ(std::count(room.begin() + c.size, room.end(), 0xA5), 16);
    EXPECT_EQ(file.Position(), c.position);
  }
}

}  // namespace
