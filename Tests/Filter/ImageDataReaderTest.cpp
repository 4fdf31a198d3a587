// The segment as one stream and the image data as another, whatever boundaries
// the writer has put into them.
#include "API/Filters/Ica/Common/Ioca/Segment/ImageDataReader.h"

#include <gtest/gtest.h>

#include "Tests/Filter/FileBuilder.h"
#include "Tests/Filter/OpenBytes.h"

namespace {

enum class Reader { Img, RawImg };

// All image data in requests of one size; `ended` is the last, short count.
Bytes ReadAll(tagHANDLE* file, Reader reader, unsigned request, int* ended) {
  Bytes all;
  for (;;) {
    Bytes room(request + 16, 0xA5);
    int status = 77;
    const int n = reader == Reader::Img ? ReadIMG(file, room.data(), request, nullptr)
                                        : ReadRawIMG(file, room.data(), request, &status);
    EXPECT_EQ(status, 77) << "a success leaves it alone";
    EXPECT_EQ(std::count(room.begin() + request, room.end(), 0xA5), 16) << "past the end";
    all = all + Slice(room, 0, static_cast<size_t>(std::max(n, 0)));
    if (n != static_cast<int>(request)) {
      *ended = n;
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
      {"a field that does not fit", fields, 100, 1, 100, 132},
      {"all", fields, 120, 1, 120, 132},
      {"another field", fields + kEpilogue, 500, 1, 120, 134},
      {"file ends at a header", fields, 121, -7, 120, 132},
      {"file ends in the data", Slice(fields, 0, 100), 121, -7, 88, 100},
      {"and in what does not fit", Slice(fields, 0, 131), 100, -7, 100, 131},
      {"the same, one byte", Slice(fields, 0, 131), 119, -7, 119, 131},
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
