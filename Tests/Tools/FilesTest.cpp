// Unusual files, names and rights: the command does what users expect, or says
// what is wrong. Nothing may wait for ever: SIGALRM ends a run that does.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <thread>

#include "Tests/Support/EditedDocuments.h"
#include "Tests/Tools/Program.h"
#include "Toolkit/Files/FileDescriptor.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

const Conditions kPatient = {.patience = 60};

class Files : public testing::Test {
 protected:
  Files() : m_document(m_folder.File("document.mda", FileBytes(Sample("report-g4.mda")))) {}

  // Every subcommand with a file as what it reads or changes.
  std::vector<std::vector<std::string>> Uses(const std::string& file) const {
    const std::string odd = Sample("odd.png");
    return {{"info", file},
            {"extract", file, m_folder / "out.png"},
            {"render", file, m_folder / "out.pdf"},
            {"contact", file, m_folder / "out.png"},
            {"text", file},
            {"check", file},
            {"index", file},
            {"split", file, m_folder / "out%d.mda"},
            {"assemble", m_folder / "out.mda", file},
            {"append", file, odd},
            {"append", file, odd, "--in-place"},
            {"insert", file, odd, "--after", "1"},
            {"replace", file, odd, "-p", "2"},
            {"replace", file, odd, "-p", "1"},
            {"delete", file, "-p", "2"},
            {"delete", file, "-p", "1"}};
  }
  // Every subcommand with a file as what it writes.
  std::vector<std::vector<std::string>> Outputs(const std::string& file) const {
    return {{"create", file, Sample("odd.png")},
            {"extract", m_document, file, "-f", "png"},
            {"extract", m_document, file, "-f", "raw"},
            {"render", m_document, file, "-f", "png", "-p", "1"},
            {"render", m_document, file, "-f", "pdf"},
            {"contact", m_document, file, "-f", "png"},
            {"contact", m_document, file, "-f", "pdf"},
            {"assemble", file, m_document},
            {"split", m_document, file, "-p", "1"}};
  }

  static bool IsEdit(const std::vector<std::string>& use) {
    return use[0] == "append" || use[0] == "insert" || use[0] == "replace" || use[0] == "delete";
  }

  static void ExpectRefusal(const std::vector<std::string>& arguments, const std::string& message,
                            const Conditions& conditions = kPatient) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const Result run = Kzica(arguments, conditions);
    EXPECT_EQ(run.signal, 0);
    EXPECT_EQ(run.exit, 1);
    EXPECT_THAT(run.err, HasSubstr(message));
  }

  // A program that another user may run, wherever the built one lies.
  Conditions AsOrdinaryUser() {
    const std::string lib = m_folder / "lib";
    fs::permissions(m_folder / "", fs::perms(0755));
    fs::create_directory(lib);
    for (const auto& entry : fs::directory_iterator(KZ_BINARY_DIR "/lib")) {
      fs::copy(entry.path(), lib + "/" + entry.path().filename().string());
    }
    fs::copy_file(KZ_COMMAND, m_folder / "kzica");
    Conditions conditions = kPatient;
    conditions.variables = {"LD_LIBRARY_PATH=" + lib};
    conditions.program = m_folder / "kzica";
    conditions.ordinaryUser = true;
    return conditions;
  }

  TemporaryFolder m_folder;
  const std::string m_document;
};

TEST_F(Files, WhatIsNoDocumentIsNamed) {
  const std::string folder = m_folder / "folder", loop = m_folder / "loop";
  fs::create_directory(folder);
  fs::create_symlink("loop", loop);
  const struct {
    std::string file;
    const char* message;
  } cases[] = {
      {folder, "Is a directory (status -10)"},
      {"/dev/zero", "only regular files can be read (status -10)"},
      {"/dev/full", "only regular files can be read (status -10)"},
      {m_folder.File("empty", {}), "the file is empty (status -7)"},
      {loop, "Too many levels of symbolic links (status -10)"},
      {m_document + "/", "Not a directory (status -10)"},
      {"", "kzica: '': "},
  };
  for (const auto& c : cases) {
    for (const auto& use : Uses(c.file)) ExpectRefusal(use, c.message);
  }
  EXPECT_FALSE(fs::exists(m_folder / "out.mda") || fs::exists(m_folder / "out.png"));
}

// A document whose pages lie beyond what 32 bits count. The file has holes: only the
// beginnings of the fields between are stored.
TEST_F(Files, DocumentsMayBeLargerThanPositionsReach) {
  if (fs::space(m_folder / "").available < uintmax_t{2} << 30) GTEST_SKIP() << "no room";
  const std::string far = m_folder / "far.mda", out = m_folder / "out";
  const Bytes near = FileBytes(m_document);
  const kz::PageIndex index = kz::test::Indexed(m_document);
  // The first page is long.
  const int64_t endPage = index.pages[0].bytes.end - 16;
  m_folder.File("far.mda", Slice(near, 0, static_cast<size_t>(endPage)));
  const int file = open(far.c_str(), O_WRONLY | O_CLOEXEC);
  const unsigned char comment[] = {0x7F, 0xFF, 0xD3, 0xEE, 0xEE, 0, 0, 0};
  int64_t at = endPage;
  for (; at < int64_t{1} << 32; at += 0x7FFF) {
    ASSERT_EQ(pwrite(file, comment, sizeof(comment), at), ssize_t{sizeof(comment)});
  }
  const Bytes rest = Slice(near, static_cast<size_t>(endPage), near.size());
  ASSERT_EQ(pwrite(file, rest.data(), rest.size(), at), static_cast<ssize_t>(rest.size()));
  close(file);

  // The same is done with the document without the comments.
  const char* commands[] = {"info NAME -p z",
                            "check NAME",
                            "extract NAME OUT -p 3 -f raw",
                            "extract NAME OUT --all -f tif",
                            "text NAME -p z",
                            "render NAME OUT -p 3 -f png",
                            "contact NAME OUT -p 3 -f png",
                            "split NAME OUT -p 2",
                            "assemble OUT NAME:3,2",
                            "delete NAME -p 1 -o OUT",
                            "append NAME ODD --in-place",
                            "extract NAME OUT -p 4 -f pbm"};
  for (const std::string command : commands) {
    Result results[2];
    Bytes written[2];
    for (const bool isFar : {false, true}) {
      fs::remove(out);
      const std::map<std::string, std::string> names = {
          {"NAME", isFar ? far : m_document}, {"OUT", out}, {"ODD", Sample("odd.png")}};
      results[isFar] = Kzica(Words(command, names), kPatient);
      written[isFar] = FileBytes(out);
    }
    EXPECT_EQ(results[1].exit, 0) << command << results[1].err;
    const auto withoutName = [](const std::string& text) {
      return text.substr(text.find_first_of("\n:") + 1);
    };
    EXPECT_EQ(withoutName(results[1].out), withoutName(results[0].out)) << command;
    EXPECT_TRUE(written[1] == written[0]) << command;
  }
  Conditions discarding = kPatient;
  discarding.output = m_folder / "dump";
  ASSERT_EQ(Kzica({"dump", far}, discarding).exit, 0);
  const Bytes dump = FileBytes(discarding.output);
  const std::string end(dump.end() - 200, dump.end());
  EXPECT_THAT(end, HasSubstr(std::to_string(fs::file_size(far) - 16)));
}

TEST_F(Files, WhatCannotBeWrittenIsNamed) {
  const std::string folder = m_folder / "folder", fifo = m_folder / "fifo",
                    loop = m_folder / "loop";
  fs::create_directory(folder);
  ASSERT_EQ(mkfifo(fifo.c_str(), 0666), 0);
  fs::create_symlink("loop", loop);
  const struct {
    std::string file;
    const char* message;
  } cases[] = {
      {folder, "Is a directory (status -14)"},
      {fifo, "not a regular file (status -14)"},
      {"/dev/full", "not a regular file (status -14)"},
      {m_folder / "none/file", "No such file or directory (status -14)"},
      {loop, "Too many levels of symbolic links (status -14)"},
      {m_folder / std::string(300, 'x'), "File name too long (status -14)"},
  };
  for (const auto& c : cases) {
    for (const auto& output : Outputs(c.file)) ExpectRefusal(output, c.message);
  }
}

TEST_F(Files, AnyNameWillDo) {
  for (const std::string& name : {std::string("a b"), std::string("new\nline"),
                                  std::string("\xFF\xFE\x80"), std::string("tab\t'\"$`\\"),
                                  std::string("-p"), std::string("a:1"), std::string(250, 'n')}) {
    SCOPED_TRACE(testing::PrintToString(name));
    const TemporaryFolder folder;
    const std::string file = folder / name, odd = folder / (name.substr(0, 240) + ".png");
    fs::copy_file(Sample("odd.png"), odd);
    for (const char* line :
         {"create FILE ODD", "append FILE ODD", "insert FILE ODD --after 1",
          "replace FILE ODD -p 2", "delete FILE -p 1", "assemble FILE FILE FILE:z-1", "check FILE",
          "text FILE", "dump FILE --json", "extract FILE ODD -p z", "render FILE ODD -p z", "contact FILE ODD", "compare FILE FILE",
          "split FILE ODD -p 4"}) {
      const Result run = Kzica(Words(line, {{"FILE", file}, {"ODD", odd}}), kPatient);
      EXPECT_EQ(run.exit, 0) << line << ": " << run.err;
    }
    const Result info = Kzica({"info", file, "--json"}, kPatient);
    EXPECT_EQ(std::count(info.out.begin(), info.out.end(), '\n'), 1) << info.out;
    EXPECT_THAT(info.out, HasSubstr("\"pages\":4"));
    const Result none = Kzica({"info", file + "?"}, kPatient);
    EXPECT_EQ(std::count(none.err.begin(), none.err.end(), '\n'), 1) << none.err;
    EXPECT_EQ(none.err.find("new\\x0Aline") != std::string::npos, name == "new\nline");
  }
}

TEST_F(Files, LinksLeadToTheFile) {
  const Bytes before = FileBytes(m_document);
  fs::create_directory(m_folder / "folder");
  fs::create_symlink("../document.mda", m_folder / "folder/near");
  fs::create_symlink(m_folder / "folder/near", m_folder / "far");
  const std::string dangling = m_folder / "dangling";
  fs::create_symlink("folder/new", dangling);
  const std::string far = m_folder / "far";
  for (const auto& use : Uses(far)) {
    m_folder.File("document.mda", before);
    const Result run = Kzica(use, kPatient);
    EXPECT_EQ(run.exit, 0) << run.err;
    EXPECT_TRUE(fs::is_symlink(far) && fs::is_symlink(m_folder / "folder/near"));
    EXPECT_EQ(FileBytes(m_document) != before, IsEdit(use)) << use[0];
  }
  m_folder.File("document.mda", before);
  for (const auto& output : Outputs(dangling)) {
    fs::remove(m_folder / "folder/new");
    EXPECT_EQ(Kzica(output, kPatient).exit, 0) << output[0];
    EXPECT_TRUE(fs::is_symlink(dangling));
    EXPECT_GT(fs::file_size(m_folder / "folder/new"), 0u);
  }
}

TEST_F(Files, RightsAreRespected) {
  const Conditions user = AsOrdinaryUser();
  const Bytes before = FileBytes(m_document);
  const std::string open = m_folder / "open", closed = m_folder / "closed";
  const auto place = [&](const std::string& folder, const char* name, unsigned mode) {
    const std::string file = folder + "/" + name;
    fs::create_directory(folder);
    fs::copy_file(m_document, file);
    fs::permissions(file, fs::perms(mode));
    return file;
  };
  const std::string readOnly = place(open, "read-only", 0444);
  const std::string unreadable = place(open, "unreadable", 0000);
  const std::string own = place(open, "own", 0640);
  const std::string inClosed = place(closed, "file", 0666);
  if (geteuid() == 0) {
    for (const std::string& file : {readOnly, unreadable, own, inClosed}) {
      ASSERT_EQ(chown(file.c_str(), 65534, 65534), 0);
    }
  }
  fs::permissions(open, fs::perms(0777));
  fs::permissions(closed, fs::perms(0555));

  for (const auto& use : Uses(unreadable)) ExpectRefusal(use, "Permission denied", user);
  for (const std::string& file : {readOnly, inClosed}) {
    for (const auto& use : Uses(file)) {
      const bool inPlace = use.back() == "--in-place" && file == inClosed;  // needs no folder
      if (IsEdit(use) && !inPlace) {
        ExpectRefusal(use, "Permission denied (status -14)", user);
        EXPECT_TRUE(FileBytes(file) == before) << use[0];
      }
    }
    for (const char* command : {"info", "text", "check", "dump"}) {
      EXPECT_EQ(Kzica({command, file}, user).exit, 0) << command;
    }
  }
  for (const std::string& file : {closed + "/new", readOnly}) {
    for (const auto& output : Outputs(file)) {
      ExpectRefusal(output, "Permission denied (status -14)", user);
    }
  }
  EXPECT_TRUE(FileBytes(readOnly) == before);

  for (const auto& use : Uses(own)) {
    if (!IsEdit(use)) continue;
    const Result run = Kzica(use, user);
    EXPECT_TRUE(run.exit == 0) << use[0] << run.err;
    struct stat found;
    ASSERT_EQ(stat(own.c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 07777, 0640u) << use[0];
    EXPECT_EQ(found.st_uid, geteuid() == 0 ? 65534u : geteuid());
  }
  if (geteuid() == 0) {
    // Someone else's file that may be written: its owner couldn't be kept.
    const std::string others = place(open, "others", 0666);
    ExpectRefusal({"append", others, Sample("odd.png")}, "its owner and mode can't be kept", user);
    EXPECT_TRUE(FileBytes(others) == before);
  }
}

TEST_F(Files, WritersAtOnceLoseNoPage) {
  for (const bool inPlace : {false, true}) {
    std::vector<std::thread> writers;
    std::vector<std::vector<std::string>> edits;
    for (int i = 0; i < 20; ++i) {
      edits.push_back({"append", m_document, Sample("odd.png")});
      if (inPlace) edits.back().emplace_back("--in-place");
    }
    for (const auto& edit : edits) {
      writers.emplace_back([&] { EXPECT_EQ(Kzica(edit, kPatient).exit, 0); });
    }
    for (std::thread& writer : writers) writer.join();
  }
  EXPECT_THAT(Kzica({"info", m_document, "--json"}).out, HasSubstr("\"pages\":43,"));
}

TEST_F(Files, ALockedFileIsNotWrittenButRead) {
  const std::string out = m_folder.File("locked", FileBytes(m_document));
  const Bytes before = FileBytes(m_document);
  const kz::OwnedDescriptor locked(open(m_document.c_str(), O_RDONLY)),
      output(open(out.c_str(), O_RDONLY));
  ASSERT_EQ(flock(locked.Get(), LOCK_SH) + flock(output.Get(), LOCK_EX), 0);
  std::vector<std::vector<std::string>> writing = Outputs(out);
  for (const auto& use : Uses(m_document)) {
    if (IsEdit(use)) {
      writing.push_back(use);
    } else {
      EXPECT_EQ(Kzica(use, kPatient).exit, 0) << use[0];
    }
  }
  for (auto& use : writing) {
    use.emplace_back("--no-wait");
    ExpectRefusal(use, "another program has locked it (status -14)");
  }
  EXPECT_TRUE(FileBytes(m_document) == before && FileBytes(out) == before);
}

TEST_F(Files, HardLinksAreKeptOrBrokenOnRequest) {
  const Bytes before = FileBytes(m_document);
  const std::string other = m_folder / "other";
  for (const auto& use : Uses(m_document)) {
    if (!IsEdit(use)) continue;
    m_folder.File("document.mda", before);
    fs::remove(other);
    fs::create_hard_link(m_document, other);
    if (use.back() == "--in-place") {
      EXPECT_EQ(Kzica(use).exit, 0);
      EXPECT_TRUE(fs::equivalent(m_document, other));
      continue;
    }
    ExpectRefusal(use, "it has 2 names (hard links)");
    std::vector<std::string> toItself = use;
    toItself.insert(toItself.end(), {"-o", other});
    ExpectRefusal(toItself, "it has 2 names (hard links)");
    EXPECT_TRUE(fs::equivalent(m_document, other) && FileBytes(other) == before);
    std::vector<std::string> allowed = use;
    allowed.emplace_back("--break-links");
    EXPECT_EQ(Kzica(allowed).exit, 0);
    EXPECT_TRUE(FileBytes(m_document) != before && FileBytes(other) == before);
  }
}

TEST_F(Files, WhatWouldHitTheDocumentOrTheTerminalIsWrongUsage) {
  const Bytes before = FileBytes(m_document);
  EXPECT_EQ(Kzica({"delete", m_document, "-p", "1", "-o", ""}, kPatient).exit, 2);
  EXPECT_TRUE(FileBytes(m_document) == before);
  Conditions terminal = kPatient;
  terminal.terminal = true;
  EXPECT_EQ(Kzica({"split", m_document, "-", "-p", "1"}, terminal).exit, 2);
}

// The pictures come through a pipe, so that the command is met at work.
TEST_F(Files, ASignalRemovesTheTemporaryFile) {
  const std::string fifo = m_folder / "fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0666), 0);
  const size_t names = m_folder.Names().size();
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    Conditions conditions = kPatient;
    conditions.meet = [&](pid_t program) {
      for (int i = 0; i < 5000 && m_folder.Names().size() == names; ++i) usleep(1000);
      EXPECT_EQ(m_folder.Names().size(), names + 1) << "no temporary file was met";
      kill(program, signal);
    };
    EXPECT_EQ(Kzica({"create", m_document, fifo}, conditions).signal, signal);
    EXPECT_EQ(m_folder.Names().size(), names);
  }
}

}  // namespace
