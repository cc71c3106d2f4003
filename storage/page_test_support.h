// Test support for pages: open one, list what a reader sees, read a file's bytes. Used by the
// storage tests and the cross-process page tests.
#pragma once

#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "storage/page.h"

namespace talmon_test {

inline std::unique_ptr<TalMonitorBase> Page(const std::string& path, bool writer,
                                            bool deleteOnClose = false, bool* opened = nullptr) {
  auto page = std::make_unique<TalMonitorBase>();
  page->SetPageName(path.c_str());
  page->SetWriter(writer);
  page->SetDeleteOnClose(deleteOnClose);
  const bool ok = page->Open();
  if (opened != nullptr) *opened = ok;
  return page;
}

// v as the four little-endian bytes of the page files.
inline std::string U32(uint32_t v) {
  std::string s;
  for (int i = 0; i < 4; ++i)
    s += static_cast<char>((v >> (8 * i)) & 0xFF);
  return s;
}

// A page header as Flush writes it.
inline std::string Header(uint32_t textLength, uint32_t rowLength, char last, bool lineStart) {
  return U32(textLength) + U32(rowLength) + last + static_cast<char>(lineStart) +
         std::string(2, '\0');
}

// The bytes of a file, or "<missing>".
inline std::string Slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return in ? std::string(std::istreambuf_iterator<char>(in), {}) : "<missing>";
}

// Every row the reader sees, as "text|length", or "<fail>" where GetRow fails.
inline std::vector<std::string> Rows(TalMonitorBase& reader) {
  std::vector<std::string> rows;
  uint32_t count = 0;
  reader.GetCount(count);
  for (uint32_t i = 0; i < count; ++i) {
    const char* text = nullptr;
    uint32_t length = 0;
    const bool ok = reader.GetRow(i, text, length);
    rows.push_back(ok ? std::string(text) + "|" + std::to_string(length) : "<fail>");
  }
  return rows;
}

}  // namespace talmon_test
