#include <dlfcn.h>
#include <fcntl.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <set>
#include <utility>

#include "Host/Kernel/DllLoader.h"
#include "Host/Kernel/KernelTesting.h"
#include "Tests/StrictHost/StrictHost.h"

struct tagHANDLE {
  int descriptor;
};

struct KvGlobalBlock {
  unsigned char* bytes;
  bool recorded;
  int locks;
};

namespace {

// Guards all of these.
std::recursive_mutex g_lock;
std::string g_complaints;
std::map<void*, size_t> g_local;
std::set<HGLOBAL> g_global;
std::set<tagHANDLE*> g_files;
int g_libraries = 0;

// Whether all is well; complains when it isn't.
bool Expect(bool well, const char* what) {
  const std::lock_guard lock(g_lock);
  if (!well) g_complaints.append(what).append("\n");
  return well;
}

// What the host's own routines are to be called with.
int g_userData = 0;

bool MayUse(tagHANDLE* file, const void* userData) {
  const std::lock_guard lock(g_lock);
  return Expect(g_files.contains(file), "no open file") &&
         Expect(userData == &g_userData, "foreign user data");
}
tagHANDLE* Open(const char* name, int flags, int, void*) {
  const int descriptor = ::open(name, flags, 0666);
  if (descriptor < 0) return K_InvalidHandle();
  const std::lock_guard lock(g_lock);
  return *g_files.insert(new tagHANDLE{descriptor}).first;
}
int Read(tagHANDLE* file, unsigned char* to, unsigned count, void* userData) {
  return MayUse(file, userData) ? static_cast<int>(::read(file->descriptor, to, count)) : -1;
}
int Write(tagHANDLE* file, unsigned char* from, unsigned count, void* userData) {
  return MayUse(file, userData) ? static_cast<int>(::write(file->descriptor, from, count)) : -1;
}
int Seek(tagHANDLE* file, int offset, int origin, void* userData) {
  return MayUse(file, userData) ? static_cast<int>(::lseek(file->descriptor, offset, origin)) : -1;
}
int Close(tagHANDLE* file, void* userData) {
  if (!MayUse(file, userData)) return -1;
  const std::lock_guard lock(g_lock);
  ::close(file->descriptor);
  g_files.erase(file);
  delete file;
  return 0;
}

template <typename Routine>
struct Direction {
  Routine routine;
  void* userData = &g_userData;

  // A routine comes with its user data, be they null.
  void Exchange(Routine* slot, void* data) {
    if (slot == nullptr) return;
    const Routine former = routine;
    if (*slot != nullptr) *this = {*slot, data};
    *slot = former;
  }
  void Report(void** slot) const {
    if (slot != nullptr) *slot = userData;
  }
  bool IsOwn(Routine own) const { return routine == own && userData == &g_userData; }
};
thread_local Direction<K_OpenRoutine> t_open{Open};
thread_local Direction<K_ReadRoutine> t_read{Read};
thread_local Direction<K_WriteRoutine> t_write{Write};
thread_local Direction<K_SeekRoutine> t_seek{Seek};
thread_local Direction<K_CloseRoutine> t_close{Close};

HGLOBAL FindGlobal(const void* bytes) {
  const std::lock_guard lock(g_lock);
  const auto found = std::find_if(g_global.begin(), g_global.end(),
                                  [&](HGLOBAL block) { return block->bytes == bytes; });
  return Expect(found != g_global.end(), "no global memory") ? *found : nullptr;
}

void GivePalette(_BITMAPHANDLE* bitmap, const unsigned char* entries, int colors) {
  const size_t size = static_cast<size_t>(colors) * 4;
  bitmap->pPalette = WinGlobalAlloc(0, size)->bytes;
  std::memcpy(bitmap->pPalette, entries, size);
  bitmap->nColors = colors;
}

unsigned char* RowOf(const _BITMAPHANDLE* bitmap, int row) {
  return bitmap->pRows + static_cast<ptrdiff_t>(row) * bitmap->nRowBytes;
}

}  // namespace

std::string strict_host::Complaints() {
  const std::lock_guard lock(g_lock);
  Expect(g_files.empty(), "a file was left open");
  Expect(g_libraries == 0, "a library was left loaded");
  Expect(t_read.IsOwn(Read) && t_write.IsOwn(Write), "the host's routines were not put back");
  return std::exchange(g_complaints, {});
}

_BITMAPHANDLE strict_host::MakeBitmap(int width, int height, int depth, int perspective) {
  _BITMAPHANDLE bitmap = {};
  bitmap.uStructSize = sizeof bitmap;
  bitmap.nWidth = width;
  bitmap.nHeight = height;
  bitmap.nBitsPerPixel = depth;
  bitmap.nBytesPerLine = bitmap.nRowBytes = (width * depth + 31) / 32 * 4;
  bitmap.uFlags = K_BITMAP_ALLOCATED;
  bitmap.nViewPerspective = perspective;
  bitmap.pRows = new unsigned char[static_cast<size_t>(bitmap.nRowBytes * height)]();
  return bitmap;
}

void* K_MyGetThreadData(uint32_t* key, void* (*create)(), void (*destroy)(void*),
                        // NOLINTNEXTLINE(cert-fio38-c): the copy is never locked
                        pthread_mutex_t) {
  const std::lock_guard lock(g_lock);
  while (*key == 0) {
    if (pthread_key_create(key, destroy) != 0) return nullptr;
  }
  void* record = pthread_getspecific(*key);
  if (record == nullptr) pthread_setspecific(*key, record = create());
  return record;
}

tagHANDLE* K_RedirectedOpen(const char* name, int flags, int mode) {
  return t_open.routine(name, flags, mode, t_open.userData);
}
int K_RedirectedRead(tagHANDLE* file, void* to, unsigned count) {
  return t_read.routine(file, static_cast<unsigned char*>(to), count, t_read.userData);
}
int K_RedirectedWrite(tagHANDLE* file, const void* from, unsigned count) {
  auto* bytes = static_cast<unsigned char*>(const_cast<void*>(from));
  return t_write.routine(file, bytes, count, t_write.userData);
}
int K_RedirectedSeek(tagHANDLE* file, int offset, int origin) {
  return t_seek.routine(file, offset, origin, t_seek.userData);
}
int K_RedirectedClose(tagHANDLE* file) { return t_close.routine(file, t_close.userData); }

void K_FilterIO(K_OpenRoutine* open, K_ReadRoutine* read, K_WriteRoutine* write,
                K_SeekRoutine* seek, K_CloseRoutine* close, void* openData, void* readData,
                void* writeData, void* seekData, void* closeData) {
  t_open.Exchange(open, openData);
  t_read.Exchange(read, readData);
  t_write.Exchange(write, writeData);
  t_seek.Exchange(seek, seekData);
  t_close.Exchange(close, closeData);
}
void K_GetFilterIOData(void** open, void** read, void** write, void** seek, void** close) {
  t_open.Report(open);
  t_read.Report(read);
  t_write.Report(write);
  t_seek.Report(seek);
  t_close.Report(close);
}

void* K_LocalAlloc(size_t size, size_t count, int, const char*) {
  if (!Expect(size != 0 && count != 0, "a block of no bytes")) return nullptr;
  void* block = std::memset(::operator new(size* count), 0xA5, size * count);
  const std::lock_guard lock(g_lock);
  g_local[block] = size * count;
  return block;
}
void* K_LocalAllocInit(size_t size, size_t count, int line, const char* source) {
  void* block = K_LocalAlloc(size, count, line, source);
  return block != nullptr ? std::memset(block, 0, size * count) : nullptr;
}
void* K_LocalRealloc(void* block, size_t size, int line, const char* source) {
  const std::lock_guard lock(g_lock);
  const auto found = g_local.find(block);
  if (!Expect(found != g_local.end(), "only a block can grow")) return nullptr;
  void* grown = K_LocalAlloc(size, 1, line, source);
  if (grown == nullptr) return nullptr;
  std::memcpy(grown, block, std::min(found->second, size));
  K_LocalFree(block, line, source);
  return grown;
}
void K_LocalFree(void* block, int, const char*) {
  const std::lock_guard lock(g_lock);
  if (Expect(g_local.erase(block) == 1, "only a block can be freed")) ::operator delete(block);
}
void K_MemorySet(void* to, int value, size_t count) { std::memset(to, value, count); }
void K_MemoryCopy(void* to, const void* from, size_t count) { std::memcpy(to, from, count); }
int _memicmp(const void* left, const void* right, size_t count) {
  return strncasecmp(static_cast<const char*>(left), static_cast<const char*>(right), count);
}
size_t K_LiveBlocks() {
  const std::lock_guard lock(g_lock);
  return g_local.size() + g_global.size();
}

HGLOBAL WinGlobalAlloc(unsigned flags, size_t size) {
  constexpr unsigned zeroFilled = 0x40;
  auto* block = new KvGlobalBlock{new unsigned char[size], false, 0};
  std::memset(block->bytes, (flags & zeroFilled) != 0 ? 0 : 0xA5, size);
  const std::lock_guard lock(g_lock);
  return *g_global.insert(block).first;
}
void* WinGlobalLock(HGLOBAL block) {
  const std::lock_guard lock(g_lock);
  if (!Expect(g_global.contains(block), "no global memory")) return nullptr;
  ++block->locks;
  return block->bytes;
}
int WinGlobalUnlock(HGLOBAL block) {
  const std::lock_guard lock(g_lock);
  return Expect(g_global.contains(block), "no global memory") ? --block->locks : -1;
}
HGLOBAL WinGlobalHandle(const void* bytes) { return FindGlobal(bytes); }
HGLOBAL WinGlobalFree(HGLOBAL block) {
  const std::lock_guard lock(g_lock);
  if (!Expect(g_global.erase(block) == 1, "no global memory")) return block;
  delete[] block->bytes;
  delete block;
  return nullptr;
}
void K_GlobalFree(void* bytes, int, const char*) { WinGlobalFree(FindGlobal(bytes)); }
int K_ResourceAdd(int kind, HGLOBAL block, int, const char*) {
  Expect(kind == 3 && !block->recorded, "only global memory is recorded, and once");
  block->recorded = true;
  return 0;
}
void K_OsFreeHandle(HGLOBAL block, int, const char*) {
  Expect(block->recorded && block->locks == 0, "the block was not recorded, or is locked");
  WinGlobalFree(block);
}

int K_IntAccessBitmap(_BITMAPHANDLE* bitmap, int) { return ++bitmap->nAccess; }
int K_IntReleaseBitmap(_BITMAPHANDLE* bitmap, int, int) { return --bitmap->nAccess; }
int K_GetBitmapRow(_BITMAPHANDLE* bitmap, unsigned char* row, int number, size_t bytes) {
  if (!Expect(bitmap->nAccess == 1, "no access to the bitmap")) return 0;
  std::memcpy(row, RowOf(bitmap, number), bytes);
  return 2;
}
void K_FreeBitmap(_BITMAPHANDLE* bitmap) {
  if (!Expect((bitmap->uFlags & K_BITMAP_ALLOCATED) != 0, "no bitmap to release")) return;
  Expect(bitmap->nAccess == 0, "access to a bitmap was kept");
  if (bitmap->pPalette != nullptr) K_GlobalFree(bitmap->pPalette, 0, nullptr);
  delete[] bitmap->pRows;
  *bitmap = {};
}
int K_SetBitmapNewPalette(_BITMAPHANDLE* bitmap, const unsigned char* entries, int colors) {
  if (bitmap->pPalette != nullptr) K_GlobalFree(bitmap->pPalette, 0, nullptr);
  GivePalette(bitmap, entries, colors);
  return 0;
}
int K_CreateBitmapGrayPalette(_BITMAPHANDLE* bitmap) {
  Expect(bitmap->pPalette == nullptr, "the old palette is the caller's to release");
  const unsigned char entries[4 * 256] = {};
  GivePalette(bitmap, entries, bitmap->nColors);
  return 0;
}
int K_ChangeBitmapViewPerspective(_BITMAPHANDLE* copy, _BITMAPHANDLE* bitmap, uint32_t size,
                                  int perspective) {
  Expect(copy == nullptr && size == sizeof *bitmap, "the bitmap itself is to be changed");
  for (int top = 0, end = bitmap->nHeight - 1; top < end; ++top, --end) {
    std::swap_ranges(RowOf(bitmap, top), RowOf(bitmap, top + 1), RowOf(bitmap, end));
  }
  bitmap->nViewPerspective = perspective;
  return 0;
}

K_DllLoader::K_DllLoader() = default;
K_DllLoader::~K_DllLoader() = default;

int K_DllLoader::LoadLib(KV_LIBID id, int, const void*) {
  const std::lock_guard lock(g_lock);
  if (!Expect(id == KV_LIBID_ABIC && m_pLibrary == nullptr, "a library is loaded already"))
    return 0;
  m_pLibrary = dlopen(KZ_CODEC, RTLD_NOW | RTLD_LOCAL);
  if (m_pLibrary == nullptr) return 0;
  ++g_libraries;
  return 1;
}
int K_DllLoader::AddFunction(const char* name) {
  m_aFunctions.push_back({name, dlsym(m_pLibrary, name)});
  return 0;
}
int K_DllLoader::IsLoaded() const { return m_pLibrary != nullptr ? 2 : 0; }
int K_DllLoader::IsFunctionOk(const char* name) const {
  return GetFunction(name) != nullptr ? 2 : 0;
}
void* K_DllLoader::GetFunction(const char* name) const {
  for (const Function& function : m_aFunctions) {
    if (function.name == name) return function.address;
  }
  return nullptr;
}
void K_DllLoader::Unload() {
  const std::lock_guard lock(g_lock);
  if (!Expect(m_pLibrary != nullptr, "no library to unload")) return;
  --g_libraries;
  m_aFunctions.clear();
  dlclose(m_pLibrary);
  m_pLibrary = nullptr;
}
