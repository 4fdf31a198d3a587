// kzica abic, and what the parameters that it prints do in the environment.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "Tests/Host/Abic/CodedPicture.h"
#include "Tests/Support/FileBuilder.h"
#include "Tests/Tools/Program.h"

namespace {

using kz::test::CodedWith;
using kz::test::DrawPicture;
using kz::test::ParametersOf;
using kz::test::PictureKind;
using kz::test::Producer;
using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* kOdd = "0:-1,-3 -1:-1,0,1 -2:-1,1";

// A bare image of so many pixels, coded by the independent coder.
Bytes Coded(PictureKind kind, int width, int height, int depth, const char* text,
            bool exactWidth = true, unsigned char recording = 4) {
  const Bytes data = CodedWith(ParametersOf(text, exactWidth),
                               DrawPicture(kind, width, height, depth, 3), Producer::Borrows);
  return Segment(ImageSize(static_cast<unsigned>(width), static_cast<unsigned>(height)) +
                     Encoding(depth == 1 ? 0x08 : 0x0A, recording) +
                     Parameter(0x96, {static_cast<unsigned char>(depth)}),
                 data);
}

class AbicCommand : public testing::Test {
 protected:
  Result Abic(const std::string& name, const Bytes& file,
              const std::vector<std::string>& options = {}) {
    std::vector<std::string> words = {"abic", m_folder.File(name, file)};
    words.insert(words.end(), options.begin(), options.end());
    return Kzica(words);
  }
  // Parses what --json prints.
  static json Parsed(const Result& run) { return json::parse(run.out, nullptr, false); }

  TemporaryFolder m_folder;
  // Text is coded quickly and tells what it was coded with.
  const Bytes m_wrapped =
      Coded(PictureKind::Text, 251, 240, 1, "0:-2,-1 -1:-2,-1,0,1 -2:0 flips wraps", true, 1);
  const Bytes m_usual = Coded(PictureKind::Gradient, 120, 90, 4, "0:-1,-2 -1:-2,-1,0,1,2");
};

TEST_F(AbicCommand, PrintsWhatFits) {
  const Result run = Abic("wrapped.ica", m_wrapped);
  EXPECT_EQ(run.exit, 0) << run.err;
  EXPECT_THAT(run.out,
              AllOf(HasSubstr("/wrapped.ica: picture 1, 251 x 240 pixels, 1 bit a pixel, "),
                    HasSubstr("                        . . X .\n"
                              "                        X X X X\n"
                              "                        X X o\n"),
                    HasSubstr("  colours change places in states 0 and 1\n"),
                    HasSubstr("the neighbouring rows' ends"), Not(HasSubstr("plane")),
                    HasSubstr("in their exact width, though the file says otherwise\n"),
                    HasSubstr("\n  KZABI_PARAMETERS='0:-1,-2 -1:-2,-1,0,1 -2:0 flips")));
  EXPECT_EQ(run.out.find("KZABI"), run.out.rfind("KZABI")) << "one context";
  const Result usual = Abic("usual.ica", m_usual);
  EXPECT_EQ(usual.exit, 0) << usual.err;
  EXPECT_THAT(usual.out, AllOf(HasSubstr("usual ones"), HasSubstr("above a plane"),
                               HasSubstr("KZABI_PARAMETERS='0:-1,-2 -1:-2,-1,0,1,2'\n"),
                               Not(HasSubstr("otherwise"))));
}

TEST_F(AbicCommand, PrintsJson) {
  const Result run = Abic("both.ica", m_usual + m_wrapped, {"--json"});
  EXPECT_EQ(run.exit, 3) << "the other doesn't fit";
  EXPECT_THAT(run.err, HasSubstr("1 of 2 strings don't fit"));
  const json found = Parsed(run);
  ASSERT_TRUE(found.is_object()) << run.out;
  EXPECT_EQ(found["strings"], 2);
  EXPECT_EQ(found["file"], m_folder / "both.ica");
  const json one = Parsed(Abic("both.ica", m_usual + m_wrapped, {"--json", "--image", "2"}));
  EXPECT_EQ(one["image"], 2);
  EXPECT_EQ(one["width"], 251);
  EXPECT_EQ(one["height"], 240);
  EXPECT_EQ(one["bitsPerPixel"], 1);
  EXPECT_EQ(one["strings"], 1);
  EXPECT_EQ(one["tried"], 2 * 45760) << "with padded rows, then without";
  EXPECT_GT(one["bytes"], 2048);
  const json& fits = one["fits"];
  ASSERT_FALSE(fits.empty());
  for (const json& fit : fits) {
    EXPECT_THAT(fit["parameters"].get<std::string>(),
                StartsWith("0:-1,-2 -1:-2,-1,0,1 -2:0 flips"));
    EXPECT_EQ(fit["flipsInStateOne"], true);
    EXPECT_EQ(fit["exactWidth"], true);
    EXPECT_EQ(fit["reversedBits"], false);
    EXPECT_EQ(fit["strings"], 1);
  }
  EXPECT_EQ(fits.back()["wrapsEdges"], true);
}

TEST_F(AbicCommand, SaysWhyThereIsNoAnswer) {
  Bytes damaged = m_usual;
  damaged.resize(damaged.size() / 2);
  const Bytes tiny = Coded(PictureKind::Text, 64, 30, 1, "0:-1,-2 -1:-2,-1,0,1,2");
  const Bytes earlier =
      Segment(ImageSize(8, 8) + Encoding(8) + Parameter(0x96, {1}), {1, 2, 3, 0xFF, 0xAC});
  const struct {
    const char* name;
    Bytes file;
    std::vector<std::string> options;
    int exit;
    const char* says;
  } cases[] = {
      {"fax.ica", FileBytes(Sample("letter-g4.ica")), {}, 1, "there are no ABIC data in it"},
      {"fax.ica", FileBytes(Sample("letter-g4.ica")), {"--image", "1"}, 1, "has no ABIC data"},
      {"usual.ica", m_usual, {"--image", "2"}, 1, "there is no image 2"},
      {"usual.ica", m_usual, {"--image", "0"}, 2, "--image"},
      {"noise.ica", Pattern(100), {}, 1, "neither an IOCA image nor"},
      {"damaged.ica", damaged + kEpilogue, {}, 1, "no parameters fit picture 1"},
      {"tiny.ica", tiny, {}, 3, "contexts fit: the data are too few, or too plain, to tell"},
      {"earlier.ica", earlier, {}, 1, "earlier versions of kzica wrote"},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    const Result run = Abic(each.name, each.file, each.options);
    EXPECT_EQ(run.exit, each.exit) << run.out << run.err;
    EXPECT_THAT(run.err, HasSubstr(each.says));
  }
  const Result gone = Kzica({"abic", m_folder / "gone.ica"});
  EXPECT_EQ(gone.exit, 1);
  EXPECT_THAT(gone.err, HasSubstr("gone.ica: No such file or directory"));
}

TEST_F(AbicCommand, PrintsWhatTheEnvironmentIsToSay) {
  const auto picture = DrawPicture(PictureKind::Text, 400, 300, 1, 9);
  Bytes pbm = {'P', '1', '\n', '4', '0', '0', ' ', '3', '0', '0', '\n'};
  for (const unsigned char sample : picture.samples) pbm.push_back(sample != 0 ? '1' : '0');
  const std::string source = m_folder.File("source.pbm", pbm);
  const Conditions odd = {.variables = {std::string("KZABI_PARAMETERS=") + kOdd}};
  const auto created = [&](const char* name, const Conditions& conditions) {
    const std::string file = m_folder / name;
    const Result run = Kzica({"create", file, source, "-c", "abic", "--bits", "1"}, conditions);
    EXPECT_EQ(run.exit, 0) << run.err;
    return file;
  };
  const auto extracted = [&](const std::string& file, const Conditions& conditions) {
    const std::string out = m_folder / "out.pbm";
    std::filesystem::remove(out);
    const Result run = Kzica({"extract", file, out}, conditions);
    EXPECT_EQ(run.exit, 0) << run.err;
    return FileBytes(out);
  };
  const std::string usual = created("usual.mda", {}), other = created("other.mda", odd);
  EXPECT_NE(FileBytes(usual), FileBytes(other));
  const Bytes expected = extracted(usual, {});
  ASSERT_FALSE(expected.empty());
  EXPECT_TRUE(extracted(other, odd) == expected);
  // What was coded with the usual ones is still read.
  EXPECT_TRUE(extracted(usual, odd) == expected);
  const Result run = Kzica({"abic", other});
  EXPECT_EQ(run.exit, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("KZABI_PARAMETERS='" + std::string(kOdd) + "'\n"));
  for (const char* text : {"hello", "0:-1,-1", "0:-1 -3:0"}) {
    const Conditions malformed = {.variables = {std::string("KZABI_PARAMETERS=") + text}};
    for (const auto& words : {std::vector<std::string>{"extract", usual, m_folder / "no.pbm"},
                              {"create", m_folder / "no.mda", source, "-c", "abic"},
                              {"abic", usual}}) {
      const Result refused = Kzica(words, malformed);
      EXPECT_EQ(refused.exit, 2) << words.front();
      EXPECT_THAT(refused.err,
                  HasSubstr("KZABI_PARAMETERS in the environment is not understood: '" +
                            std::string(text) + "'"));
    }
  }
  EXPECT_FALSE(std::filesystem::exists(m_folder / "no.mda"));
}

}  // namespace
