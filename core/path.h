// Path split and join with the buffer sizes of the library's 260-byte paths. Paths use "/".
// Internal to libtalmon; pure functions, any thread.
#pragma once

#include <cstddef>

namespace Korin {

constexpr size_t kMaxPath = 260;  // buffer size; a path holds at most 259 bytes
constexpr size_t kMaxDrive = 3;
constexpr size_t kMaxDir = 256;
constexpr size_t kMaxFName = 256;
constexpr size_t kMaxExt = 256;

// Splits path into drive (always "" here), directory (with its trailing "/"), base name and
// extension (with its leading "."). Any output may be null. Outputs are cut to their sizes.
//   "/d/x/0001Log.TXT"  =>  "", "/d/x/", "0001Log", ".TXT"
//   "/d/x/.hidden"      =>  "", "/d/x/", ".hidden", ""
//   "0001Time"          =>  "", "", "0001Time", ""
void SplitPath(const char* path, char* drive, char* dir, char* name, char* ext);

}  // namespace Korin

// Joins drive, directory, name and extension into out (kMaxPath bytes): a "/" is added
// after a directory that lacks one, a "." before an extension that lacks one; null parts
// are empty. Returns false (out made "") when the result would not fit in 259 bytes.
//   ("", "/d/", "0003Time", "IDX")  =>  "/d/0003Time.IDX"
bool Korin_makepath(char* out, const char* drive, const char* dir, const char* name,
                    const char* ext);
