// Fuzz target for the page reader: the input becomes a page's row file and text file, and a
// reader asks for its count, every row (up to a bound) and their stamps. Pages come from other
// processes and users, so any bytes must give answers, never a crash or a runaway read.
//
// Input: two bytes, little-endian, give the length of the row file; the row file follows,
// then the text file (the rest).
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

#include "storage/page.h"

namespace {

const char kPage[] = "0001Fuzz";

// One directory for the whole run, made at the first input and removed at exit. Never
// destroyed: the exit handler that removes it runs after static destructors.
const std::string& Directory() {
  static const std::string* const dir = [] {
    char pattern[] = "/tmp/talmon-page-fuzz-XXXXXX";
    const char* made = mkdtemp(pattern);
    if (made == nullptr) abort();
    atexit([] {
      for (const char* ext : {".ROW", ".TXT"})
        unlink((Directory() + kPage + ext).c_str());
      rmdir(Directory().c_str());
    });
    return new std::string(std::string(made) + "/");
  }();
  return *dir;
}

void Store(const std::string& path, const uint8_t* data, size_t size) {
  std::ofstream(path, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  size_t rowBytes = static_cast<size_t>(data[0]) | static_cast<size_t>(data[1]) << 8;
  data += 2;
  size -= 2;
  if (rowBytes > size) rowBytes = size;
  const std::string page = Directory() + kPage;
  Store(page + ".ROW", data, rowBytes);
  Store(page + ".TXT", data + rowBytes, size - rowBytes);

  TalMonitorBase reader;
  reader.SetPageName(page.c_str());
  reader.SetWriter(false);
  reader.Open();
  uint32_t count = 0;
  reader.GetCount(count);
  // Rows past the first few hundred repeat what those test; a forged count may be 2^29.
  const uint32_t last = count < 512 ? count + 2 : 512;
  for (uint32_t row = 0; row < last; ++row) {
    const char* text = nullptr;
    uint32_t length = 0;
    uint32_t stamp = 0;
    if (reader.GetRow(row, text, length)) {
      // The text is zero-terminated within the bytes the reader stored.
      if (text == nullptr || length > TalMonitorBase::kMaxRowBytes) abort();
      volatile size_t measured = std::string(text).size();
      (void)measured;
    }
    reader.GetStamp(row, stamp);
  }
  return 0;
}
