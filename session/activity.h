// Activity control: the play/pause/stop marker of a session, whose file name is the state,
// and the producer's waiting loop. Internal to libtalmon; the exported functions are in
// talmon/session.h. Markers are probed by path on every call, never cached.
#pragma once

namespace talmon {

// Marker names, appended to the session prefix.
constexpr const char* kPlayMarker = "Play.TXT";
constexpr const char* kPauseMarker = "Pause.TXT";
constexpr const char* kStopMarker = "Stop.TXT";

// Creates a marker at path. held: opened with delete-on-close, held by this process until
// it ends (under whatever name the marker has then), with this process's id written in it
// so that it can be told from a marker made by hand. Not held: an ordinary empty file.
// False when it cannot be made (or a live process holds it).
bool CreateMarkerFile(const char* path, bool held);

// Whether a marker counts as present: it exists and is either held by a live process or
// empty (made by hand, or not held). A non-empty marker that nobody holds was left by a
// producer that has ended, and reads as absent.
bool MarkerPresent(const char* path);

// One round of the producer's loop: pumps UI events, then reads the markers. False when a
// quit request was met, when the session is stopped, or when it has no marker at all.
bool PollActivity(unsigned int session);

}  // namespace talmon
