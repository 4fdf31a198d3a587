// Finds out what of a damaged document is kept.
#pragma once

#include <string>
#include <vector>

#include "Format/FieldScan.h"
#include "Toolkit/Editing/Pieces.h"
#include "Toolkit/Editing/Repair.h"

namespace kz {

class RepairPlan {
 public:
  // The index is that of the list's source. `lost`: image data, in their order, that are
  // left out.
  RepairPlan(const PageIndex& index, PieceList& pieces, int source, std::vector<ByteRange> lost,
             std::vector<LeftOutBytes>& leftOut);
  void Run();

 private:
  // Each takes what begins at `m_at` and goes on after it.
  void TakePage(ByteRange page);
  void TakeGroup(ByteRange group);
  void TakeResource(ByteRange resource);
  void TakeField(const ScannedField& field);

  // Keeps the sound fields of what a Begin field opens, and closes what is open.
  void TakeDamaged(ByteRange range, uint16_t begin);
  // A field there; `depth` are open outside.
  void TakeFieldWithin(const ScannedField& field, size_t depth);
  void BeginDocument(const ScannedField& field);
  // Adds a Begin Document field unless one is open.
  void EnsureDocument();
  // Whether skipped bytes begin here or go on; leaves them out, but not beyond `end`.
  bool PassSkipped(int64_t end);
  bool IsLost(const ScannedField& field) const;
  bool IsSkipped(ByteRange range);
  bool IsSoundPage(ByteRange page);
  bool IsWholeResource(ByteRange resource);
  bool IsWholeGroup(ByteRange group);
  ScannedField Field() { return ScanField(m_pieces.File(m_source), m_at); }
  void Keep(int64_t end);
  void LeaveOut(int64_t end);
  void Put(uint16_t code);
  // Ends the innermost that are open, down to `depth` of them.
  void CloseTo(size_t depth);
  // How many are open outside of the innermost with this Begin code; kNone for none.
  size_t DepthOf(uint16_t begin) const;
  static constexpr size_t kNone = SIZE_MAX;

  const PageIndex& m_index;
  PieceList& m_pieces;
  int m_source;
  std::vector<ByteRange> m_lostData;  // image data to be left out
  std::vector<LeftOutBytes>& m_leftOut;
  bool m_prefixed;
  int64_t m_at = 0;
  int m_page = 0;                // that is being taken
  size_t m_skipped = 0;          // the next of the skipped bytes
  size_t m_resource = 0;         // the next resource
  bool m_lost = false;           // the beginning of what comes may be missing
  bool m_begun = false;          // a document has begun
  std::vector<uint16_t> m_open;  // Begin fields whose ends are missing yet
};

}  // namespace kz
