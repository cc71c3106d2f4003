#include "session/event_pump.h"

#include <atomic>

namespace {

std::atomic<bool (*)()> g_pumpPending{nullptr};
std::atomic<void (*)()> g_idle{nullptr};

}  // namespace

void TalMonRegisterEventPump(const TalMonEventPump* pump) {
  // The idle hook goes first and comes off last, so a round never runs an idle hook of a
  // different pump than the one it pumped with.
  if (pump == nullptr) {
    g_pumpPending.store(nullptr);
    g_idle.store(nullptr);
    return;
  }
  g_idle.store(pump->idle);
  g_pumpPending.store(pump->pumpPending);
}

namespace talmon {

bool HasEventPump() {
  return g_pumpPending.load() != nullptr;
}

bool PumpEvents() {
  bool (*pumpPending)() = g_pumpPending.load();
  if (pumpPending == nullptr) return true;
  const bool goOn = pumpPending();
  if (void (*idle)() = g_idle.load()) {
    idle();
    idle();
  }
  return goOn;
}

}  // namespace talmon
