// The session store: the data directory, session numbering and the clean-up of old
// sessions, page-name checks and the comb sort behind TalMonitorSelectPage. Internal to
// libtalmon; any thread, but the directory is shared with other processes without a lock.
#pragma once

#include <cstddef>
#include <vector>

#include "talmon/korin_string.h"

namespace talmon {

// Writes the data directory, ending in "/", into path (260 bytes). False (path "") when
// there is none: no manager, or a directory that cannot be found or made.
bool GetDataDirectoryPath(char* path);

// Turns a session number into its prefix (data directory + "%04d") in path (260 bytes):
// - newSession false, *session non-zero: that session, unchecked;
// - newSession false, *session 0: *session becomes the highest session present (0: none);
// - newSession true: *session becomes one above the highest present, after every file of
//   an earlier session that is not held by a live process has been removed. When the
//   removal freed anything with a size, the directory is scanned again, so the number is
//   one above what survived (1 when nothing did).
// A file's session is its LeadingSession; names without one, or with 0, are never counted
// nor removed. Only the caller's own regular files count: another user's files (in a data
// directory shared on purpose) neither raise the numbering nor are removed, and a new
// session skips every number they use.
// False when there is no data directory (nothing is ever made relative to the working
// directory), for a session above kMaxSession, and for a new session when kMaxSession is
// taken: numbers never wrap into another session's files.
bool ResolveSession(bool newSession, unsigned int* session, char* path);

// Session numbers have four digits.
constexpr unsigned int kMaxSession = 9999;

// The session a file name belongs to: its leading number read with "%04d" (at most four
// digits: "12345x" is 1234); 0 when it has none.
int LeadingSession(const char* name);

// The file-name pattern of session's pages chosen by pattern: "%04d" + pattern + ".TXT".
Korin::String SessionFilePattern(unsigned int session, const char* pattern);
// The page name of a file of session that SessionFilePattern matched: the name without the
// four-digit number and ".TXT" ("0003Log.TXT" => "Log"). False for a name too short.
bool PageNameOfFile(unsigned int session, const Korin::String& file, Korin::String& page);

// True when name may be appended to a session prefix: not null, no "/", not "." or "..".
bool IsSafePageName(const char* name);
// out (260 bytes) = head + tail; false (out "") when that exceeds 259 bytes.
bool JoinPath(char* out, const char* head, const char* tail);

// Something a comb sort can order by index.
class ISortable {
 public:
  virtual ~ISortable() = default;
  virtual int GetCount() = 0;
  // Sets after when element i must come after element j; false ends the sort.
  virtual bool Compare(int i, int j, bool& after) = 0;
  virtual bool Swap(int i, int j) = 0;
};

// Sorts a borrowed array of strings in case-insensitive byte order. An index outside the
// array raises std::invalid_argument.
class CSortableStringArray : public ISortable {
 public:
  explicit CSortableStringArray(std::vector<Korin::String>* strings) : strings_(strings) {}
  int GetCount() override;
  bool Compare(int i, int j, bool& after) override;
  bool Swap(int i, int j) override;

 private:
  Korin::String& At(int index);
  std::vector<Korin::String>* strings_;
};

// Comb sort with the shrink factor 10/13, where a gap of 9 or 10 becomes 11. Ascending;
// not stable (equal elements keep no guaranteed order). False when Compare or Swap fails.
bool CombSort(ISortable& items);

}  // namespace talmon
