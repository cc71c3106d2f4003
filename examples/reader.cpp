// A small reader: prints the rows of one page of the last session (or of the session and
// page given as arguments) as markup, one per line.
#include <talmon/talmon.h>

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
  const unsigned int session = argc > 1 ? static_cast<unsigned int>(std::atoi(argv[1])) : 0;
  const char* pageName = argc > 2 ? argv[2] : "Example";
  IMonitorReader* reader = nullptr;
  if (!TalOpenMonitorReader(session, pageName, &reader)) {
    std::fprintf(stderr, "reader: cannot open page %s\n", pageName);
    return 1;
  }
  uint32_t count = 0;
  reader->GetCount(count);
  for (uint32_t row = 0; row < count; ++row) {
    const char* text = nullptr;
    uint32_t length = 0;
    if (reader->GetRow(row, text, length)) std::printf("%4u  %s\n", row, text);
  }
  TalCloseMonitorReader(reader);
  return 0;
}
