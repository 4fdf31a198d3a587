#include "API/Filters/Ica/Common/Thread.h"

#include <mutex>
#include <new>

namespace {

constexpr const char* kThreadSource = "API/Filters/Ica/Common/Thread";

// The records that are alive. A list of its own: what a container of the standard
// library leaves out of line would be exported, and as a static object it would be
// destroyed while threads of an ending process come and go.
struct NotedRecord {
  void* record;
  NotedRecord* next;
};
std::mutex g_recordsLock;
NotedRecord* g_records = nullptr;

bool NoteRecord(void* record) {
  const std::lock_guard lock(g_recordsLock);
  auto* noted = new (std::nothrow) NotedRecord{record, g_records};
  if (noted != nullptr) g_records = noted;
  return noted != nullptr;
}

void ForgetRecord(const void* record) {
  const std::lock_guard lock(g_recordsLock);
  NotedRecord** at = &g_records;
  while (*at != nullptr && (*at)->record != record) at = &(*at)->next;
  NotedRecord* const found = *at;
  if (found == nullptr) return;
  *at = found->next;
  delete found;
}

// Static objects are destroyed before the functions below when the process ends,
// and after them when the host unloads the library.
bool g_processEnds = false;
const struct ProcessEnd {
  ~ProcessEnd() { g_processEnds = true; }
} g_processEnd;

// Threads that have called the filter may outlive it: their records go with the
// library, and so does the key, whose destructor would be unmapped code. At the end
// of the process nothing is taken away from threads that still run.
__attribute__((destructor)) void EndThreadData() {
  if (g_processEnds) return;
  if (g_kzicaTls != 0) pthread_key_delete(g_kzicaTls);
  g_kzicaTls = 0;
  while (g_records != nullptr) kzicaFreeThreadData(g_records->record);
}

}  // namespace

uint32_t g_kzicaTls = 0;
pthread_mutex_t g_kzicaMutex = PTHREAD_MUTEX_INITIALIZER;
FilterThreadState g_kzicaThreadData = {};

void* kzicaAllocateThreadData() {
  void* record = K_LocalAllocInit(sizeof(FilterThreadState), 1, __LINE__, kThreadSource);
  if (record == nullptr || NoteRecord(record)) return record;
  K_LocalFree(record, __LINE__, kThreadSource);
  return nullptr;
}

void kzicaFreeThreadData(void* record) {
  if (record == nullptr) return;
  ForgetRecord(record);
  K_LocalFree(record, __LINE__, kThreadSource);
}
