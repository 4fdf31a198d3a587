// What the command says of each sample, of each small document of the fuzzers and of
// the documents beside the golden files: all of it, as it was looked over once.
// KZ_RENEW_GOLDEN=1 writes the files anew; the difference is to be looked over then.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Tools/Program.h"

namespace {

namespace fs = std::filesystem;

const fs::path kGolden = KZ_SOURCE_DIR "/Tests/Golden";

// A document in hexadecimal: # begins a comment, 300*5A is a byte 300 times.
Bytes FromHex(const fs::path& path) {
  Bytes bytes;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line.substr(0, line.find('#')));
    for (std::string word; words >> word;) {
      const size_t times = word.find('*');
      const size_t count = times == std::string::npos ? 1 : std::stoul(word.substr(0, times));
      const std::string digits = word.substr(times == std::string::npos ? 0 : times + 1);
      for (size_t n = 0; n < count; ++n) {
        for (size_t i = 0; i + 1 < digits.size(); i += 2) {
          bytes.push_back(static_cast<unsigned char>(std::stoul(digits.substr(i, 2), nullptr, 16)));
        }
      }
    }
  }
  return bytes;
}

// The files that golden files are of, put into one folder.
std::vector<std::string> GatherInputs(const TemporaryFolder& folder) {
  for (const char* from : {KZ_SAMPLES, KZ_SOURCE_DIR "/Fuzz/corpus/document"}) {
    for (const auto& entry : fs::directory_iterator(from)) {
      const fs::path ending = entry.path().extension();
      if (ending == ".ica" || ending == ".mda" || ending == ".afp") {
        fs::copy_file(entry.path(), folder / entry.path().filename().string());
      }
    }
  }
  for (const auto& entry : fs::directory_iterator(kGolden / "Inputs")) {
    folder.File(entry.path().stem().string(), FromHex(entry.path()));
  }
  return folder.Names();
}

// A command line with what it printed, as in a terminal.
std::string Transcript(const std::string& line, const std::string& folder) {
  const Result run = Kzica(Words(line), {.folder = folder});
  return "$ kzica " + line + "\n" + run.out + run.err + "exit status " + std::to_string(run.exit) +
         "\n\n";
}

std::string Describe(const std::string& file, const TemporaryFolder& folder) {
  const std::string here = folder / "";
  const auto run = [&](const std::string& line) { return Transcript(line, here); };
  std::string all = run("info " + file) + run("info --all " + file) + run("index " + file);
  for (int page = 1, pages = 1; page <= pages; ++page) {
    const std::string json = run("info --json " + file + " -p " + std::to_string(page));
    const size_t at = json.find("\"pages\":");
    if (at != std::string::npos) pages = std::stoi(json.substr(at + 8));
    all += json;
  }
  all += run("check " + file) + run("check --json " + file) + run("text " + file) +
         run("dump " + file) + run("dump --json " + file);
  // Of small documents also what becomes of their pages elsewhere.
  constexpr uintmax_t small = 2000;
  if (file.ends_with(".ica") || fs::file_size(folder / file) > small) return all;
  for (const std::string& edit : {"assemble out " + file + ":z,1", "split " + file + " out -p 1"}) {
    all += run(edit);
    if (fs::exists(folder / "out")) all += run("dump out");
    fs::remove(folder / "out");
  }
  return all;
}

// The first line that differs, as it was and as it is.
std::string FirstDifference(const std::string& expected, const std::string& output) {
  std::istringstream before(expected), after(output);
  std::string was, is;
  for (int number = 1;; ++number) {
    const bool more = static_cast<bool>(std::getline(before, was));
    if (static_cast<bool>(std::getline(after, is)) != more || was != is) {
      return std::to_string(number) + ": " + was + "\n" + is;
    }
    if (!more) return expected == output ? "" : "the last line's end";
  }
}

TEST(Golden, OutputsAreThoseThatWereLookedOver) {
  const TemporaryFolder folder;
  std::vector<std::string> golden, expected;
  for (const std::string& file : GatherInputs(folder)) {
    const std::string name = file + ".txt";
    expected.push_back(name);
    const std::string output = Describe(file, folder);
    if (std::getenv("KZ_RENEW_GOLDEN") != nullptr) {
      std::ofstream(kGolden / name, std::ios::binary) << output;
    }
    const Bytes bytes = FileBytes(kGolden / name);
    EXPECT_EQ(FirstDifference({bytes.begin(), bytes.end()}, output), "") << name;
  }
  for (const auto& entry : fs::directory_iterator(kGolden)) {
    if (entry.path().extension() == ".txt") golden.push_back(entry.path().filename());
  }
  std::sort(golden.begin(), golden.end());
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(golden, expected);
  EXPECT_GE(expected.size(), 30u);
}

}  // namespace
