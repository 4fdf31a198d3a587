// Fields of pages that an index passes over quickly.
#include <array>

#include "Toolkit/Documents/Indexer.h"

namespace kz {

namespace {

// By its code, whether a field in a page is nothing to the index. Most fields are looked at
// no further than this, so it is a table.
constexpr auto kPlain = [] {
  std::array<bool, 0x10000> plain{};
  plain.fill(true);
  for (const FieldType type :
       {FieldType::Include, FieldType::Map, FieldType::Migration, FieldType::Process}) {
    for (unsigned category = 0; category < 0x100; ++category) {
      plain[static_cast<unsigned>(type) << 8 | category] = false;
    }
  }
  plain[sf::kMapImageObject] = true;  // it names no resource
  for (const uint16_t code :
       {sf::kBeginDocument, sf::kEndDocument, sf::kBeginPage, sf::kEndPage, sf::kBeginPageGroup,
        sf::kEndPageGroup, sf::kTagLogicalElement, sf::kPresentationText, sf::kGraphicsData,
        sf::kBarCodeData, sf::kImagePictureData, sf::kImageDataDescriptor, sf::kBeginImageObject,
        sf::kEndImageObject, sf::kBeginImImage, PartnerOf(sf::kBeginImImage),
        sf::kBeginObjectContainer, PartnerOf(sf::kBeginObjectContainer),
        sf::kObjectContainerData}) {
    plain[code] = false;
  }
  return plain;
}();

}  // namespace

int64_t Indexer::PassPlain(int64_t at) {
  const ByteSpan held = m_file.Held(at);
  // The same for all of them, so that a field needn't wait for its first byte to know
  // where the next one begins.
  const bool prefixed = !held.empty() && held[0] == kCarriageControl;
  const size_t prefix = prefixed ? 1 : 0;
  size_t last = 0;
  size_t next = 0;
  while (held.size() - next >= kIntroducerRoom) {
    const unsigned char* introducer = held.data() + next + prefix;
    const unsigned length = GetBig16(introducer);
    const size_t end = next + prefix + length;
    const bool sound = (held[next] == kCarriageControl) == prefixed &&
                       introducer[2] == kFieldClass && (introducer[5] & kFlagExtension) == 0 &&
                       length >= kIntroducerLength && length <= kMaxFieldLength &&
                       end <= held.size();
    if (!sound || !kPlain[GetBig16(introducer + 3)]) break;
    last = next;
    next = end;
  }
  if (next == 0) return at;
  m_prefix.Add(prefixed);
  m_pagePrefix.Add(prefixed);
  m_last = {at + static_cast<int64_t>(last),
            at + static_cast<int64_t>(last + prefix) + kIntroducerLength,
            GetBig16(held.data() + last + prefix + 3)};
  const int64_t end = at + static_cast<int64_t>(next);
  m_file.NoteUse(end);
  return end;
}

}  // namespace kz
