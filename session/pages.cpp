// The page facades and the process-wide session behind TalMonitorWriterPage.
#include "talmon/pages.h"

#include "core/file.h"
#include "storage/page.h"
#include "talmon/session.h"

namespace {

// The session of the process's writer pages: made by the first writer page, closed when
// the library is unloaded, and only by the process that made it (a forked child that
// exits must not end its parent's session).
struct ProcessSession {
  SessionDefiner* definer = nullptr;
  uint32_t owner = 0;
  ~ProcessSession() {
    if (definer != nullptr && owner == Korin_GetCurrentProcessId()) delete definer;
  }
};
ProcessSession gProcessSession;

unsigned int gReaderSession = 0;

SessionDefiner& ProcessSessionDefiner() {
  if (gProcessSession.definer == nullptr) {
    gProcessSession.definer = new SessionDefiner;
    gProcessSession.owner = Korin_GetCurrentProcessId();
  }
  return *gProcessSession.definer;
}

}  // namespace

SessionDefiner::SessionDefiner() : session_(0) {
  if (!TalCreateMonitorSession(&session_)) session_ = 0;
}

SessionDefiner::~SessionDefiner() {
  // Closing session 0 would close the last session, which is somebody else's.
  if (session_ != 0) TalCloseMonitorSession(session_);
}

// ---- TalMonitorWriterPage -------------------------------------------------------------

struct TalMonitorWriterPage::Shared {
  unsigned int copies = 1;
  TalMonitorBase* writer = nullptr;
  TalMonitorBase* reader = nullptr;
};

TalMonitorWriterPage::TalMonitorWriterPage(const char* page, bool deleteOnClose)
    : shared_(new Shared) {
  const unsigned int session = ProcessSessionDefiner().GetSession();
  if (session == 0) return;
  IMonitorWriter* writer = nullptr;
  if (TalOpenMonitorWriter(session, page, deleteOnClose, &writer)) {
    // TalOpenMonitorWriter hands out a page file monitor.
    shared_->writer = static_cast<TalMonitorBase*>(writer);
  }
}

TalMonitorWriterPage::TalMonitorWriterPage(const TalMonitorWriterPage& other)
    : shared_(other.shared_) {
  ++shared_->copies;
}

TalMonitorWriterPage& TalMonitorWriterPage::operator=(const TalMonitorWriterPage& other) {
  if (shared_ == other.shared_) return *this;
  ++other.shared_->copies;
  Release();
  shared_ = other.shared_;
  return *this;
}

TalMonitorWriterPage::~TalMonitorWriterPage() {
  Release();
}

void TalMonitorWriterPage::Release() {
  if (--shared_->copies != 0) return;
  if (shared_->reader != nullptr) TalCloseMonitorReader(shared_->reader);
  if (shared_->writer != nullptr) TalCloseMonitorWriter(shared_->writer);
  delete shared_;
}

TalMonitorWriterPage::operator IMonitorWriter&() {
  if (shared_->writer == nullptr) return MonitorWriterNull::Instance();
  return *shared_->writer;
}

TalMonitorWriterPage::operator IMonitorReader&() {
  if (shared_->writer == nullptr) return MonitorReaderNull::Instance();
  if (shared_->reader == nullptr) {
    auto* reader = new TalMonitorBase;
    reader->SetFilePaths(shared_->writer->GetTextPath(), shared_->writer->GetRowPath());
    reader->SetWriter(false);
    reader->Open();
    shared_->reader = reader;
  }
  return *shared_->reader;
}

unsigned int TalMonitorWriterPage::GetSession() {
  return gProcessSession.definer != nullptr ? gProcessSession.definer->GetSession() : 0;
}

int TalMonitorWriterPage::DoEvents() {
  return TalMonitorDoEvents(GetSession()) ? 1 : 0;
}

// ---- TalMonitorReaderPage -------------------------------------------------------------

struct TalMonitorReaderPage::Shared {
  unsigned int copies = 1;
  IMonitorReader* reader = nullptr;
};

void TalMonitorReaderPage::SetSession(unsigned int session) {
  gReaderSession = session;
}

TalMonitorReaderPage::TalMonitorReaderPage(const char* page) : shared_(new Shared) {
  IMonitorReader* reader = nullptr;
  if (TalOpenMonitorReader(gReaderSession, page, &reader)) shared_->reader = reader;
}

TalMonitorReaderPage::TalMonitorReaderPage(const TalMonitorReaderPage& other)
    : shared_(other.shared_) {
  ++shared_->copies;
}

TalMonitorReaderPage& TalMonitorReaderPage::operator=(const TalMonitorReaderPage& other) {
  if (shared_ == other.shared_) return *this;
  ++other.shared_->copies;
  Release();
  shared_ = other.shared_;
  return *this;
}

TalMonitorReaderPage::~TalMonitorReaderPage() {
  Release();
}

void TalMonitorReaderPage::Release() {
  if (--shared_->copies != 0) return;
  TalCloseMonitorReader(shared_->reader);
  delete shared_;
}

TalMonitorReaderPage::operator IMonitorReader&() {
  if (shared_->reader == nullptr) return MonitorReaderNull::Instance();
  return *shared_->reader;
}
