// Where libtalmon-ui's boxes run: on the thread of the process's QApplication, or, when the
// process has none, on one UI thread of the library's own that owns a QApplication for the
// rest of the process. Internal to libtalmon-ui; any thread.
#pragma once

#include <functional>

namespace talmon {

// True when a box could be seen: one of QT_QPA_PLATFORM, DISPLAY, WAYLAND_DISPLAY is set.
bool HaveDisplay();

// True when the calling thread owns the process's QApplication.
bool OnGuiThread();

// Runs task on the thread that owns the process's QApplication and returns once it ran: at
// once on that thread, else by a blocking queued call (that thread must be running its event
// loop). With no application in the process and start true, the library's UI thread is
// started first, if there is a display. False, task not run, with only a QCoreApplication,
// with no application (start false, or no display), or after the library's UI thread ended
// at process exit.
bool RunOnGuiThread(const std::function<void()>& task, bool start);

// Call after showing a window: registers (again) the exit handler that stops the library's
// UI thread, so that it runs before the static objects Qt made while showing are destroyed.
// Nothing when the application is not the library's own.
void KeepExitHandlerLast();

}  // namespace talmon
