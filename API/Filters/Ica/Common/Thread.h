// The per-thread state record: its globals, its making and freeing, which are
// exported, and the binding of the host's I/O routines, which isn't.
#pragma once

#include "API/Filters/Ica/Common/Ica.h"

// The key under which the host keeps each thread's record; 0 until it makes one.
K_EXPORT extern uint32_t g_kzicaTls;
// Handed to the host with every fetch.
K_EXPORT extern pthread_mutex_t g_kzicaMutex;
// Serves every thread for which the host keeps no record; calls must not overlap
// then.
K_EXPORT extern FilterThreadState g_kzicaThreadData;

// A zero-filled record, or null when out of memory. When the library is unloaded,
// it goes with it.
K_EXPORT void* kzicaAllocateThreadData();
// Null is ignored.
K_EXPORT void kzicaFreeThreadData(void* record);

// The calling thread's record, or the static one where the host gives none.
// Never fails.
FilterThreadState* ThreadState();

// Makes the host's read routine, with its user data, the one of the record, for a
// file of which nothing has been read yet.
void BindRead(FilterThreadState* state);
// The same for the read and the write routine.
void BindReadWrite(FilterThreadState* state);

// Reads through the bound routine. Whether all nCount bytes came.
bool ReadBound(const FilterThreadState* state, tagHANDLE* handle, void* pBuffer, unsigned nCount);
// Writes through the bound routine. Whether all nCount bytes went.
bool WriteBound(const FilterThreadState* state, tagHANDLE* handle, const void* pBuffer,
                unsigned nCount);

// Puts a routine of the filter in force as the host's read routine for its
// lifetime. Meanwhile pfnRead of the record is the host's own routine.
class InstalledReadRoutine {
 public:
  InstalledReadRoutine(FilterThreadState* state, K_ReadRoutine pfnFilter);
  ~InstalledReadRoutine() { Restore(); }
  InstalledReadRoutine(const InstalledReadRoutine&) = delete;
  InstalledReadRoutine& operator=(const InstalledReadRoutine&) = delete;
  // Puts the host's routine back before the end of the lifetime.
  void Restore();

 private:
  FilterThreadState* m_state;
  bool m_installed = true;
};

// The same for the write routine and pfnWrite.
class InstalledWriteRoutine {
 public:
  InstalledWriteRoutine(FilterThreadState* state, K_WriteRoutine pfnFilter);
  ~InstalledWriteRoutine();
  InstalledWriteRoutine(const InstalledWriteRoutine&) = delete;
  InstalledWriteRoutine& operator=(const InstalledWriteRoutine&) = delete;

 private:
  FilterThreadState* m_state;
};
