// Activity control over the session markers and the producer's waiting loop.
#include "session/activity.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <vector>

#include "core/file.h"
#include "core/path.h"
#include "session/data_watch.h"
#include "session/event_pump.h"
#include "session/session_store.h"
#include "talmon/session.h"

namespace talmon {

namespace {

// How long the paused wait sleeps between looks when no file changes: without a UI pump
// only a missed directory event could need the look; with a pump that cannot wait on UI
// events, they must still be dispatched promptly.
constexpr int kIdleWaitMs = 100;
constexpr int kPumpWaitMs = 5;

// The marker handles this process holds. They are never closed here: the marker must live
// as long as the producer, and the process's exit closes (and so removes) them.
std::vector<KorinHandle>& HeldMarkers() {
  static auto* handles = new std::vector<KorinHandle>;
  return *handles;
}
std::mutex& HeldMarkersMutex() {
  static auto* mutex = new std::mutex;
  return *mutex;
}

// The path of marker for session, built afresh; "" when the session has no prefix.
void MarkerPath(unsigned int session, const char* marker, char* out) {
  char prefix[Korin::kMaxPath];
  if (!ResolveSession(false, &session, prefix) || !JoinPath(out, prefix, marker)) out[0] = '\0';
}

bool Present(unsigned int session, const char* marker) {
  char path[Korin::kMaxPath];
  MarkerPath(session, marker, path);
  return MarkerPresent(path);
}

// Renames a present marker; a marker that reads as absent is not moved.
bool MoveMarker(const char* from, const char* to) {
  if (from[0] == '\0' || to[0] == '\0' || !MarkerPresent(from)) return false;
  return Korin_MoveFile(from, to);
}

// Sleeps until the data directory changes or, with a UI pump, until UI events are pending
// too. A pump that can wait on UI events and the watch at once is given the watch's
// descriptor; one that cannot is pumped again every few milliseconds.
void WaitForUiOrChange(int watchFd) {
  void (*waitEvents)(int, int) = WaitEventsHook();
  if (waitEvents != nullptr && watchFd >= 0) {
    waitEvents(watchFd, kIdleWaitMs);
    WaitDataChange(0);
  } else {
    WaitDataChange(HasEventPump() ? kPumpWaitMs : kIdleWaitMs);
  }
}

}  // namespace

namespace {

void (*gSessionStepHook)(const char*) = nullptr;

// Makes the held marker under a name of its own, already holding the pid, then holds it
// and renames it to path (never replacing a file there). Whatever step a kill ends it at,
// what stays behind is no marker at all or a marker with a pid that nobody holds: both
// read as absent, and the next new session removes them (they have a size).
bool CreateHeldMarker(const char* path) {
  const uint32_t flags = kFileFlagRandomAccess | kFileFlagDeleteOnClose |
                         kFileAttributeNotContentIndexed | kFileAttributeTemporary;
  char pid[16];
  const int length = std::snprintf(pid, sizeof pid, "%u", Korin_GetCurrentProcessId());
  char suffix[20];
  std::snprintf(suffix, sizeof suffix, ".%s", pid);
  char temporary[Korin::kMaxPath];
  if (!JoinPath(temporary, path, suffix)) return false;
  RemoveOwnFile(temporary);  // left by an earlier process of the same id
  if (!Korin_CreateFileWithContent(temporary, pid, static_cast<uint32_t>(length))) return false;
  SessionStep("marker made");
  KorinHandle handle = Korin_CreateFile(temporary, kGenericWrite, kFileShareRead | kFileShareDelete,
                                        nullptr, kOpenExisting, flags, nullptr);
  if (!KorinIsOpen(handle)) {
    RemoveOwnFile(temporary);
    return false;
  }
  SessionStep("marker held");
  if (!Korin_MoveFile(temporary, path)) {
    Korin_CloseHandle(handle);  // delete-on-close: the private name goes
    return false;
  }
  SessionStep("marker placed");
  std::lock_guard<std::mutex> lock(HeldMarkersMutex());
  HeldMarkers().push_back(handle);
  return true;
}

}  // namespace

void SetSessionStepHook(void (*hook)(const char* step)) {
  gSessionStepHook = hook;
}

void SessionStep(const char* step) {
  if (gSessionStepHook != nullptr) gSessionStepHook(step);
}

bool IsMarkerName(const char* page) {
  return page != nullptr && (std::strcmp(page, "Play") == 0 || std::strcmp(page, "Pause") == 0 ||
                             std::strcmp(page, "Stop") == 0);
}

bool CreateMarkerFile(const char* path, bool held) {
  if (held) return CreateHeldMarker(path);
  const uint32_t closedFlags =
      kFileFlagRandomAccess | kFileAttributeNotContentIndexed | kFileAttributeNormal;
  KorinHandle handle = Korin_CreateFile(path, kGenericWrite, kFileShareRead | kFileShareDelete,
                                        nullptr, kOpenAlways, closedFlags, nullptr);
  if (!KorinIsOpen(handle)) return false;
  // Emptied: an old producer's marker may have stood at path, and a marker with a pid in
  // it that nobody holds reads as absent.
  const bool emptied = Korin_SetEndOfFileAt(handle, 0);
  Korin_CloseHandle(handle);
  return emptied;
}

namespace {

// One look at a marker file: whether it is there at all (a regular file of the caller's
// own), whether a live process holds it, and whether it counts as present.
struct MarkerLook {
  bool exists = false;
  bool held = false;
  bool present = false;
};

MarkerLook LookAt(const char* path) {
  MarkerLook look;
  KorinFileAttributes attributes;
  if (path == nullptr || path[0] == '\0' || !Korin_GetFileAttributesEx(path, &attributes) ||
      !attributes.owned || !KorinIsRegular(attributes)) {
    return look;
  }
  look.exists = true;
  look.held = (attributes.attributes & kFileAttributeTemporary) != 0;
  look.present = look.held || attributes.size == 0;
  return look;
}

MarkerLook LookAt(unsigned int session, const char* marker) {
  char path[Korin::kMaxPath];
  MarkerPath(session, marker, path);
  return LookAt(path);
}

}  // namespace

bool MarkerPresent(const char* path) {
  return LookAt(path).present;
}

TalMonSessionState SessionState(unsigned int session, bool& pauseHeld) {
  pauseHeld = false;
  const MarkerLook play = LookAt(session, kPlayMarker);
  const MarkerLook pause = LookAt(session, kPauseMarker);
  const MarkerLook stop = LookAt(session, kStopMarker);
  const MarkerLook playAgain = LookAt(session, kPlayMarker);
  if (!play.exists && !pause.exists && !stop.exists && !playAgain.exists) {
    return TalMonSessionState::kFinished;
  }
  if (!play.held && !pause.held && !stop.held && !playAgain.held) {
    return TalMonSessionState::kCrashed;
  }
  if (stop.present) return TalMonSessionState::kStopping;
  if (playAgain.present || (play.present && !pause.present)) {
    pauseHeld = pause.present;
    return TalMonSessionState::kPlaying;
  }
  if (pause.present) return TalMonSessionState::kPaused;
  // The held marker moved between the looks without reaching a name looked at after.
  return TalMonSessionState::kPlaying;
}

bool ClearStrayPause(unsigned int session) {
  if (!Present(session, kPlayMarker) || !Present(session, kPauseMarker)) return true;
  char path[Korin::kMaxPath];
  MarkerPath(session, kPauseMarker, path);
  return RemoveOwnFile(path) || !MarkerPresent(path);
}

bool RemoveOwnFile(const char* path) {
  KorinFileAttributes attributes;
  return path != nullptr && path[0] != '\0' && Korin_GetFileAttributesEx(path, &attributes) &&
         attributes.owned && Korin_DeleteFile(path) != 0;
}

bool PollActivity(unsigned int session) {
  if (!PumpEvents()) return false;
  if (Present(session, kStopMarker)) return false;
  if (Present(session, kPauseMarker)) return true;
  if (Present(session, kPlayMarker)) return true;
  // Looked at again: a pause that renames "Play.TXT" between the two looks above is not
  // taken for a session without a marker.
  return Present(session, kPauseMarker);
}

}  // namespace talmon

using talmon::kPauseMarker;
using talmon::kPlayMarker;
using talmon::kStopMarker;
using talmon::Present;

bool TalMonitorGetActivity(unsigned int session, unsigned int* activity) {
  if (activity == nullptr) return false;
  try {
    *activity = kTalMonStopped;
    if (Present(session, kPlayMarker)) *activity = kTalMonPlaying;
    if (Present(session, kPauseMarker)) *activity = kTalMonPaused;
    // Looked at again: a resume that renames the marker between the two looks above
    // still reads as playing, and "Play.TXT" wins over a "Pause.TXT" left beside it.
    if (Present(session, kPlayMarker)) *activity = kTalMonPlaying;
    return true;
  } catch (...) {
    return false;
  }
}

bool TalMonitorSetActivity(unsigned int session, int activity) {
  try {
    char pause[Korin::kMaxPath];
    char play[Korin::kMaxPath];
    char stop[Korin::kMaxPath];
    talmon::MarkerPath(session, kPauseMarker, pause);
    talmon::MarkerPath(session, kPlayMarker, play);
    talmon::MarkerPath(session, kStopMarker, stop);
    if (activity == kTalMonStopped) {
      // Whichever of the two exists moves; the other rename fails, which is fine.
      talmon::MoveMarker(pause, stop);
      talmon::MoveMarker(play, stop);
      return true;
    }
    const bool paused = talmon::MarkerPresent(pause);
    if (paused && activity != kTalMonPlaying) return true;
    if (!paused && activity != kTalMonPaused) return true;
    return paused ? talmon::MoveMarker(pause, play) : talmon::MoveMarker(play, pause);
  } catch (...) {
    return false;
  }
}

bool TalMonitorDoEvents(unsigned int session) {
  try {
    if (!talmon::PollActivity(session)) return false;
    if (!Present(session, kPauseMarker)) return true;
    // Paused: wait for a rename in the data directory instead of spinning. The process's
    // watch is open before the markers are looked at again, so a rename after the look
    // wakes the wait.
    const int watchFd = talmon::DataWatchFd();
    for (;;) {
      if (!talmon::PumpEvents()) return false;
      if (Present(session, kStopMarker)) return false;
      // No marker left: the session was closed or its producer ended.
      if (!Present(session, kPauseMarker) && !Present(session, kPlayMarker) &&
          !Present(session, kPauseMarker)) {
        return false;
      }
      if (!Present(session, kPauseMarker)) return true;
      talmon::WaitForUiOrChange(watchFd);
    }
  } catch (...) {
    return false;
  }
}
