// Test support for sessions: a data directory filled with files of every kind, and the
// rows a reader answers. Used by the session tests.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

#include "core/file.h"
#include "talmon/session.h"
#include "tests/support/temp_dir.h"

namespace talmon_test {

constexpr uid_t kNobody = 65534;  // the other user of the tests that run as root

inline void MakeFile(const std::string& path, const std::string& content = "") {
  std::ofstream(path, std::ios::binary) << content;
}

inline bool Exists(const std::string& path) {
  return Korin_FileExists(path.c_str());
}

// Makes each entry in dir: "name=content" a file, "name+content" a file held open the way a
// live producer holds its pages, "name~content" a file of another user (root only: the
// caller skips such cases otherwise), "name/" a directory. Returns the handles to close.
inline std::vector<KorinHandle> Populate(const ScopedDataDir& dir,
                                         const std::vector<std::string>& entries) {
  std::vector<KorinHandle> held;
  for (const std::string& e : entries) {
    const size_t at = e.find_first_of("=+~/");
    const std::string path = dir.file(e.substr(0, at)), content = e.substr(at + 1);
    if (e[at] == '/') {
      mkdir(path.c_str(), 0700);
    } else if (e[at] == '=' || e[at] == '~') {
      MakeFile(path, content);
      if (e[at] == '~') {
        EXPECT_EQ(chown(path.c_str(), kNobody, kNobody), 0) << path;
      }
    } else {
      held.push_back(Korin_CreateFile(path.c_str(), kGenericWrite, kFileShareRead, nullptr,
                                      kCreateAlways, kFileAttributeNormal, nullptr));
      uint32_t done = 0;
      Korin_WriteFileAt(held.back(), 0, content.data(), content.size(), &done);
    }
  }
  return held;
}

// Every row a reader answers, until its GetRow refuses.
inline std::vector<std::string> Rows(IMonitorReader& reader) {
  std::vector<std::string> rows;
  const char* text = nullptr;
  uint32_t length = 0;
  while (reader.GetRow(static_cast<uint32_t>(rows.size()), text, length))
    rows.emplace_back(text);
  return rows;
}

inline uint32_t Count(IMonitorReader& reader) {
  uint32_t count = 99;
  EXPECT_TRUE(reader.GetCount(count));
  return count;
}

inline IMonitorWriter* OpenWriter(unsigned int session, const char* page, bool temporary = false) {
  IMonitorWriter* writer = nullptr;
  EXPECT_TRUE(TalOpenMonitorWriter(session, page, temporary, &writer)) << page;
  return writer;
}

}  // namespace talmon_test
