// Every entry point on every path while one operation fails, each in turn: the status
// names it, nothing stays allocated, open or loaded, the host's routines are in force,
// and a success is one. The tests of the command add what becomes of its files.
#include <gmock/gmock.h>

#include <array>
#include <functional>

#include "API/Filters/Ica/Common/Ioca/Coders/CodecLoader.h"
#include "Tests/API/FailingFiles.h"
#include "Tests/API/LoadPaths.h"
#include "Tests/API/LoadRequest.h"
#include "Tests/API/SaveRequest.h"
#include "Toolkit/Imaging/MemorySaver.h"

namespace {

enum Fault { kOpen, kRead, kWrite, kSeek, kClose, kMemory, kShortFile, kFaults };
const char* const kFaultNames[] = {"open", "read", "write", "seek", "close", "memory", "end"};

// The statuses that may come of each fault; a fault without one does no harm.
using Statuses = std::array<std::vector<int>, kFaults>;
const Statuses kInfo = {{{-10}, {-7}, {}, {-4, -7}, {}, {}, {-7}}};
const Statuses kLoad = {{{-10}, {-7, -9}, {}, {-7, -9}, {}, {-1, -14}, {-7, -9}}};
const Statuses kComment = {{{-10}, {-7}, {}, {-7, -9}, {}, {}, {-7}}};
// A field is read after a step back, which counts as reading it.
const Statuses kSave = {{{-14}, {-7}, {-5}, {-4, -7}, {-5, -14}, {-1}, {}}};
// To the fax library all that its write comes to is a failed write.
const Statuses kSaveFax = {{{-14}, {-7}, {-5}, {-4, -5, -7}, {-5, -14}, {-1}, {}}};

// What is done to a file, and by which fault.
struct Attempt {
  std::string file;
  Fault fault = kFaults;
  int nth = 0;
  int status = 0;
  Bytes result;      // of reading: what came out; of writing: the file afterwards
  int appended = 0;  // what a later append comes to
  int counts[kFaults] = {};
  // The call itself, after the preparations whose allocations don't count.
  void Do(const std::function<int()>& call) {
    K_FailAllocation(fault == kMemory ? nth : 0);
    status = call();
    K_FailAllocation(0);
  }
};
struct Entry {
  std::string what;
  Bytes before;
  Statuses statuses;
  std::function<void(Attempt&)> perform;
  bool writes = false;
  uint32_t flags = 0;
};

Bytes OtherPage(unsigned char content) {
  const Bytes name(8, 0xC1);
  return Field(0xA8AF, name) + Field(0xEE9B, Bytes(size_t{content} * 100, content)) +
         Field(0xA9AF, name);
}
const Bytes kDocument =
    Field(0xA8A8) + OtherPage(1) + OtherPage(250) + OtherPage(3) + Field(0xA9A8, Bytes(8));

Attempt Perform(const Entry& entry, Fault fault = kFaults, int nth = 0) {
  const TemporaryFolder folder(TemporaryFolder::InMemory());
  const auto end = static_cast<size_t>(7 * (nth - 1));
  Attempt attempt;
  attempt.fault = fault;
  attempt.nth = nth;
  attempt.file = folder.File("f", fault == kShortFile ? Slice(entry.before, 0, end) : entry.before);
  const size_t blocks = K_LiveBlocks();
  const size_t open = K_OpenFiles();
  {
    FailingFiles files;
    if (fault < kMemory) files.Fail(static_cast<FailingFiles::Operation>(fault), nth);
    entry.perform(attempt);
    EXPECT_TRUE(files.InForce());
    for (int i = 0; i < FailingFiles::kOperations; ++i) {
      attempt.counts[i] = files.Count(static_cast<FailingFiles::Operation>(i));
    }
  }
  EXPECT_EQ(K_LiveBlocks(), blocks);
  EXPECT_EQ(K_OpenFiles(), open);
  EXPECT_EQ(EmbeddedLoaders::g_aLoaders.IsLoaded(), 0);
  if (entry.writes) attempt.result = FileBytes(attempt.file);
  if (entry.before == kDocument) attempt.appended = SaveRequest(9, 2)(attempt.file, 253, 2);
  return attempt;
}

Entry Describing(const std::string& path, const Bytes& file) {
  return {"info of " + path, file, kInfo, [](Attempt& attempt) {
            tagHANDLE* handle = K_RedirectedOpen(attempt.file.c_str(), K_OPEN_READ, 0);
            attempt.status = K_ERROR_OPEN_READ;
            if (handle == K_InvalidHandle()) return;
            _IMAGEFILEINFO info = {};
            _LOADOPTIONS options = {sizeof options, 72, 72, 0, 1};
            _INFODISPATCH dispatch = {handle, &info, nullptr, &options};
            attempt.Do([&] { return fltInfo(&dispatch); });
            K_RedirectedClose(handle);
            const auto* bytes = reinterpret_cast<const unsigned char*>(&info);
            attempt.result.assign(bytes, bytes + sizeof info);
            if (attempt.status != 1) {
              EXPECT_EQ(attempt.result, Bytes(sizeof info)) << "the record stays";
            }
          }};
}

Entry Loading(const Path& path, const std::string& container, const Bytes& file) {
  return {"load of " + container + path.name, file, kLoad, [&path](Attempt& attempt) {
            LoadRequest load(path.width, path.height, path.depth);
            attempt.Do([&] { return load(attempt.file); });
            if (attempt.status == 1) attempt.result = load.Picture(path.bytesPerRow);
          }};
}

Entry Commenting() {
  const auto text = [](const Bytes& bytes) {
    return Field(0xA8AF) + Field(0xEE9B, Bytes{0x2B, 0xD3, 5, 0xDA} + bytes) + Field(0xA9AF);
  };
  return {"comment", Field(0xA8A8) + text({'o', 'n', 'e'}) + text({'t', 'w', 'o'}) + Field(0xA9A8),
          kComment, [](Attempt& attempt) {
            attempt.result.resize(99);
            _LOADOPTIONS options = {sizeof options, 0, 0, 0, 1};
            _IMAGEFILEINFO info = {};
            info.nTotalPages = 2;
            _COMMENTDISPATCH dispatch = {attempt.file.c_str(), attempt.result.data(), 99, &options,
                                         &info};
            attempt.Do([&] { return fltComment(&dispatch); });
            const Bytes all = {'o', 'n', 'e', '\r', '\n', 't', 'w', 'o', '\r', '\n'};
            while (!attempt.result.empty() && attempt.result.back() == 0) attempt.result.pop_back();
            EXPECT_EQ(attempt.result, Slice(all, 0, attempt.result.size())) << "the text so far";
            // Without memory for a text the comment ends before it.
            if (attempt.fault == kMemory) attempt.result = all;
          }};
}

Entry Deleting() {
  return {"delete", kDocument, kSave,
          [](Attempt& attempt) {
            _DELETEDISPATCH deletion = {attempt.file.c_str()};
            attempt.Do([&] { return fltDeletePage(&deletion); });
          },
          true};
}

// What else can end a save: the host's own routines.
struct HostFault {
  int beginStatus = 1, failingRow = -1, rowStatus = 1;
};

Entry Saving(const std::string& what, const Bytes& before, int format, int depth, int page,
             uint32_t flags, const HostFault& host = {}) {
  const bool fax = depth == 1 && (format < 150 || (format > 300 && format != 312));
  return {"save " + std::to_string(format) + ", " + what,
          before,
          fax ? kSaveFax : kSave,
          [=](Attempt& attempt) {
            SaveRequest request(200, 400, depth);
            request.save.pfnSaveToMemory = kz::SaveToMemory;
            request.beginStatus = host.beginStatus;
            request.failingRow = host.failingRow;
            request.rowStatus = host.rowStatus;
            attempt.Do([&] { return request(attempt.file, format, page, flags); });
            EXPECT_EQ(request.begun, request.ended);
          },
          true,
          flags};
}

std::vector<Entry> Readings() {
  std::vector<Entry> all = {Commenting()};
  const Style styles[] = {{}, {true, {}, false}, {false, {1, 2}, true}};
  for (const Path& path : Paths()) {
    all.push_back(Describing(path.name, path.segment));
    all.push_back(Loading(path, "bare ", path.segment));
    for (const Style& style : styles) {
      const std::string name = style.carriageControl ? "0x5A " : "";
      const Bytes file = Document({path.segment}, {40, 0, 7}, style);
      all.push_back(Describing(name + path.name, file));
      all.push_back(Loading(path, name, file));
    }
  }
  return all;
}

struct Coding {
  std::vector<int> bare, documents;  // format codes
  int depth;
};
const Coding kCodings[] = {{{77}, {71, 309}, 1},   {{78}, {72, 310}, 1},   {{79}, {73, 311}, 1},
                           {{118}, {117, 313}, 1}, {{184}, {190, 191}, 1}, {{}, {190, 191}, 4},
                           {{254}, {253, 312}, 1}, {{}, {377}, 8},         {{}, {379}, 24}};

std::vector<Entry> Savings(const HostFault& host = {}) {
  const Bytes shortPages = Field(0xA8A8) + OtherPage(1) + OtherPage(1) + Field(0xA9A8);
  std::vector<Entry> all;
  for (const Coding& coding : kCodings) {
    for (const int format : coding.bare) {
      all.push_back(Saving("new", {}, format, coding.depth, 1, 0, host));
      all.push_back(Saving("over another", kDocument, format, coding.depth, 1, 0, host));
    }
    for (const int format : coding.documents) {
      const auto add = [&](const char* what, const Bytes& before, int page, uint32_t flags) {
        all.push_back(Saving(what, before, format, coding.depth, page, flags, host));
      };
      add("new", {}, 1, 0);
      add("over another", kDocument, 1, 0);
      add("append", kDocument, 2, 0);
      add("append to nothing", {}, 2, 0);
      add("insert", kDocument, 1, K_SAVE_INSERT_PAGE);
      add("replace by a shorter page", kDocument, 1, K_SAVE_REPLACE_PAGE);
      add("replace by a longer page", shortPages, 1, K_SAVE_REPLACE_PAGE);
    }
  }
  return all;
}

// All faults of an entry point; how many there were.
int FailEach(const Entry& entry) {
  const Attempt good = Perform(entry);
  EXPECT_EQ(good.status, 1) << entry.what;
  const bool cuts = entry.before == kDocument && good.result.size() < kDocument.size() &&
                    entry.what.find("over another") == std::string::npos;
  int attempts = 0;
  for (int number = 0; number < kFaults; ++number) {
    const auto fault = static_cast<Fault>(number);
    if (fault == kShortFile && entry.writes) continue;  // a shorter file is another document
    for (int nth = 1;; ++nth, ++attempts) {
      SCOPED_TRACE(testing::Message() << entry.what << ", " << kFaultNames[fault] << " " << nth);
      const bool counted = fault < kMemory;
      if (counted && nth > good.counts[fault]) break;
      if (fault == kShortFile && 7u * static_cast<size_t>(nth) > entry.before.size()) break;
      const Attempt attempt = Perform(entry, fault, nth);
      if (attempt.status == 1) {
        // It was tried again, or not needed.
        EXPECT_EQ(attempt.result, good.result);
        EXPECT_TRUE(fault != kRead && fault != kWrite) << "its result was taken";
        if (!counted) break;
        continue;
      }
      EXPECT_THAT(entry.statuses[fault], testing::Contains(attempt.status));
      if (!entry.writes) continue;
      if (cuts) {
        EXPECT_EQ(attempt.appended, 1) << "End Document ends the file";
      }
      if (entry.what == "delete" && fault != kClose) {
        EXPECT_EQ(attempt.result, entry.before);
      }
      // Before the first byte is written nothing has happened to the file, and all
      // that an insertion reads it has read by then.
      const bool cut = attempt.counts[kOpen] > 1;
      if ((attempt.counts[kWrite] == 0 && !cut) ||
          (fault == kRead && entry.flags == K_SAVE_INSERT_PAGE)) {
        EXPECT_EQ(attempt.result, entry.before);
      }
    }
  }
  return attempts;
}

TEST(Fault, EveryReadingEndsWithItsStatus) {
  int attempts = 0;
  for (const Entry& entry : Readings()) attempts += FailEach(entry);
  RecordProperty("attempts", attempts);
}

TEST(Fault, EveryWritingEndsWithItsStatus) {
  int attempts = FailEach(Deleting());
  for (const Entry& entry : Savings()) attempts += FailEach(entry);
  RecordProperty("attempts", attempts);
}

TEST(Fault, TheHostsRoutinesEndASaveWithTheirOwnStatus) {
  for (const int status : {0, -32}) {
    for (const HostFault& host : {HostFault{status}, HostFault{1, 0, status},
                                  HostFault{1, 1, status}, HostFault{1, 399, status}}) {
      for (const Entry& entry : Savings(host)) {
        if (entry.what.starts_with("save 37")) continue;  // JPEG has no rows
        EXPECT_EQ(Perform(entry).status, status) << entry.what << ", row " << host.failingRow;
      }
    }
  }
  SaveRequest request(20, 4, 8);
  request.jpegStatus = -33;
  const TemporaryFolder folder;
  EXPECT_EQ(request(folder / "f", 379), -33);
}

}  // namespace
