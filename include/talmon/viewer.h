// Starting the companion viewer TalMonView from a Qt producer: TalMonitorViewer shows the
// producer's own session in the viewer, TalMonitorWait a small wait display of it. Each
// object owns one viewer process from construction to destruction, and the producer's window
// is hidden and disabled for exactly that span. Construct and destroy on the producer's Qt GUI
// thread.
//
// The viewer is found through PATH as "TalMonView"; the environment variable TALMON_VIEWER,
// when set, names another executable to start instead. Its command line is formatted, then
// split at every blank (empty fields kept), so a title with blanks arrives as several
// arguments (doc/viewer.md):
//   TalMonitorViewer("-view", "-follow", false, "Job") in session 7 => TalMonView -view 0007
//   -follow Job TalMonitorWait in session 7 under a main window titled "Job"  => TalMonView 7 Job
#pragma once

#include <cstdint>

#include "talmon/export.h"

class QWidget;
class TalMonWaitCursor;

class TALMON_EXPORT TalMonitorViewer {
 public:
  // Hides and disables the active window (else the first visible top-level window), shows
  // the wait cursor, starts "TalMonView viewerArg1 NNNN viewerArg2 title" on the session of
  // TalMonitorWriterPage::GetSession(), then dispatches the pending events. Returns once the
  // process is started. title null: the main window's title, "" without one. A viewer that
  // cannot be started leaves no process, and the window and cursor are given back at once.
  TalMonitorViewer(const char* viewerArg1, const char* viewerArg2, bool waitForClose,
                   const char* title);
  // waitForClose: sets the session paused, waits for the viewer to end in 100 ms slices while
  // dispatching events (a quit request ends the wait and stays delivered), then sets it
  // playing. In every case the viewer is then asked to end (SIGTERM) and reaped, the cursor
  // restored and the window enabled and shown.
  virtual ~TalMonitorViewer();
  // Shallow: the copy shares the process, the cursor and the hidden window, and only one of
  // the two may be destroyed.
  TalMonitorViewer(const TalMonitorViewer& other);
  TalMonitorViewer& operator=(const TalMonitorViewer& other);

 private:
  intptr_t process_ = 0;  // the viewer's pid; 0 when none was started
  TalMonWaitCursor* waitCursor_ = nullptr;
  bool waitForClose_ = false;
  QWidget* hiddenWindow_ = nullptr;
};

class TALMON_EXPORT TalMonitorWait {
 public:
  // Hides and disables the main window (when there is one), shows the wait cursor and starts
  // "TalMonView N title" (N not padded, title always the main window's); dispatches nothing.
  TalMonitorWait();
  // Ends the wait display (SIGTERM, reaped), restores the cursor, enables and shows the main
  // window.
  virtual ~TalMonitorWait();
  // Shallow, as for TalMonitorViewer.
  TalMonitorWait(const TalMonitorWait& other);
  TalMonitorWait& operator=(const TalMonitorWait& other);

 private:
  void* reserved_ = nullptr;
  intptr_t process_ = 0;
  TalMonWaitCursor* waitCursor_ = nullptr;
};
