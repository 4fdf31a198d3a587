// kzica index: the page groups of a file and the tags that archives find pages by.
#include <memory>

#include "Toolkit/Documents/PageIndex.h"
#include "Tools/kzica/Input.h"
#include "Tools/kzica/Json.h"

namespace kzica {

namespace {

using nlohmann::ordered_json;

struct IndexOptions {
  std::vector<std::string> files;
  bool csv = false;
  bool json = false;
};

struct PageSpan {
  int first = 0;  // 0: there are no pages
  int last = 0;
};

PageSpan PagesOf(const kz::IndexedGroup& group) {
  if (group.pages == 0) return {};
  return {group.firstPage, group.firstPage + group.pages - 1};
}

// A field of a row as RFC 4180 has it.
std::string Quoted(const std::string& value) {
  if (value.find_first_of(",\"\r\n") == std::string::npos) return value;
  std::string quoted = "\"";
  for (const char c : value) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + "\"";
}

constexpr const char* kHeader = "level,group,first_page,last_page,tag,value\n";

// `begin` is what rows of several files begin with, else empty.
void PrintRow(const std::string& begin, const char* level, const std::string& group, PageSpan pages,
              const kz::IndexedTag* tag) {
  const auto number = [](int n) { return n > 0 ? std::to_string(n) : std::string(); };
  Print(begin + level + "," + Quoted(group) + "," + number(pages.first) + "," + number(pages.last) +
        "," + (tag != nullptr ? Quoted(tag->name) : "") + "," +
        (tag != nullptr ? Quoted(tag->value) : "") + "\n");
}

void PrintCsv(const std::string& begin, const kz::PageIndex& index) {
  const int pages = static_cast<int>(index.pages.size());
  std::vector<bool> tagged(index.groups.size());
  for (const kz::IndexedTag& tag : index.tags) {
    if (tag.page == 0 && tag.group != kz::kNoIndex) tagged[tag.group] = true;
  }
  // Groups and tags are both in the file's order; a group's own tags follow its beginning.
  size_t group = 0;
  const auto printGroups = [&](size_t end) {
    for (; group < end; ++group) {
      if (tagged[group]) continue;
      PrintRow(begin, "group", index.groups[group].name, PagesOf(index.groups[group]), nullptr);
    }
  };
  for (const kz::IndexedTag& tag : index.tags) {
    const bool grouped = tag.group != kz::kNoIndex;
    const std::string name = grouped ? index.groups[tag.group].name : "";
    if (grouped) printGroups(tag.group + size_t{1});
    if (tag.page > 0) {
      PrintRow(begin, "page", name, {tag.page, tag.page}, &tag);
    } else if (grouped) {
      PrintRow(begin, "group", name, PagesOf(index.groups[tag.group]), &tag);
    } else {
      PrintRow(begin, "document", name, {pages > 0 ? 1 : 0, pages}, &tag);
    }
  }
  printGroups(index.groups.size());
}

ordered_json Number(int n) { return n > 0 ? ordered_json(n) : ordered_json(nullptr); }

void PrintAsJson(const std::string& name, const kz::PageIndex& index) {
  const auto place = [](uint32_t group) {
    return group == kz::kNoIndex ? ordered_json(nullptr) : ordered_json(group + 1);
  };
  ordered_json groups = ordered_json::array(), tags = ordered_json::array();
  for (const kz::IndexedGroup& group : index.groups) {
    const PageSpan pages = PagesOf(group);
    groups.push_back({{"name", group.name},
                      {"parent", place(group.parent)},
                      {"firstPage", Number(pages.first)},
                      {"lastPage", Number(pages.last)}});
  }
  for (const kz::IndexedTag& tag : index.tags) {
    tags.push_back({{"name", tag.name},
                    {"value", tag.value},
                    {"group", place(tag.group)},
                    {"page", Number(tag.page)}});
  }
  PrintJson({{"version", kJsonVersion},
             {"file", name},
             {"pages", index.pages.size()},
             {"groups", std::move(groups)},
             {"tags", std::move(tags)}});
}

Exit IndexOne(const std::string& argument, const IndexOptions& options) {
  std::string file = argument;
  if (OpenInput(file) != kDone) return kFileFailed;
  kz::PageIndex index;
  const kz::Outcome outcome = kz::IndexFile(file, index);
  Exit exit = kDone;
  if (!outcome.Ok()) {
    exit = Complain({file}, outcome);
  } else {
    if (options.json) {
      PrintAsJson(argument, index);
    } else if (options.files.size() > 1) {
      PrintCsv(Quoted(argument) + ",", index);
    } else {
      Print(kHeader);
      PrintCsv("", index);
    }
    if (index.IsDamaged()) exit = Complain({file}, index.structure);
  }
  CloseInput(file);
  return exit;
}

Exit Index(const IndexOptions& options) {
  if (!options.json && options.files.size() > 1) Print(std::string("file,") + kHeader);
  Exit exit = kDone;
  for (const std::string& file : options.files) {
    if (IndexOne(file, options) != kDone) exit = kFileFailed;
    if (!CanPrint()) break;
  }
  return exit;
}

}  // namespace

void AddIndex(CLI::App& app, Exit& exit) {
  CLI::App* command =
      app.add_subcommand("index", "List the page groups and tags of files with their pages");
  command->footer(
      "A row for each tag (Tag Logical Element) and for each group without a tag of its own.\n"
      "level is group, page for a tag of a page, or document; group is the innermost around it.\n"
      "Rows of several files begin with a column file.\n"
      "--json prints for each file an object of version (1), file, pages, groups (name, parent, "
      "firstPage,\n"
      "lastPage) and tags (name, value, group, page); parent and group count groups from 1.\n"
      "Exit status 1 when the file is damaged: groups and tags may be missing then.");
  auto options = std::make_shared<IndexOptions>();
  command->add_option("FILE", options->files, "Files to list")->required();
  CLI::Option* csv =
      command->add_flag("--csv", options->csv, "Print comma-separated values, as without it");
  command->add_flag("--json", options->json, "Print one JSON object per file, each on a line")
      ->excludes(csv);
  command->callback([options, &exit] { exit = Index(*options); });
}

}  // namespace kzica
