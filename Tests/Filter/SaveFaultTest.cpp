// Saving and deleting while one operation fails, each in turn: the status names
// it, nothing stays allocated, open or installed, and a success is one.
#include <gmock/gmock.h>

#include <functional>

#include "API/Filters/Ica/Common/Ioca/CodecLoader.h"
#include "Host/Kernel/KernelTesting.h"
#include "Tests/Filter/FailingFiles.h"
#include "Tests/Filter/SaveRequest.h"

namespace {

Bytes Page(unsigned char content) {
  const Bytes name(8, 0xC1);
  return Field(0xA8AF, name) + Field(0xEE9B, Bytes(size_t{content} * 100, content)) +
         Field(0xA9AF, name);
}
const Bytes kDocument = Field(0xA8A8) + Page(1) + Page(250) + Page(3) + Field(0xA9A8, Bytes(8));

struct Action {
  const char* what;
  Bytes before;  // the file's content
  int format;    // 0: delete a page
  int page;
  uint32_t flags;
  int depth = 1;
  bool fax = false;
};

const Action kActions[] = {
    {"new document", {}, 312, 1, 0},
    {"new document over another", kDocument, 253, 1, 0},
    {"new bare image", kDocument, 254, 1, 0},
    {"new JPEG page", {}, 379, 1, 0, 8},
    {"new ABIC page", {}, 191, 1, 0, 4},
    {"append", kDocument, 253, 2, 0},
    {"append to nothing", {}, 312, 2, 0},
    {"insert", kDocument, 253, 1, K_SAVE_INSERT_PAGE},
    {"replace by a longer page", Field(0xA8A8) + Page(1) + Page(1) + Field(0xA9A8), 312, 1,
     K_SAVE_REPLACE_PAGE},
    {"replace by a shorter page", kDocument, 253, 1, K_SAVE_REPLACE_PAGE},
    {"delete", kDocument, 0, 0, 0},
    {"new Group 4 page", {}, 311, 1, 0, 1, true},
    {"new bare MR image", {}, 78, 1, 0, 1, true},
};

struct Outcome {
  int status;
  Bytes file;
  int count[FailingFiles::kOperations];
};

// Does it after `arrange` had a say in what will fail.
Outcome Perform(const Action& action,
                const std::function<void(FailingFiles&, SaveRequest&)>& arrange = {}) {
  const TemporaryFolder folder;
  const std::string path = folder.File("f", action.before);
  const size_t blocks = K_LiveBlocks();
  const size_t open = K_OpenFiles();
  Outcome outcome = {};
  {
    FailingFiles files;
    SaveRequest request(200, 400, action.depth);
    if (arrange) arrange(files, request);
    _DELETEDISPATCH deletion = {path.c_str()};
    outcome.status = action.format == 0 ? fltDeletePage(&deletion)
                                        : request(path, action.format, action.page, action.flags);
    K_FailAllocation(0);
    EXPECT_EQ(request.begun, request.ended);
    EXPECT_TRUE(files.WriteInForce());
    for (int i = 0; i < FailingFiles::kOperations; ++i) {
      outcome.count[i] = files.Count(static_cast<FailingFiles::Operation>(i));
    }
  }
  EXPECT_EQ(K_LiveBlocks(), blocks);
  EXPECT_EQ(K_OpenFiles(), open);
  EXPECT_EQ(EmbeddedLoaders::g_aLoaders.IsLoaded(), 0);
  outcome.file = FileBytes(path);
  return outcome;
}

TEST(SaveFault, EveryFailingFileOperationIsReported) {
  using Statuses = std::vector<int>;
  const struct {
    const char* what;
    FailingFiles::Operation operation;
    Statuses statuses;
  } faults[] = {
      {"open", FailingFiles::kOpen, {K_ERROR_OPEN_WRITE}},
      {"read", FailingFiles::kRead, {K_ERROR_READ}},
      {"write", FailingFiles::kWrite, {K_ERROR_WRITE}},
      // A field is read behind a step back, which counts as reading it.
      {"seek", FailingFiles::kSeek, {K_ERROR_SEEK, K_ERROR_READ}},
      {"close", FailingFiles::kClose, {K_ERROR_WRITE, K_ERROR_OPEN_WRITE}},
  };
  for (const Action& action : kActions) {
    const Outcome good = Perform(action);
    ASSERT_EQ(good.status, 1) << action.what;
    for (const auto& fault : faults) {
      for (int n = 1; n <= good.count[fault.operation]; ++n) {
        SCOPED_TRACE(testing::Message() << action.what << ", " << fault.what << " " << n);
        const Outcome outcome = Perform(
            action, [&](FailingFiles& files, SaveRequest&) { files.Fail(fault.operation, n); });
        if (outcome.status == 1) {
          // It was tried again, or not needed.
          EXPECT_TRUE(fault.operation == FailingFiles::kOpen ||
                      fault.operation == FailingFiles::kSeek);
          EXPECT_EQ(outcome.file, good.file);
          continue;
        }
        Statuses statuses = fault.statuses;
        // To the fax library all that its write comes to is a failed write.
        if (action.fax) statuses.push_back(K_ERROR_WRITE);
        EXPECT_THAT(statuses, testing::Contains(outcome.status));
        // Before the first byte is written nothing has happened to the file.
        const bool cut = outcome.count[FailingFiles::kOpen] > 1;
        if (outcome.count[FailingFiles::kWrite] == 0 && !cut) {
          EXPECT_EQ(outcome.file, action.before);
        }
        // All that an insertion reads it has read by then.
        if (fault.operation == FailingFiles::kRead && action.flags == K_SAVE_INSERT_PAGE) {
          EXPECT_EQ(outcome.file, action.before);
        }
      }
    }
  }
}

TEST(SaveFault, EveryFailingAllocationIsNoMemory) {
  for (const Action& action : kActions) {
    const Outcome good = Perform(action);
    int n = 0;
    Outcome outcome;
    do {
      SCOPED_TRACE(testing::Message() << action.what << ", allocation " << ++n);
      outcome = Perform(action, [&](FailingFiles&, SaveRequest&) { K_FailAllocation(n); });
      EXPECT_TRUE(outcome.status == 1 || outcome.status == K_ERROR_NO_MEMORY) << outcome.status;
    } while (outcome.status != 1 && n < 100);
    EXPECT_EQ(outcome.file, good.file) << action.what;
    // A splice takes memory for what follows the page and for the image.
    EXPECT_GT(n, action.format == 253 && action.flags != 0 ? 2 : 1) << action.what;
  }
}

TEST(SaveFault, TheHostsRoutinesEndASaveWithTheirOwnStatus) {
  for (const Action& action : kActions) {
    if (action.format == 0) continue;
    SCOPED_TRACE(action.what);
    if (action.format == 379) {
      const auto fails = [](FailingFiles&, SaveRequest& request) { request.jpegStatus = -33; };
      EXPECT_EQ(Perform(action, fails).status, -33);
      continue;
    }
    for (const int status : {0, -32}) {
      const auto begin = [&](FailingFiles&, SaveRequest& r) { r.beginStatus = status; };
      EXPECT_EQ(Perform(action, begin).status, status);
      for (const int row : {0, 1, 399}) {
        const auto get = [&](FailingFiles&, SaveRequest& r) {
          r.failingRow = row;
          r.rowStatus = status;
        };
        EXPECT_EQ(Perform(action, get).status, status) << "row " << row;
      }
    }
  }
}

}  // namespace
