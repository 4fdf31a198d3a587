// Exchanging the calling thread's I/O routines by name: what is left out stays alone.
#pragma once

#include "Host/Kernel/Kernel.h"

// Slots of routines, and user data, as K_FilterIO takes them.
struct IoExchange {
  K_OpenRoutine* open = nullptr;
  K_ReadRoutine* read = nullptr;
  K_WriteRoutine* write = nullptr;
  K_SeekRoutine* seek = nullptr;
  K_CloseRoutine* close = nullptr;
  void* openData = nullptr;
  void* readData = nullptr;
  void* writeData = nullptr;
  void* seekData = nullptr;
  void* closeData = nullptr;
};

inline void ExchangeIo(const IoExchange& io) {
  K_FilterIO(io.open, io.read, io.write, io.seek, io.close, io.openData, io.readData, io.writeData,
             io.seekData, io.closeData);
}

// Where the user data of directions go.
struct IoUserData {
  void** open = nullptr;
  void** read = nullptr;
  void** write = nullptr;
  void** seek = nullptr;
  void** close = nullptr;
};

inline void GetIoUserData(const IoUserData& data) {
  K_GetFilterIOData(data.open, data.read, data.write, data.seek, data.close);
}
