// A folder with sources for kzica convert.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "Tests/Support/EditedDocuments.h"
#include "Tests/Tools/Program.h"

// Pages with a number each; the names of groups are given, "" is a page in none.
inline Bytes NumberedDocument(const std::vector<std::string>& groups = {"", "", ""},
                              int first = 1) {
  Bytes file = kz::test::Begin("DOC");
  for (const std::string& group : groups) {
    if (!group.empty()) file = file + Field(0xA8AD, kz::test::Name(group));
    file = file + kz::test::NumberedPage(first++);
    if (!group.empty()) file = file + Field(0xA9AD, kz::test::Name(group));
  }
  return file + kz::test::End("DOC");
}

inline std::string Numbered(const char* folder, int number) {
  return std::string(folder).append("d").append(std::to_string(number)).append(".mda");
}

class ConvertFolder : public testing::Test {
 protected:
  ConvertFolder() { std::filesystem::create_directory(In("")); }

  std::string In(const std::string& name) const { return m_folder / ("in/" + name); }
  std::string Out(const std::string& name) const { return m_folder / ("out/" + name); }
  std::string Put(const std::string& name, const Bytes& bytes) const {
    std::filesystem::create_directories(std::filesystem::path(In(name)).parent_path());
    return m_folder.File("in/" + name, bytes);
  }

  // convert with these words, in the folder around in and out.
  Result Convert(const std::string& words, Conditions conditions = {.patience = 120}) const {
    conditions.folder = m_folder / "";
    std::vector<std::string> arguments = Words(words);
    arguments.insert(arguments.begin(), "convert");
    return Kzica(arguments, conditions);
  }

  // The names below a folder, but for folders.
  std::vector<std::string> Files(const std::string& folder = "out") const {
    std::vector<std::string> names;
    if (!std::filesystem::exists(m_folder / folder)) return names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(m_folder / folder)) {
      if (!entry.is_directory())
        names.push_back(std::filesystem::relative(entry.path(), m_folder / folder));
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  // The lines of a report but the last, by their sources.
  std::map<std::string, nlohmann::json> Lines(const std::string& report) const {
    std::map<std::string, nlohmann::json> lines;
    const Bytes bytes = FileBytes(m_folder / report);
    std::istringstream text(std::string(bytes.begin(), bytes.end()));
    for (std::string line; std::getline(text, line);) {
      const auto object = nlohmann::json::parse(line);
      if (object.contains("source")) lines[object["source"]] = object;
    }
    return lines;
  }

  TemporaryFolder m_folder;
};
