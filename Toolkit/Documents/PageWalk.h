// The fields of a file one after the other, past damage, and the pages that they are in.
#pragma once

#include <string>
#include <string_view>

#include "Format/FieldScan.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Documents/FieldSearch.h"
#include "Toolkit/Files/FileWindow.h"

namespace kz {

// Pages are what stands between Begin and End Page, be the latter missing, outside of
// resources, which may hold documents of their own.
class PageWalk {
 public:
  explicit PageWalk(FileWindow& file) : m_file(file), m_search(file) {}

  // The next field that can be read. False at the end of the file.
  bool Next(ScannedField& field);
  // Its data, which stay until the next call; empty when they can't be read.
  std::string_view Data(const ScannedField& field);
  // The page that the last field is in, from 1; 0 outside of pages, where End Page is.
  int Page() const { return m_page; }
  // The pages that have begun.
  int Pages() const { return m_pages; }
  bool InResources() const { return m_group || m_resource; }
  // What damage there was, after the end of the file.
  Outcome Damage() const;

 private:
  void Follow(uint16_t code);
  void NoteDamage(const ScannedField& field, int64_t end);

  FileWindow& m_file;
  FieldSearch m_search;
  int64_t m_at = 0;
  int m_page = 0;
  int m_pages = 0;
  bool m_group = false;
  bool m_resource = false;
  bool m_inDocument = false;
  bool m_ended = false;  // a document, which may be padded
  std::string m_damage;  // the first
  int m_status = K_SUCCESS;
  int64_t m_damages = 0;
};

}  // namespace kz
