// The calling thread's record, and the host's routines in it. What it uses is exported, so
// that the filter's tests can build it in as well.
#include "API/Filters/Ica/Common/Thread.h"

#include "Host/Kernel/IoExchange.h"

FilterThreadState* ThreadState() {
  void* record =
      K_MyGetThreadData(&g_kzicaTls, kzicaAllocateThreadData, kzicaFreeThreadData, g_kzicaMutex);
  return record != nullptr ? static_cast<FilterThreadState*>(record) : &g_kzicaThreadData;
}

void BindRead(FilterThreadState* state) {
  state->passed = {};
  state->pfnRead = nullptr;
  GetIoUserData({.read = &state->pReadUserData});
  ExchangeIo({.read = &state->pfnRead});
}

void BindReadWrite(FilterThreadState* state) {
  state->passed = {};
  state->pfnRead = nullptr;
  state->pfnWrite = nullptr;
  GetIoUserData({.read = &state->pReadUserData, .write = &state->pWriteUserData});
  ExchangeIo({.read = &state->pfnRead, .write = &state->pfnWrite});
}

bool ReadBound(const FilterThreadState* state, tagHANDLE* handle, void* pBuffer, unsigned nCount) {
  return state->pfnRead(handle, static_cast<unsigned char*>(pBuffer), nCount,
                        state->pReadUserData) == static_cast<int>(nCount);
}

bool WriteBound(const FilterThreadState* state, tagHANDLE* handle, const void* pBuffer,
                unsigned nCount) {
  auto* bytes = static_cast<unsigned char*>(const_cast<void*>(pBuffer));
  return state->pfnWrite(handle, bytes, nCount, state->pWriteUserData) == static_cast<int>(nCount);
}

InstalledReadRoutine::InstalledReadRoutine(FilterThreadState* state, K_ReadRoutine pfnFilter)
    : m_state(state) {
  state->pfnRead = pfnFilter;
  GetIoUserData({.read = &state->pReadUserData});
  ExchangeIo({.read = &state->pfnRead, .readData = state->pReadUserData});
}

void InstalledReadRoutine::Restore() {
  if (!m_installed) return;
  m_installed = false;
  // The record keeps the host's routine: what is exchanged is a copy.
  K_ReadRoutine routine = m_state->pfnRead;
  ExchangeIo({.read = &routine, .readData = m_state->pReadUserData});
}

InstalledWriteRoutine::InstalledWriteRoutine(FilterThreadState* state, K_WriteRoutine pfnFilter)
    : m_state(state) {
  state->pfnWrite = pfnFilter;
  ExchangeIo({.write = &state->pfnWrite});
}

InstalledWriteRoutine::~InstalledWriteRoutine() {
  K_WriteRoutine routine = m_state->pfnWrite;
  void* current = nullptr;
  GetIoUserData({.write = &current});
  if (current != nullptr) m_state->pWriteUserData = current;
  // The routine came without user data: a host that took that literally gets its
  // own back with its routine.
  ExchangeIo({.write = &routine, .writeData = m_state->pWriteUserData});
}
