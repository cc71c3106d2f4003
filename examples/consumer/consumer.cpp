// Checks an installed libtalmon end to end: a session, a page written with the trace stream,
// and the row read back through the C interface. Exits 0 when the row is exactly right.
#include <talmon/talmon.h>

#include <cstdio>
#include <cstring>

int main() {
  unsigned int session = 0;
  IMonitorWriter* writer = nullptr;
  if (!TalCreateMonitorSession(&session) || !TalOpenMonitorWriter(session, "Log", true, &writer)) {
    std::fprintf(stderr, "consumer: cannot open a page\n");
    return 1;
  }
  trace(*writer, block, bold) << "installed: " << 42;

  IMonitorReader* reader = nullptr;
  TalOpenMonitorReader(session, "Log", &reader);
  uint32_t count = 0;
  uint32_t length = 0;
  const char* text = nullptr;
  const bool ok = reader->GetCount(count) && count == 1 && reader->GetRow(0, text, length) &&
                  std::strcmp(text, "(bold installed: 42)") == 0;
  TalCloseMonitorReader(reader);
  TalCloseMonitorWriter(writer);
  TalCloseMonitorSession(session);
  std::printf("consumer: %s\n", ok ? "row read back" : "wrong row");
  return ok ? 0 : 1;
}
