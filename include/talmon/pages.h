// Page facades: a page without handling sessions. TalMonitorWriterPage writes into the
// process's own session, made on first use and closed when the library is unloaded;
// TalMonitorReaderPage reads a page of a session chosen beforehand. Facades are used from
// one thread at a time; copies share their monitors, which close with the last copy.
#pragma once

#include "talmon/export.h"
#include "talmon/monitor.h"

// Holds a session for its lifetime: the constructor creates a new session (with its
// "Play.TXT" marker), the destructor closes it.
class TALMON_EXPORT SessionDefiner {
 public:
  SessionDefiner();
  virtual ~SessionDefiner();
  SessionDefiner(const SessionDefiner&) = delete;
  SessionDefiner& operator=(const SessionDefiner&) = delete;

  // The session number; 0 when no session could be made.
  unsigned int GetSession() const { return session_; }

 private:
  unsigned int session_;
};

class TALMON_EXPORT TalMonitorWriterPage {
 public:
  // Opens a writer on page of the process-wide session, creating that session first when
  // there is none. Without a session, or when the page cannot be opened, the facade
  // writes into the null writer: everything succeeds and nothing is stored.
  explicit TalMonitorWriterPage(const char* page, bool deleteOnClose = true);
  TalMonitorWriterPage(const TalMonitorWriterPage& other);
  TalMonitorWriterPage& operator=(const TalMonitorWriterPage& other);
  // The last copy closes the reader (when made), then the writer.
  virtual ~TalMonitorWriterPage();

  operator IMonitorWriter&();  // NOLINT: converts for the trace stream
  // A reader on the writer's files, made at the first conversion; it sees what the writer
  // flushed. Without a writer: the null reader.
  operator IMonitorReader&();  // NOLINT

  // The process-wide session's number; 0 before the first writer page or without one.
  static unsigned int GetSession();
  // TalMonitorDoEvents for that session: true to go on, false to stop.
  static int DoEvents();

 private:
  struct Shared;
  // Drops this copy's share; the last one closes the monitors.
  void Release();
  Shared* shared_;
};

class TALMON_EXPORT TalMonitorReaderPage {
 public:
  // The session whose pages later reader pages open; 0 (the default): the last session.
  static void SetSession(unsigned int session);

  // Opens a reader on page of that session; a page that does not exist yet is read once
  // it appears. A refused page name reads as the null reader.
  explicit TalMonitorReaderPage(const char* page);
  TalMonitorReaderPage(const TalMonitorReaderPage& other);
  TalMonitorReaderPage& operator=(const TalMonitorReaderPage& other);
  virtual ~TalMonitorReaderPage();

  operator IMonitorReader&();  // NOLINT

 private:
  struct Shared;
  // Drops this copy's share; the last one closes the monitors.
  void Release();
  Shared* shared_;
};
