// Registration of a user-interface event pump with libtalmon. libtalmon-ui registers its
// pump when it is loaded, so that TalMonitorDoEvents keeps a Qt application responsive;
// without a registration there is nothing to pump. Not part of the public headers, but
// exported, because libtalmon-ui is a separate shared library.
#pragma once

#include "talmon/export.h"

struct TalMonEventPump {
  // Dispatches every pending UI event of the calling thread. Returns false when it met a
  // quit request, which it must put back (post it again) before returning, so that the
  // application's own loop still sees it.
  bool (*pumpPending)();
  // One pass of idle processing (deferred deletions and the like). Called twice per round,
  // after pumpPending. May be null.
  void (*idle)();
  // Blocks the calling thread until a UI event is pending for it, fd becomes readable, or
  // timeoutMs pass, whichever comes first; dispatches nothing. The paused wait passes the
  // data directory watch's descriptor here so that it sleeps on both at once. May be null:
  // the library then waits on fd alone, in short slices between pumps.
  void (*waitEvents)(int fd, int timeoutMs);
};

// Registers pump (copied); null unregisters. Call it at load or unload, not while another
// thread is inside TalMonitorDoEvents.
TALMON_EXPORT void TalMonRegisterEventPump(const TalMonEventPump* pump);

namespace talmon {

// True while a pump is registered.
bool HasEventPump();
// The registered pump's waitEvents hook; null when there is none.
void (*WaitEventsHook())(int fd, int timeoutMs);
// One round of the producer's message loop: pumps pending UI events, then idle
// processing twice. False when a quit request was met while pumping.
bool PumpEvents();

}  // namespace talmon
