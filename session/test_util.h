// Helpers shared by the session tests: files made by hand in the data directory.
#pragma once

#include <fstream>
#include <string>

#include "core/file.h"

namespace talmon_test {

inline void MakeFile(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

inline bool Exists(const std::string& path) {
  return Korin_FileExists(path.c_str());
}

// Opens path for writing the way a live producer holds its files; close with
// Korin_CloseHandle.
inline KorinHandle Hold(const std::string& path, const std::string& content) {
  KorinHandle h = Korin_CreateFile(path.c_str(), kGenericWrite, kFileShareRead, nullptr,
                                   kCreateAlways, kFileAttributeNormal, nullptr);
  uint32_t done = 0;
  Korin_WriteFileAt(h, 0, content.data(), static_cast<uint32_t>(content.size()), &done);
  return h;
}

}  // namespace talmon_test
