// Activity control: the play/pause/stop marker of a session, whose file name is the state,
// and the producer's waiting loop. Internal to libtalmon; the exported functions are in
// talmon/session.h. Markers are probed by path on every call, never cached.
#pragma once

#include "talmon/session_list.h"

namespace talmon {

// Marker names, appended to the session prefix.
constexpr const char* kPlayMarker = "Play.TXT";
constexpr const char* kPauseMarker = "Pause.TXT";
constexpr const char* kStopMarker = "Stop.TXT";

// True for the page names whose files are the markers: exactly "Play", "Pause", "Stop".
bool IsMarkerName(const char* page);

// Creates a marker at path. held: opened with delete-on-close, held by this process until
// it ends (under whatever name the marker has then), with this process's id written in it
// so that it can be told from a marker made by hand. The held marker appears under a name
// of its own (path + "." + pid) already holding the pid, is held, and is then renamed into
// place, so that no empty marker that nobody holds is ever seen: a producer killed at any
// step leaves nothing, or a marker that reads as absent and that the next new session
// removes. Not held: an ordinary empty file.
// False when it cannot be made (path is taken, or a live process holds it).
bool CreateMarkerFile(const char* path, bool held);

// Whether a marker counts as present: it is a regular file of the caller's own user and is
// either held by a live process or empty (made by hand, or not held). A non-empty marker
// that nobody holds was left by a producer that has ended, and reads as absent; another
// user's marker (in a shared data directory) is never obeyed.
bool MarkerPresent(const char* path);

// What a viewer says about session, from its three markers probed by path in the order of
// TalMonitorGetActivity (so that a rename between two looks still reads right). pauseHeld
// becomes true when the session plays yet a Pause marker stands beside "Play.TXT".
TalMonSessionState SessionState(unsigned int session, bool& pauseHeld);

// Removes path when it is a file of the caller's own user; false otherwise.
bool RemoveOwnFile(const char* path);

// Test hook: called with the name of each step of making a session ("numbered", "cleared",
// "marker made", "marker held", "marker placed"), so that a test can end the process
// there. Null (the default): nothing is called.
void SetSessionStepHook(void (*hook)(const char* step));
// Runs the hook, if any, for step.
void SessionStep(const char* step);

// One round of the producer's loop: pumps UI events, then reads the markers. False when a
// quit request was met, when the session is stopped, or when it has no marker at all.
bool PollActivity(unsigned int session);

}  // namespace talmon
