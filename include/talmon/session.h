// The C interface of libtalmon: sessions, their play/pause/stop activity, and the opening
// and closing of page writers and readers; plus TalMonitorSelectPage, which lists the pages
// of a session. The functions may be called from any thread; each object they hand out is
// used by one thread at a time. Failure is reported only by a false result; nothing throws.
//
// A session is a number from 1 up (0: none, or "the last session" where a function looks
// one up). Every file of session N lives in the data directory and begins with the session
// prefix: the data directory followed by N as "%04d" ("/home/u/.local/state/talmon/0003").
// A page P of the session is the pair of files prefix + P + ".TXT" and ".ROW". Page names
// are free text but may not contain "/" nor be "." or ".."; prefix plus page name must fit
// in 259 bytes. Such names are refused with false.
#pragma once

#include "talmon/export.h"

#ifdef __cplusplus
#include <cstdint>
#include <vector>

#include "talmon/korin_string.h"
#include "talmon/monitor.h"
#include "talmon/readers.h"
#else
#include <stdbool.h>
typedef struct IMonitorWriter IMonitorWriter;
typedef struct IMonitorReader IMonitorReader;
typedef struct TalMonitorReaderPageOrder TalMonitorReaderPageOrder;
typedef struct TalMonitorReaderSession TalMonitorReaderSession;
typedef struct TalMonitorReaderTime TalMonitorReaderTime;
#endif

// Activity values of TalMonitorGetActivity and TalMonitorSetActivity.
enum TalMonActivity {
  kTalMonStopped = 0,  // stopped, or no live producer
  kTalMonPlaying = 1,
  kTalMonPaused = 2
};

// Size of every path buffer of this interface; a path holds at most 259 bytes.
enum { kTalMonMaxPath = 260 };

#ifdef __cplusplus
extern "C" {
#endif

// Starts a new session: picks the number one above the highest present, after removing
// every file of earlier sessions that no live producer holds, and creates the session's
// "Play.TXT" marker, held by this process until it ends. *session is 0 on failure (no
// usable data directory).
TALMON_EXPORT bool TalCreateMonitorSession(unsigned int* session);
// Removes the session's "Pause.TXT" and "Play.TXT" markers (0: the last session's). A
// "Stop.TXT" stays until the producer ends. Always true.
TALMON_EXPORT bool TalCloseMonitorSession(unsigned int session);
// Picks a new session number with the clean-up of TalCreateMonitorSession, but makes no
// marker.
TALMON_EXPORT bool TalMonitorDefineNewSession(unsigned int* session);
// Writes the session prefix into path (kTalMonMaxPath bytes); session 0 gives the prefix
// of the last session (without telling its number).
TALMON_EXPORT bool TalMonitorDefineSession(unsigned int session, char* path);
// *session becomes the highest session number present, 0 when there is none.
TALMON_EXPORT bool TalMonitorGetLastSession(unsigned int* session);

// *activity becomes a TalMonActivity: playing when "Play.TXT" is present, paused when only
// "Pause.TXT" is. A marker left by a producer that has ended reads as absent.
TALMON_EXPORT bool TalMonitorGetActivity(unsigned int session, unsigned int* activity);
// Renames the marker: 0 stops (always true), 1 resumes a paused session, 2 pauses a playing
// one; false when that rename fails (the producer has ended). Other requests change
// nothing and are true.
TALMON_EXPORT bool TalMonitorSetActivity(unsigned int session, int activity);
// Called by the producer between units of work, on its user-interface thread: dispatches
// pending UI events, then returns true to go on or false to stop. While the session is
// paused it waits (without spinning) until it is resumed (true) or stopped (false).
TALMON_EXPORT bool TalMonitorDoEvents(unsigned int session);

// Waits until an entry of the data directory is created, removed, renamed or written (a
// page flushed, a marker renamed, a session made) or timeoutMs pass (negative counts as
// 0); true when something changed. The changes are consumed: each call waits for new ones.
// It uses the process's one watch of the data directory, made at the first call and kept
// until the process ends, so followers and viewers may call it as often as they like.
TALMON_EXPORT bool TalWaitMonitorChange(int timeoutMs);
// The descriptor of that watch, for a caller that waits on it together with descriptors of
// its own (poll, an event loop): readable while changes are pending. Never close or read
// it; TalWaitMonitorChange(0) consumes the changes. -1 when the data directory cannot be
// watched.
TALMON_EXPORT int TalMonitorGetChangeDescriptor(void);

// Opens a writer on page of session (0: the last session). temporary: the page's files
// vanish when the writer is closed or the process ends. False when the page cannot be
// created, for instance because a live writer holds it.
TALMON_EXPORT bool TalOpenMonitorWriter(unsigned int session, const char* page, bool temporary,
                                        IMonitorWriter** writer);
// Opens a reader on page of session (0: the last session). A page that does not exist yet
// still gets a reader, which shows its rows once the page appears.
TALMON_EXPORT bool TalOpenMonitorReader(unsigned int session, const char* page,
                                        IMonitorReader** reader);
// A reader of the session's pages one after another, pages chosen by the wildcard pattern
// (null: "*"). The number is taken as it stands: 0 lists nothing in practice.
TALMON_EXPORT bool TalOpenMonitorReaderPageOrder(unsigned int session, const char* pattern,
                                                 TalMonitorReaderPageOrder** reader);
// A reader of one row per session in the data directory (see TalMonitorReaderSession).
TALMON_EXPORT bool TalOpenMonitorReaderSession(TalMonitorReaderSession** reader);
// A reader that merges pages in the order their rows were written; pages are added with
// AddReader. session 0: the last session.
TALMON_EXPORT bool TalOpenMonitorReaderTime(unsigned int session, TalMonitorReaderTime** reader);
// A reader chosen by name: a name that begins with "session" gives a session reader;
// any other name is a page file of the data directory ("0003Log.TXT"), false when it
// cannot be opened.
TALMON_EXPORT bool TalMonitorExecute(const char* name, IMonitorReader** reader);
// True while every row, record and header that writer has written so far reached its
// files; false for null, and from the first write that fell short (a full disk, a file that
// could not be made). Write and Flush go on answering true after such a failure, but the
// page then publishes nothing more: readers keep every row flushed before it, whole. A
// producer that must not lose rows asks here, for example before it exits.
TALMON_EXPORT bool TalCheckMonitorWriter(IMonitorWriter* writer);
// Destroy what the open functions handed out; null is accepted. Always true.
TALMON_EXPORT bool TalCloseMonitorWriter(IMonitorWriter* writer);
TALMON_EXPORT bool TalCloseMonitorReader(IMonitorReader* reader);

#ifdef __cplusplus
}  // extern "C"

// Lists the pages of one session by a wildcard pattern ("*" any run, "?" one character,
// case ignored), in case-insensitive byte order: "Page10" before "Page2". The session's
// markers are listed too, as the pages "Pause", "Play" and "Stop". The list is built at the
// first Read; setters called after it change nothing (there is no rewind: use a new object).
class TALMON_EXPORT TalMonitorSelectPage {
 public:
  TalMonitorSelectPage();
  virtual ~TalMonitorSelectPage();

  void SetSession(unsigned int session);
  void SetPattern(const char* pattern);  // null is taken as ""
  // Stores the next page name; false when the list is exhausted or cannot be built (no
  // data directory).
  bool Read(Korin::String& name);

 protected:
  bool Init();

 private:
  uint32_t session_;
  Korin::String pattern_;
  std::vector<Korin::String> names_;
  int32_t next_;
  int32_t initialised_;
};
#endif
