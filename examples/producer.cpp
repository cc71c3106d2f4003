// A small producer: makes a session, writes a page of rows with the trace stream, and keeps
// the page until the reader example has had a look (press Enter). Run examples/reader
// meanwhile, or `talmon show -f`.
#include <talmon/talmon.h>

#include <cstdio>

int main() {
  unsigned int session = 0;
  IMonitorWriter* page = nullptr;
  if (!TalCreateMonitorSession(&session) ||
      !TalOpenMonitorWriter(session, "Example", true, &page)) {
    std::fprintf(stderr, "producer: cannot open a page in the data directory\n");
    return 1;
  }
  trace(*page, block, title) << "Example producer, session " << static_cast<int>(session);
  for (int i = 1; i <= 10; ++i) {
    trace(*page, block) << "row " << i << tab << progress(i, 10);
    if (!TalMonitorDoEvents(session)) break;  // a viewer stopped us
  }
  trace(*page, block, bold) << "Done.";
  std::printf("producer: wrote session %u page Example; press Enter to end\n", session);
  std::getchar();
  TalCloseMonitorWriter(page);
  TalCloseMonitorSession(session);
  return 0;
}
