#include "Toolkit/Documents/PageWalk.h"

namespace kz {

bool PageWalk::Next(ScannedField& field) {
  while (m_at < m_file.Size()) {
    field = ScanField(m_file, m_at);
    if (field.fault == FieldFault::None) {
      m_at = field.End();
      Follow(field.code);
      return true;
    }
    const int64_t next = m_search.Find(m_at + 1);
    const bool padding = m_ended && !m_inDocument && next == m_file.Size();
    if (!padding) NoteDamage(field, next);
    m_at = next;
  }
  m_page = 0;
  return false;
}

std::string_view PageWalk::Data(const ScannedField& field) { return AsText(DataOf(m_file, field)); }

void PageWalk::Follow(uint16_t code) {
  switch (code) {
    case sf::kBeginResourceGroup:
      m_group = true;
      break;
    case sf::kEndResourceGroup:
      m_group = m_resource = false;
      break;
    case sf::kBeginResource:
      m_resource = true;
      break;
    case sf::kEndResource:
      m_resource = false;
      break;
    case sf::kBeginDocument:
      // A document that is a resource stands in one: here the group's end is lost.
      if (!m_resource) m_group = false;
      [[fallthrough]];
    case sf::kEndDocument:
      if (InResources()) break;
      m_page = 0;
      m_inDocument = code == sf::kBeginDocument;
      m_ended |= !m_inDocument;
      break;
    case sf::kBeginPage:
      if (!InResources()) m_page = ++m_pages;
      break;
    case sf::kEndPage:
      if (!InResources()) m_page = 0;
      break;
    default:
      break;
  }
}

void PageWalk::NoteDamage(const ScannedField& field, int64_t end) {
  if (m_damages++ > 0) return;
  const std::string place = " at byte " + std::to_string(field.offset);
  const bool cut = field.fault == FieldFault::Cut || field.fault == FieldFault::CutData;
  m_status = cut ? K_ERROR_READ : K_ERROR_INVALID_FORMAT;
  m_damage =
      (cut ? "the file ends within the structured field" : "there is no valid structured field") +
      place;
  const int64_t passed = end - field.offset;
  if (!cut || end < m_file.Size()) {
    m_damage +=
        "; " + std::to_string(passed) + (passed == 1 ? " byte is" : " bytes are") + " passed over";
  }
}

Outcome PageWalk::Damage() const {
  if (m_damages == 0 && m_inDocument) {
    return Failure(K_ERROR_READ, "the file ends without an End Document field");
  }
  if (m_damages == 0) return {};
  const std::string more = m_damages == 2 ? ", and at 1 more place"
                           : m_damages > 2
                               ? ", and at " + std::to_string(m_damages - 1) + " more places"
                               : "";
  return Failure(m_status, m_damage + more);
}

}  // namespace kz
