// Files with the argument meanings of the platform the library was first written for,
// rebuilt on POSIX: desired access, share mode, creation disposition and flags as numbers.
// Internal to libtalmon. A handle is used by one thread at a time.
//
// Semantics on Linux:
// - Sharing: a handle opened with write access and without kFileShareWrite takes an
//   exclusive flock before anything touches the file (open without O_TRUNC, lock, then
//   truncate when the disposition asks for it). A second such open of the same file, in
//   this or another process, fails as a sharing violation and leaves the file untouched.
//   Readers take no lock.
// - Held files: a file is held while a live process keeps that exclusive lock.
//   Korin_GetFileAttributesEx reports a held file with kFileAttributeTemporary.
// - Delete-on-close: closing the handle unlinks the file under the name it has then (it
//   may have been renamed by another process), provided that name still is the same inode.
//   Handles still open at normal process exit are closed then (only in the process that
//   opened them, never in a forked child).
// - All descriptors are close-on-exec; reads and writes are positioned, nothing buffered.
// - Only regular files of the caller's own (effective) user are opened: every open is made
//   without following a symbolic link and without blocking (a FIFO named like a page must
//   not hang anyone), and a link, FIFO, device, directory or another user's file is refused
//   (kErrorAccessDenied), before it is locked or truncated. The data directory may be shared
//   between users; nothing of one user is ever written, cut or read through another's name.
#pragma once

#include <cstdint>

struct KorinFile;
typedef KorinFile* KorinHandle;

// The value Korin_CreateFile returns on failure (distinct from a null handle).
inline KorinHandle KorinInvalidHandle() {
  return reinterpret_cast<KorinHandle>(-1);
}
// True for a handle that refers to an open file (neither null nor the invalid value).
inline bool KorinIsOpen(KorinHandle h) {
  return h != nullptr && h != KorinInvalidHandle();
}

// Desired access.
constexpr uint32_t kGenericRead = 0x80000000u;
constexpr uint32_t kGenericWrite = 0x40000000u;
// Share mode.
constexpr uint32_t kFileShareRead = 1;
constexpr uint32_t kFileShareWrite = 2;
constexpr uint32_t kFileShareDelete = 4;
// Creation disposition.
constexpr uint32_t kCreateNew = 1;
constexpr uint32_t kCreateAlways = 2;
constexpr uint32_t kOpenExisting = 3;
constexpr uint32_t kOpenAlways = 4;
constexpr uint32_t kTruncateExisting = 5;
// Flags and attributes.
constexpr uint32_t kFileAttributeTemporary = 0x100;
constexpr uint32_t kFileAttributeNormal = 0x80;
constexpr uint32_t kFileAttributeNotContentIndexed = 0x2000;
constexpr uint32_t kFileAttributeDirectory = 0x10;
constexpr uint32_t kFileAttributeDevice = 0x40;         // FIFOs, sockets and devices
constexpr uint32_t kFileAttributeReparsePoint = 0x400;  // symbolic links
constexpr uint32_t kFileFlagDeleteOnClose = 0x04000000u;
constexpr uint32_t kFileFlagRandomAccess = 0x10000000u;
// Errors reported by Korin_GetLastError.
constexpr uint32_t kErrorSuccess = 0;
constexpr uint32_t kErrorFileNotFound = 2;
constexpr uint32_t kErrorPathNotFound = 3;
constexpr uint32_t kErrorAccessDenied = 5;
constexpr uint32_t kErrorInvalidHandle = 6;
constexpr uint32_t kErrorSharingViolation = 32;
constexpr uint32_t kErrorFileExists = 80;
constexpr uint32_t kErrorInvalidParameter = 87;
constexpr uint32_t kErrorFilenameTooLong = 206;  // paths of 260 bytes and more
constexpr uint32_t kErrorAlreadyExists = 183;
constexpr uint32_t kErrorGenFailure = 31;  // any failure without a closer code
constexpr uint32_t kErrorDiskFull = 112;

// Opens or creates path. Returns KorinInvalidHandle() on failure with the reason in
// Korin_GetLastError (EACCES/EPERM => kErrorAccessDenied, lock held => kErrorSharingViolation,
// ENOENT => kErrorFileNotFound or kErrorPathNotFound, EEXIST => kErrorFileExists).
// security and templateFile are accepted for shape and ignored.
KorinHandle Korin_CreateFile(const char* path, uint32_t desiredAccess, uint32_t shareMode,
                             void* security, uint32_t creationDisposition,
                             uint32_t flagsAndAttributes, KorinHandle templateFile);
// Closes an open handle (unlinking a delete-on-close file); null and invalid: false.
bool Korin_CloseHandle(KorinHandle handle);
// Reads up to size bytes at offset; *done receives the count. False on error or bad handle.
bool Korin_ReadFileAt(KorinHandle handle, uint64_t offset, void* buffer, uint32_t size,
                      uint32_t* done);
// Writes size bytes at offset; *done receives the count. False on error or bad handle.
bool Korin_WriteFileAt(KorinHandle handle, uint64_t offset, const void* buffer, uint32_t size,
                       uint32_t* done);
// Cuts or extends the file to length bytes (SetEndOfFile at that position).
bool Korin_SetEndOfFileAt(KorinHandle handle, uint64_t length);
// The path the handle was opened with.
const char* Korin_GetHandlePath(KorinHandle handle);

// Removes path (unlink). Non-zero on success. A file another process holds open is
// removed all the same: whether a file may be removed is the caller's test (held files).
int Korin_DeleteFile(const char* path);
// Renames from to to; fails (false, kErrorAlreadyExists) when to exists. The inode, and
// with it any lock on it, moves with the name.
bool Korin_MoveFile(const char* from, const char* to);
// Creates path (mode 0600) holding exactly size bytes of data, all at once: other processes
// see no file or the whole of it (an unnamed file is written, then linked under path; only
// on a file system without unnamed files is it written under its name). Never replaces
// anything at path: false (kErrorAlreadyExists) when path exists.
bool Korin_CreateFileWithContent(const char* path, const void* data, uint32_t size);
// Creates one directory level with mode 0700; false when it exists or cannot be made.
bool Korin_CreateDirectory(const char* path);
// The reason of the last failure of a Korin_ call on this thread.
uint32_t Korin_GetLastError();

struct KorinFileAttributes {
  // kFileAttributeDirectory, kFileAttributeReparsePoint (a link), kFileAttributeDevice,
  // and for a regular file kFileAttributeTemporary (held) or kFileAttributeNormal.
  uint32_t attributes = 0;
  uint64_t size = 0;
  bool owned = false;  // the caller's effective user owns it
};
// True for the attributes of a regular file (held or not).
inline bool KorinIsRegular(const KorinFileAttributes& a) {
  return (a.attributes & (kFileAttributeNormal | kFileAttributeTemporary)) != 0;
}
// Attributes of path itself (a link is not followed), plus the held test for regular
// files; false when it does not exist or cannot be read.
bool Korin_GetFileAttributesEx(const char* path, KorinFileAttributes* out);
// True when path exists (GetFileAttributesA succeeds); a link counts, followed or not.
bool Korin_FileExists(const char* path);
// True when a live process holds an exclusive lock on the regular file path (the held-file
// test; a link is not followed). A file that exists but cannot be opened for the test (it
// belongs to someone else) counts as held: what cannot be tested is never taken as free.
bool Korin_IsHeld(const char* path);

// Suspends the calling thread for ms milliseconds.
void Korin_Sleep(uint32_t ms);
// The id of the calling process.
uint32_t Korin_GetCurrentProcessId();
