// Files that are replaced completely or not at all.
#pragma once

#include <sys/stat.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"

namespace kz {

class FileBatch;
struct PendingFile;

// A temporary file beside the target that takes its place when it is complete. The
// target may be a symbolic link: the file that it leads to is replaced. Owner, mode,
// access control list and user attributes of an existing file are kept; until it is
// complete only its owner may open the new one.
//
// The target is locked from Open on (see DocumentLock), and replaced only if it is
// still what it was when it was locked; where there was no file, only if there is
// still none.
class K_EXPORT AtomicFile {
 public:
  AtomicFile();
  // Removes the temporary file unless it was committed.
  ~AtomicFile();
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;

  // Makes an empty temporary file for the target. With a batch, which must outlive the
  // file, it is put into place together with others. -14 when that can't be, when
  // another keeps the target locked, or when the target exists and isn't a regular
  // file that the caller may write.
  Outcome Open(const std::string& target, FileBatch* batch = nullptr);
  // Says that the new file is made from this version of the target: no other is
  // replaced.
  void MadeFrom(const struct stat& version);
  // A name of the temporary file, for whoever writes it by name. It may be cut to
  // zero, but not removed.
  const std::string& Path() const;
  // Descriptor of the temporary file, open for reading and writing.
  int Descriptor() const;
  // Stores the file on the disk and puts it in the target's place; or leaves that to
  // the batch. -5 when that fails; the target is then what it was. Warns of what can't
  // be kept of an old file's rights: the new one is less open then, never more.
  Outcome Commit();
  // Removes the temporary file; the target stays what it was.
  void Discard();

 private:
  std::unique_ptr<PendingFile> m_file;
  FileBatch* m_batch = nullptr;
};

// Complete files that are put into place together, so that the disk is waited for
// once and not for each. A file counts as written only after Finish.
class K_EXPORT FileBatch {
 public:
  // `failed` is told of each file that can't be put into place.
  using Failed = std::function<void(const std::string& target, const Outcome& outcome)>;
  // At `most` files (0: as many as the process may well keep open) it doesn't wait for more.
  explicit FileBatch(Failed failed, size_t most = 0);
  // Removes the files that aren't in place.
  ~FileBatch();
  FileBatch(const FileBatch&) = delete;
  FileBatch& operator=(const FileBatch&) = delete;

  // Puts all files that were committed into place. Also happens whenever many have
  // gathered.
  void Finish();
  // Takes over the files of another batch, and does nothing with them until Finish.
  void Adopt(FileBatch& other);
  // How many files wait for their places.
  size_t Size() const { return m_files.size(); }
  // How many files a process may well have waiting, in all its batches.
  static size_t Most();

 private:
  friend class AtomicFile;
  void Add(std::unique_ptr<PendingFile> file);
  // Makes room for a file at the path, which may be the target of one in the batch.
  void Expect(const std::string& path);

  Failed m_failed;
  size_t m_most;  // files that may gather
  std::vector<std::unique_ptr<PendingFile>> m_files;
};

// Appends the whole file of one descriptor to another, which may be a pipe.
// Returns -7 or -5 when that fails.
K_EXPORT Outcome CopyDescriptor(int from, int to);

}  // namespace kz
