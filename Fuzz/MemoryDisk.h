// One file in memory behind the redirected routines, whatever name is asked for,
// so that a fuzzed call costs no disk. What a call must leave as it found it is
// checked when the disk goes: no open file, no live block, the routines in force.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Host/Kernel/Kernel.h"

class MemoryDisk {
 public:
  // The file's content; a file above maxBytes fails to grow.
  MemoryDisk(const uint8_t* data, size_t size, size_t maxBytes = size_t{64} << 20);
  ~MemoryDisk();
  MemoryDisk(const MemoryDisk&) = delete;
  MemoryDisk& operator=(const MemoryDisk&) = delete;

  const std::vector<uint8_t>& content() const { return m_content; }

 private:
  struct Handle {
    int position;
  };
  void Exchange();
  static MemoryDisk& Self(void* userData) { return *static_cast<MemoryDisk*>(userData); }
  static tagHANDLE* Open(const char* name, int flags, int mode, void* userData);
  static int Read(tagHANDLE* handle, unsigned char* buffer, unsigned int count, void* userData);
  static int Write(tagHANDLE* handle, unsigned char* buffer, unsigned int count, void* userData);
  static int Seek(tagHANDLE* handle, int offset, int origin, void* userData);
  static int Close(tagHANDLE* handle, void* userData);

  std::vector<uint8_t> m_content;
  size_t m_maxBytes;
  size_t m_liveBlocks;
  int m_open = 0;
  K_OpenRoutine m_openRoutine = Open;
  K_ReadRoutine m_readRoutine = Read;
  K_WriteRoutine m_writeRoutine = Write;
  K_SeekRoutine m_seekRoutine = Seek;
  K_CloseRoutine m_closeRoutine = Close;
};

// Ends the run with a report when something that must hold does not.
void Require(bool holds, const char* what);
