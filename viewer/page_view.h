// One view of TalMonView: a text control over one reader (a page, or a session's pages
// merged), with find and its row markers, and a busy bar for work done off the UI thread (the
// first merge of a merged view, a find) that shows progress and can be cancelled. Lives on
// the Qt GUI thread.
#pragma once

#include <QWidget>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "talmon/monitor.h"
#include "talmon/scrollbar.h"
#include "talmon/text_ctrl.h"

class QLabel;
class QProgressBar;
class QPushButton;

namespace talmon::viewer {

// Opens a fresh reader of what the view shows, ready to read (a merged reader has merged).
// Called on a worker thread as well as the GUI thread; null when it cannot be opened. The
// reader is closed with TalCloseMonitorReader.
using ReaderFactory = std::function<IMonitorReader*()>;

class PageView : public QWidget, public IMonTextCtrlAutomat, public TalMonScrollMarkers {
  Q_OBJECT

 public:
  // offThread: the first reader is opened by a worker (a merge of many rows); otherwise at
  // once, on this thread (a page reader opens without reading its rows).
  PageView(ReaderFactory factory, bool follow, bool offThread, QWidget* parent = nullptr);
  ~PageView() override;

  // Reads new rows; a view at the end stays at the end (when following).
  void Refresh();
  // Starts a find of text (case ignored) over every row, off the UI thread; "" clears it.
  void Find(const QString& text);
  // Moves to the next (or previous) matching row after (before) the top row, wrapping
  // around; false when there is none.
  bool JumpToMatch(bool backwards);
  // Cancels the work in progress; a cancelled first merge leaves the view empty.
  void Cancel();

  TalMonTextCtrl* Control() const { return control_; }
  IMonitorReader* Reader() const { return reader_; }
  const std::vector<uint32_t>& Matches() const { return matches_; }
  bool Busy() const { return job_ != nullptr; }

  // IMonTextCtrlAutomat: file paths and URLs open with the desktop's handler.
  void OnLink(TalMonTextCtrl* control, const char* target) override;
  // TalMonScrollMarkers: one index per row, marked where find matched.
  uint32_t GetMarkerCount() override;
  bool GetMarkerColor(uint32_t index, TalMonColor& colour) override;

 signals:
  // A line for the status bar: what finished, failed or was cancelled.
  void Message(const QString& text);

 private:
  class Job;
  // Runs work on a thread of its own. The work reads through a reader of its own, and reaches
  // the view only through Job::Post; once the job is cancelled (or the view goes) nothing more
  // is posted, and the thread finishes on its own without waiting for anyone.
  void StartJob(const QString& what, std::function<void(Job&)> work);
  void EndJob();
  void SetReader(IMonitorReader* reader);
  void Progress(int percent);

  ReaderFactory factory_;
  bool follow_;
  IMonitorReader* reader_ = nullptr;
  TalMonTextCtrl* control_;
  QWidget* busy_;
  QLabel* busyLabel_;
  QProgressBar* progress_;
  QPushButton* cancel_;
  std::vector<uint32_t> matches_;  // ascending rows
  std::shared_ptr<Job> job_;       // the job under way; null when none
};

// The row as a viewer shows it, tags left out: "(bold Total: (error 3))" => "Total: 3". Used
// to match find text against what the user sees.
std::string VisibleText(const char* row, uint32_t length);

}  // namespace talmon::viewer
