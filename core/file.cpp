// Files with the platform's sharing, held and delete-on-close semantics, on open, pread,
// pwrite, ftruncate, flock, renameat2 and unlink.
#include "core/file.h"

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>
#include <string>

#include "core/path.h"

struct KorinFile {
  int fd = -1;  // -1 once the exit-time close has closed it; the owner still frees it
  std::string path;
  bool deleteOnClose = false;
  pid_t opener = 0;  // a forked child inherits the handle but never closes it at exit
};

namespace {

thread_local uint32_t tLastError = kErrorSuccess;

void SetLastError(uint32_t error) {
  tLastError = error;
}

uint32_t MapErrno(int error) {
  switch (error) {
    case 0:
      return kErrorSuccess;
    case EACCES:
    case EPERM:
    case EISDIR:
    case EROFS:
    case ETXTBSY:
      return kErrorAccessDenied;
    case ENOENT:
      return kErrorFileNotFound;
    case ENOTDIR:
    case ELOOP:
      return kErrorPathNotFound;
    case EEXIST:
    case ENOTEMPTY:
      return kErrorAlreadyExists;
    case EWOULDBLOCK:
      return kErrorSharingViolation;
    case EBADF:
      return kErrorInvalidHandle;
    case EINVAL:
      return kErrorInvalidParameter;
    case ENAMETOOLONG:
      return kErrorFilenameTooLong;
    case ENOSPC:
    case EDQUOT:
      return kErrorDiskFull;
    default:
      return kErrorGenFailure;
  }
}

void SetErrno(int error) {
  SetLastError(MapErrno(error));
}

// A missing file is "file not found" when its directory exists, else "path not found".
uint32_t MissingError(const char* path) {
  char dir[Korin::kMaxDir];
  Korin::SplitPath(path, nullptr, dir, nullptr, nullptr);
  struct stat st;
  if (dir[0] == '\0' || (stat(dir, &st) == 0 && S_ISDIR(st.st_mode))) return kErrorFileNotFound;
  return kErrorPathNotFound;
}

// The reason a call on path failed with errno, telling a missing file from a missing
// directory.
void SetPathError(const char* path) {
  SetLastError(errno == ENOENT ? MissingError(path) : MapErrno(errno));
}

// Null and over-long paths are refused before any system call.
bool CheckPath(const char* path) {
  if (!path) {
    SetLastError(kErrorInvalidParameter);
    return false;
  }
  if (strlen(path) >= Korin::kMaxPath) {
    SetLastError(kErrorFilenameTooLong);
    return false;
  }
  return true;
}

// The open delete-on-close handles, closed at normal process exit.
struct Registry {
  std::mutex mutex;
  std::set<KorinFile*> files;
};

Registry& TheRegistry() {
  // Never destroyed: the exit handler may run after static destructors have begun.
  static Registry* registry = new Registry;
  return *registry;
}

bool CloseFile(KorinFile* f);
bool WriteAllAt(int fd, uint64_t offset, const void* buffer, uint32_t size, uint32_t* done);

// Closes the files but leaves the handles to their owners: a static object may still hold
// one and close it later, when a freed handle or a reused descriptor would do harm.
void CloseAtExit() {
  Registry& registry = TheRegistry();
  std::set<KorinFile*> mine;
  {
    std::lock_guard<std::mutex> lock(registry.mutex);
    for (KorinFile* f : registry.files) {
      if (f->opener == getpid()) mine.insert(f);
    }
  }
  for (KorinFile* f : mine)
    CloseFile(f);
}

void Register(KorinFile* f) {
  static std::once_flag once;
  std::call_once(once, [] {
    atexit(CloseAtExit);
    // A child forked while another thread held the registry would find it locked forever
    // in its exit handler; the fork waits for the registry to be free instead.
    pthread_atfork([] { TheRegistry().mutex.lock(); }, [] { TheRegistry().mutex.unlock(); },
                   [] { TheRegistry().mutex.unlock(); });
  });
  Registry& registry = TheRegistry();
  std::lock_guard<std::mutex> lock(registry.mutex);
  registry.files.insert(f);
}

void Unregister(KorinFile* f) {
  Registry& registry = TheRegistry();
  std::lock_guard<std::mutex> lock(registry.mutex);
  registry.files.erase(f);
}

// Takes the writer's exclusive lock. The held test of another process takes a shared lock
// for an instant; such a lock must not turn into a sharing violation, so while only shared
// locks stand in the way the attempt is repeated for a little while.
bool LockExclusive(int fd) {
  for (int attempt = 0; attempt < 50; ++attempt) {
    if (flock(fd, LOCK_EX | LOCK_NB) == 0) return true;
    if (errno != EWOULDBLOCK) return false;
    if (flock(fd, LOCK_SH | LOCK_NB) != 0) {
      errno = EWOULDBLOCK;
      return false;
    }
    flock(fd, LOCK_UN);
    Korin_Sleep(1);
  }
  errno = EWOULDBLOCK;
  return false;
}

// The only files the library opens: regular, and owned by the caller's effective user.
bool IsOwnRegularFile(const struct stat& st) {
  return S_ISREG(st.st_mode) && st.st_uid == geteuid();
}

int RenameNoReplace(const char* from, const char* to) {
#if defined(SYS_renameat2)
  long r = syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 1L /* RENAME_NOREPLACE */);
  if (r == 0 || (errno != ENOSYS && errno != EINVAL)) return static_cast<int>(r);
#endif
  // File systems without the flag: link refuses an existing target just the same.
  if (link(from, to) != 0) return -1;
  if (unlink(from) != 0) {
    int error = errno;
    unlink(to);
    errno = error;
    return -1;
  }
  return 0;
}

}  // namespace

KorinHandle Korin_CreateFile(const char* path, uint32_t desiredAccess, uint32_t shareMode,
                             void* security, uint32_t creationDisposition,
                             uint32_t flagsAndAttributes, KorinHandle templateFile) {
  (void)security;
  (void)templateFile;
  if (!CheckPath(path)) return KorinInvalidHandle();
  const bool read = (desiredAccess & kGenericRead) != 0;
  const bool write = (desiredAccess & kGenericWrite) != 0;
  int flags = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK |
              (read && write ? O_RDWR : (write ? O_WRONLY : O_RDONLY));
  bool create = false;
  bool exclusive = false;
  bool truncate = false;
  switch (creationDisposition) {
    case kCreateNew:
      create = exclusive = true;
      break;
    case kCreateAlways:
      create = truncate = true;
      break;
    case kOpenExisting:
      break;
    case kOpenAlways:
      create = true;
      break;
    case kTruncateExisting:
      truncate = true;
      break;
    default:
      SetLastError(kErrorInvalidParameter);
      return KorinInvalidHandle();
  }

  // Whether the file existed decides the "already exists" report of the creating
  // dispositions, so creation is tried exclusively first.
  int fd = -1;
  bool existed = false;
  for (int attempt = 0; attempt < 8 && fd < 0; ++attempt) {
    if (create) {
      fd = open(path, flags | O_CREAT | O_EXCL, 0600);
      if (fd >= 0 || errno != EEXIST || exclusive) break;
    }
    fd = open(path, flags);
    if (fd >= 0) existed = true;
    if (fd >= 0 || errno != ENOENT || !create) break;
    // Removed between the two opens: try to create it again.
  }
  if (fd < 0) {
    const int error = errno;
    SetLastError(error == ENOENT   ? MissingError(path)
                 : error == EEXIST ? kErrorFileExists
                                   : MapErrno(error));
    return KorinInvalidHandle();
  }
  struct stat st;
  if (fstat(fd, &st) != 0 || !IsOwnRegularFile(st)) {
    close(fd);
    SetLastError(kErrorAccessDenied);
    return KorinInvalidHandle();
  }
  if (write && !(shareMode & kFileShareWrite) && !LockExclusive(fd)) {
    int error = errno;
    close(fd);
    SetErrno(error);
    return KorinInvalidHandle();
  }
  // An empty file needs no cut, so a reading handle may still "always create" one.
  if (truncate && st.st_size != 0 && ftruncate(fd, 0) != 0) {
    int error = errno;
    close(fd);
    SetLastError(error == EBADF || error == EINVAL ? kErrorAccessDenied : MapErrno(error));
    return KorinInvalidHandle();
  }

  KorinFile* f = new KorinFile;
  f->fd = fd;
  f->path = path;
  f->deleteOnClose = (flagsAndAttributes & kFileFlagDeleteOnClose) != 0;
  f->opener = getpid();
  if (f->deleteOnClose) Register(f);
  SetLastError(existed &&
                       (creationDisposition == kCreateAlways || creationDisposition == kOpenAlways)
                   ? kErrorAlreadyExists
                   : kErrorSuccess);
  return f;
}

namespace {

// Unlinks a delete-on-close file and closes the descriptor; the handle stays allocated
// (and registered) with fd -1, on which every later operation fails.
bool CloseFile(KorinFile* handle) {
  if (handle->fd < 0) return true;
  if (handle->deleteOnClose) {
    // The file goes under the name it has now: another process may have renamed it. The
    // name is only trusted while it still leads to this very inode.
    struct stat mine;
    if (fstat(handle->fd, &mine) == 0 && mine.st_nlink > 0) {
      std::string current = handle->path;
      char link[64];
      snprintf(link, sizeof link, "/proc/self/fd/%d", handle->fd);
      char target[4096];
      ssize_t n = readlink(link, target, sizeof target - 1);
      if (n > 0) current.assign(target, static_cast<size_t>(n));
      struct stat now;
      if (lstat(current.c_str(), &now) == 0 && now.st_dev == mine.st_dev &&
          now.st_ino == mine.st_ino) {
        unlink(current.c_str());
      }
    }
  }
  const int r = close(handle->fd);
  handle->fd = -1;
  if (r != 0) {
    SetErrno(errno);
    return false;
  }
  return true;
}

// A read or write needs an open handle and, unless it moves nothing, a buffer.
bool CheckTransfer(KorinHandle handle, const void* buffer, uint32_t size) {
  if (!KorinIsOpen(handle)) {
    SetLastError(kErrorInvalidHandle);
    return false;
  }
  if (!buffer && size != 0) {
    SetLastError(kErrorInvalidParameter);
    return false;
  }
  return true;
}

}  // namespace

bool Korin_CloseHandle(KorinHandle handle) {
  if (!KorinIsOpen(handle)) {
    SetLastError(kErrorInvalidHandle);
    return false;
  }
  if (handle->deleteOnClose) Unregister(handle);
  const bool closed = CloseFile(handle);
  delete handle;
  return closed;
}

bool Korin_ReadFileAt(KorinHandle handle, uint64_t offset, void* buffer, uint32_t size,
                      uint32_t* done) {
  if (done) *done = 0;
  if (!CheckTransfer(handle, buffer, size)) return false;
  uint32_t total = 0;
  while (total < size) {
    ssize_t n = pread(handle->fd, static_cast<char*>(buffer) + total, size - total,
                      static_cast<off_t>(offset + total));
    if (n < 0) {
      if (errno == EINTR) continue;
      SetErrno(errno);
      if (done) *done = total;
      return false;
    }
    if (n == 0) break;  // end of file: a short read is a success
    total += static_cast<uint32_t>(n);
  }
  if (done) *done = total;
  return true;
}

bool Korin_WriteFileAt(KorinHandle handle, uint64_t offset, const void* buffer, uint32_t size,
                       uint32_t* done) {
  if (done) *done = 0;
  if (!CheckTransfer(handle, buffer, size)) return false;
  return WriteAllAt(handle->fd, offset, buffer, size, done);
}

namespace {

// Writes all size bytes at offset; *done (may be null) receives the count.
bool WriteAllAt(int fd, uint64_t offset, const void* buffer, uint32_t size, uint32_t* done) {
  uint32_t total = 0;
  while (total < size) {
    ssize_t n = pwrite(fd, static_cast<const char*>(buffer) + total, size - total,
                       static_cast<off_t>(offset + total));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      // A write that moves nothing would otherwise be retried for ever.
      SetErrno(n < 0 ? errno : ENOSPC);
      if (done) *done = total;
      return false;
    }
    total += static_cast<uint32_t>(n);
  }
  if (done) *done = total;
  return true;
}

}  // namespace

bool Korin_SetEndOfFileAt(KorinHandle handle, uint64_t length) {
  if (!KorinIsOpen(handle)) {
    SetLastError(kErrorInvalidHandle);
    return false;
  }
  if (ftruncate(handle->fd, static_cast<off_t>(length)) != 0) {
    SetLastError(errno == EBADF ? kErrorAccessDenied : MapErrno(errno));
    return false;
  }
  return true;
}

const char* Korin_GetHandlePath(KorinHandle handle) {
  return KorinIsOpen(handle) ? handle->path.c_str() : "";
}

int Korin_DeleteFile(const char* path) {
  if (!CheckPath(path)) return 0;
  if (unlink(path) != 0) {
    SetPathError(path);
    return 0;
  }
  return 1;
}

bool Korin_MoveFile(const char* from, const char* to) {
  if (!CheckPath(from) || !CheckPath(to)) return false;
  if (RenameNoReplace(from, to) != 0) {
    SetPathError(from);
    return false;
  }
  return true;
}

bool Korin_CreateFileWithContent(const char* path, const void* data, uint32_t size) {
  if (!CheckPath(path) || (data == nullptr && size != 0)) return false;
  char dir[Korin::kMaxDir];
  Korin::SplitPath(path, nullptr, dir, nullptr, nullptr);
  // An unnamed file in the directory, written whole, then given its name: nobody ever sees
  // it part-written.
  int fd = open(dir[0] != '\0' ? dir : ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
  const bool unnamed = fd >= 0;
  if (!unnamed && (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL)) {
    // A file system without unnamed files: made under its name, then written.
    fd = open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  }
  if (fd < 0) {
    SetPathError(path);
    return false;
  }
  bool made = WriteAllAt(fd, 0, data, size, nullptr);
  if (made && unnamed) {
    char self[64];
    snprintf(self, sizeof self, "/proc/self/fd/%d", fd);
    made = linkat(AT_FDCWD, self, AT_FDCWD, path, AT_SYMLINK_FOLLOW) == 0;
    if (!made) SetPathError(path);
  } else if (!made && !unnamed) {
    unlink(path);
  }
  close(fd);
  return made;
}

bool Korin_CreateDirectory(const char* path) {
  if (!CheckPath(path)) return false;
  if (mkdir(path, 0700) != 0) {
    SetLastError(errno == ENOENT ? kErrorPathNotFound : MapErrno(errno));
    return false;
  }
  return true;
}

uint32_t Korin_GetLastError() {
  return tLastError;
}

bool Korin_GetFileAttributesEx(const char* path, KorinFileAttributes* out) {
  if (!CheckPath(path)) return false;
  if (!out) {
    SetLastError(kErrorInvalidParameter);
    return false;
  }
  struct stat st;
  if (lstat(path, &st) != 0) {
    SetPathError(path);
    return false;
  }
  out->size = static_cast<uint64_t>(st.st_size);
  out->owned = st.st_uid == geteuid();
  if (S_ISDIR(st.st_mode)) {
    out->attributes = kFileAttributeDirectory;
  } else if (S_ISLNK(st.st_mode)) {
    out->attributes = kFileAttributeReparsePoint;
  } else if (!S_ISREG(st.st_mode)) {
    out->attributes = kFileAttributeDevice;
  } else if (Korin_IsHeld(path)) {
    // Held files stand where the platform's temporary attribute stood: the session
    // clean-up keeps them.
    out->attributes = kFileAttributeTemporary;
  } else {
    out->attributes = kFileAttributeNormal;
  }
  return true;
}

bool Korin_FileExists(const char* path) {
  if (!CheckPath(path)) return false;
  struct stat st;
  if (lstat(path, &st) != 0) {
    SetPathError(path);
    return false;
  }
  return true;
}

bool Korin_IsHeld(const char* path) {
  if (!CheckPath(path)) return false;
  int fd = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW);
  if (fd < 0) {
    const int error = errno;
    SetErrno(error);
    return error == EACCES || error == EPERM;
  }
  struct stat st;
  if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    close(fd);
    SetLastError(kErrorAccessDenied);
    return false;
  }
  // flock locks belong to the open file description, so this also sees a lock that a
  // handle of this very process holds.
  bool held = false;
  if (flock(fd, LOCK_SH | LOCK_NB) != 0) {
    held = errno == EWOULDBLOCK;
  } else {
    flock(fd, LOCK_UN);
  }
  close(fd);
  return held;
}

void Korin_Sleep(uint32_t ms) {
  timespec t{static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1000000L};
  while (nanosleep(&t, &t) != 0 && errno == EINTR) {
  }
}

uint32_t Korin_GetCurrentProcessId() {
  return static_cast<uint32_t>(getpid());
}
