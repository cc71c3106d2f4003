// The registered event pump, swapped atomically so registration may race a round.
#include "session/event_pump.h"

#include <atomic>

namespace {

std::atomic<bool (*)()> gPumpPending{nullptr};
std::atomic<void (*)()> gIdle{nullptr};
std::atomic<void (*)(int, int)> gWaitEvents{nullptr};

}  // namespace

void TalMonRegisterEventPump(const TalMonEventPump* pump) {
  // The idle and wait hooks go first and come off last, so a round never runs hooks of a
  // different pump than the one it pumped with.
  if (pump == nullptr) {
    gPumpPending.store(nullptr);
    gIdle.store(nullptr);
    gWaitEvents.store(nullptr);
    return;
  }
  gIdle.store(pump->idle);
  gWaitEvents.store(pump->waitEvents);
  gPumpPending.store(pump->pumpPending);
}

namespace talmon {

bool HasEventPump() {
  return gPumpPending.load() != nullptr;
}

void (*WaitEventsHook())(int, int) {
  return gPumpPending.load() != nullptr ? gWaitEvents.load() : nullptr;
}

bool PumpEvents() {
  bool (*pumpPending)() = gPumpPending.load();
  if (pumpPending == nullptr) return true;
  const bool goOn = pumpPending();
  if (void (*idle)() = gIdle.load()) {
    idle();
    idle();
  }
  return goOn;
}

}  // namespace talmon
