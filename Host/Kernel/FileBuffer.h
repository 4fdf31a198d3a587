// A file with one window of buffered bytes, for reading and writing.
//
// Structured fields are read in steps of a byte or a few and mostly skipped, so
// the window must make small reads, small writes and short seeks free, and a
// long skip must not read what it passes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

class FileBuffer {
 public:
  // Reads of this size and above go straight to the caller's memory, and whole
  // blocks of this size go straight from there.
  static constexpr size_t kCapacity = 65536;
  // Positions are what a 32-bit signed integer holds.
  static constexpr int64_t kMaxPosition = INT32_MAX;

  // Takes ownership of the descriptor.
  explicit FileBuffer(int descriptor);
  ~FileBuffer();
  FileBuffer(const FileBuffer&) = delete;
  FileBuffer& operator=(const FileBuffer&) = delete;

  // Bytes read at the position, fewer than count at the end of the file or on
  // failure; -1 when a failure read none.
  int Read(unsigned char* to, unsigned count);
  // Bytes taken at the position; -1 when none could be. Nothing is taken past
  // kMaxPosition.
  int Write(const unsigned char* from, unsigned count);
  // The new position, or -1 when it would be out of range; then nothing moves.
  int Seek(int offset, int origin);
  // Stores what was written. False when that fails; it stays pending then.
  bool Flush();
  // Flushes and gives the descriptor back, the last use of the file. False when
  // anything written could not be stored.
  bool Close();

 private:
  bool Fill();
  // Moves past bytes that were read or written.
  void Advance(int64_t count) { m_lastUse = m_position += count; }
  bool HoldsPosition() const;
  int64_t WindowEnd() const { return m_start + static_cast<int64_t>(m_length); }

  int m_descriptor;
  int64_t m_position = 0;
  int64_t m_lastUse = 0;  // after the last byte that was read or written
  std::unique_ptr<unsigned char[]> m_window;
  int64_t m_start = 0;      // file position of the window's first byte
  size_t m_length = 0;      // bytes of the window that hold file content
  size_t m_dirtyBegin = 0;  // bytes not yet stored: [m_dirtyBegin, m_dirtyEnd)
  size_t m_dirtyEnd = 0;
  size_t m_fill = kCapacity;  // bytes that the next fill asks for
};
