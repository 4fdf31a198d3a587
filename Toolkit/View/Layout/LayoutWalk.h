// The fields of one page, and of what it includes, as items.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Format/FieldScan.h"
#include "Format/ObjectArea.h"
#include "Toolkit/View/Layout/LayoutSource.h"
#include "Toolkit/View/Layout/PageLayout.h"
#include "Toolkit/View/Layout/TextRuns.h"

namespace kz {

// The sources of a document, each opened once.
class LayoutSources {
 public:
  // Null when it can't be opened; `outcome` says why.
  LayoutSource* Get(const Document& document, Outcome& outcome);

 private:
  std::map<const Document*, std::unique_ptr<LayoutSource>> m_sources;
};

class LayoutWalk {
 public:
  LayoutWalk(LayoutSources& sources, const MeasureText& measure, PageLayout& layout);
  // Lays out the fields of a page; of a bare image, its picture.
  void TakePage(LayoutSource& source, int page);

 private:
  // The page, or an overlay.
  struct Space {
    UnitSize units;
    double width = 0;
    double height = 0;
    Placement frame;  // of its axes, on the page
    FontMap fonts;
    TextSpace text;
  };
  // How fields come here.
  struct Context {
    Placement origin;                      // that a page segment is put at
    const ObjectArea* included = nullptr;  // what Include Object says of the objects
    int depth = 0;
  };
  // What stands between a Begin and an End field that count here.
  struct OpenObject {
    uint16_t code = 0;  // of the Begin field; 0: none is open
    int64_t begin = 0;
    ObjectArea area;
    IncludePoint im;
    std::optional<FontMap> pageFonts;    // that hold again when it ends
    std::optional<TextSpace> textSpace;  // its own; else that of the page
    bool textBegun = false;
  };

  void Walk(LayoutSource& source, ByteRange bytes, const Context& context);
  bool LooksOn();
  // Takes a field and says where the next one begins.
  int64_t Take(LayoutSource& source, const ScannedField& field, const Context& context);
  void TakeInObject(const ScannedField& field, std::string_view data);
  int64_t PassPictureData(LayoutSource& source, const ScannedField& field, const Context& context);
  void Begin(const ScannedField& field);
  void End(LayoutSource& source, int64_t end, const Context& context);
  void AddText(LayoutSource& source, std::string_view data, const Context& context);
  void AddPicture(LayoutSource& source, size_t picture, const Context& context);
  void AddImImage(LayoutSource& source, size_t picture, const Context& context);
  void AddBox(const std::string& label, const Context& context);
  void Include(LayoutSource& source, uint16_t code, const std::string& data,
               const Context& context);
  void WalkResource(const ResourcePlace& place, const Context& context, const std::string& what);
  void Describe(std::string_view data);

  // The area of the open object on the page, and its size; 0 where it isn't said.
  struct Area {
    Placement at;
    double width = 0;
    double height = 0;
    UnitSize contentUnits;
    ObjectArea said;
  };
  Area AreaOf(const Context& context) const;
  bool Add(PageItem&& item);
  bool TakeText(PlacedText&& text);
  void Warn(std::string what);
  void FindSize();

  LayoutSources& m_sources;
  PageLayout& m_layout;
  Space m_space;
  OpenObject m_object;
  LayoutSource* m_textSource = nullptr;
  TextRuns m_runs;
  size_t m_fields = 0;
  int64_t m_bytes = 0;  // of fields and of what isn't any
  size_t m_textBytes = 0;
  bool m_full = false;
  std::vector<std::pair<const Document*, uint32_t>> m_including;
};

}  // namespace kz
