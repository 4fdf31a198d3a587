// What the sinks of all formats share.
#include <cerrno>
#include <utility>

#include "Toolkit/Files/FileDescriptor.h"
#include "Toolkit/Pictures/PictureFormats.h"

namespace kz {

namespace {

struct PreparedFile : PreparedPicture {
  std::vector<unsigned char> bytes;
};

}  // namespace

Outcome PictureSink::AddPage(const Bitmap& bitmap) {
  std::unique_ptr<PreparedPicture> prepared;
  Outcome outcome = Prepare(bitmap, prepared);
  return outcome.Ok() ? AddPrepared(*prepared) : outcome;
}

Outcome PictureSink::AddInks(const InkPicture&) {
  return Failure(K_ERROR_BITS_PER_PIXEL, "only tif and jpg files hold pictures of inks");
}

Outcome PictureSink::AddData(const PictureData&) { return Failure(K_ERROR_SAVE_FORMAT); }

Outcome SinglePictureSink::AddPage(const Bitmap& bitmap) {
  return Encode(bitmap, [this](const void* bytes, size_t count) {
    return WriteBytes(m_descriptor, bytes, count);
  });
}

Outcome SinglePictureSink::Prepare(const Bitmap& bitmap,
                                   std::unique_ptr<PreparedPicture>& prepared) const {
  auto file = std::make_unique<PreparedFile>();
  Outcome outcome = Encode(bitmap, [&file](const void* bytes, size_t count) {
    const auto* from = static_cast<const unsigned char*>(bytes);
    file->bytes.insert(file->bytes.end(), from, from + count);
    return Outcome{};
  });
  prepared = std::move(file);
  return outcome;
}

Outcome SinglePictureSink::AddPrepared(PreparedPicture& prepared) {
  const auto& file = static_cast<const PreparedFile&>(prepared);
  return WriteBytes(m_descriptor, file.bytes.data(), file.bytes.size());
}

Outcome WriteBytes(int descriptor, const void* bytes, size_t count) {
  const bool written = WriteFully(descriptor, static_cast<const unsigned char*>(bytes), count);
  return written ? Outcome{} : SystemFailure(K_ERROR_WRITE, errno);
}

}  // namespace kz
