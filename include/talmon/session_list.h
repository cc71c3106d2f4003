// Sessions as viewers see them: every session of the data directory with its pages and
// activity, read in one pass; the activity words every viewer prints; and which page a row
// of a multi-page reader comes from. Used by the `talmon` tool and TalMonView. Any thread;
// the calls share no state.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "talmon/export.h"
#include "talmon/monitor.h"

// What a viewer says about a session.
enum class TalMonSessionState : uint8_t {
  kPlaying,   // a live producer plays (see TalMonSessionInfo::pauseHeld)
  kPaused,    // a live producer is held paused
  kStopping,  // a Stop marker and a live producer
  kFinished,  // no marker: the producer ended normally
  kCrashed,   // a marker that no live process holds
};

// "playing", "paused", "stopping", "finished", "crashed".
TALMON_EXPORT const char* TalMonSessionStateWord(TalMonSessionState state);

struct TalMonPageInfo {
  std::string name;    // the page name, without session prefix and extension ("Log")
  uint32_t rows = 0;   // rows its header publishes
  uint64_t bytes = 0;  // text bytes its header publishes
  bool held = false;   // a live writer holds it
};

struct TalMonSessionInfo {
  unsigned int session = 0;
  int64_t startTime = 0;  // seconds since the epoch when the session began
  TalMonSessionState state = TalMonSessionState::kFinished;
  bool pauseHeld = false;             // playing, yet a Pause marker holds the producer
  std::vector<TalMonPageInfo> pages;  // in TalMonitorSelectPage order, markers left out
};

// The data directory, ending in "/". False when there is no usable one; why then says what
// and why in one line ("data directory /x/: not owned by you (set TALMON_SHARED_DIR=1 ...)").
TALMON_EXPORT bool TalMonGetDataDirectory(std::string& dir, std::string* why = nullptr);
// Every session of the user's own in the data directory, by ascending number, read in one
// pass over the directory. False (sessions empty) when there is no usable data directory.
TALMON_EXPORT bool TalMonListSessions(std::vector<TalMonSessionInfo>& sessions);
// One session; false when it has no files of the user's own.
TALMON_EXPORT bool TalMonGetSessionInfo(unsigned int session, TalMonSessionInfo& info);
// The page that row of reader comes from: for a time-merged or page-order reader the index
// of the page among its pages (in the order they were added or listed), for a one-page
// reader 0. False for a row the reader cannot give.
TALMON_EXPORT bool TalMonGetRowSource(IMonitorReader* reader, uint32_t row, uint32_t& page);

// Waiting for a change of the data directory: TalWaitMonitorChange(timeoutMs) and
// TalMonitorGetChangeDescriptor() in talmon/session.h, on the process's one watch.
