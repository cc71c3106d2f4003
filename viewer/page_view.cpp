// Work off the UI thread uses a reader of its own (readers are used by one thread at a time)
// and hands its result back through a queued call on the view. Nobody waits for a worker: a
// cancelled merge of ten million rows would otherwise hold the window until it ends.

#include "viewer/page_view.h"

#include <QDesktopServices>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QUrl>
#include <QVBoxLayout>
#include <algorithm>
#include <cctype>
#include <mutex>
#include <thread>
#include <utility>

#include "talmon/session.h"

namespace talmon::viewer {

namespace {

// Rows between two looks at the cancel flag and two progress reports.
constexpr uint32_t kFindStride = 65536;

bool Contains(const std::string& haystack, const std::string& lowerNeedle) {
  auto it =
      std::search(haystack.begin(), haystack.end(), lowerNeedle.begin(), lowerNeedle.end(),
                  [](char a, char b) { return std::tolower(static_cast<unsigned char>(a)) == b; });
  return it != haystack.end();
}

void CloseReader(IMonitorReader* reader) {
  if (reader != nullptr) TalCloseMonitorReader(reader);
}

// A reader on its way from a worker to its view.
class OwnedReader {
 public:
  explicit OwnedReader(IMonitorReader* reader) : reader_(reader) {}
  ~OwnedReader() { CloseReader(reader_); }
  OwnedReader(const OwnedReader&) = delete;
  OwnedReader& operator=(const OwnedReader&) = delete;
  IMonitorReader* Release() { return std::exchange(reader_, nullptr); }

 private:
  IMonitorReader* reader_;
};

}  // namespace

std::string VisibleText(const char* row, uint32_t length) {
  std::string out;
  for (uint32_t i = 0; i < length && row[i] != '\0'; ++i) {
    const char c = row[i];
    if (c == ')') continue;
    if (c != '(') {
      out += c;
      continue;
    }
    // A tag's keyword and the blank after it are markup, not text.
    while (i + 1 < length && row[i + 1] != ' ' && row[i + 1] != ')' && row[i + 1] != '\0')
      ++i;
    if (i + 1 < length && row[i + 1] == ' ') ++i;
  }
  return out;
}

// What a worker shares with its view: whether the view still wants its results.
class PageView::Job {
 public:
  explicit Job(PageView* view) : view_(view) {}
  bool Cancelled() {
    std::lock_guard<std::mutex> lock(mutex_);
    return view_ == nullptr;
  }
  // From the view's thread: nothing is posted after this returns.
  void Cancel() {
    std::lock_guard<std::mutex> lock(mutex_);
    view_ = nullptr;
  }
  // From the worker: runs fn on the view's thread later, unless cancelled first. A call
  // posted before a cancel is dropped by Qt if the view is deleted before it runs.
  void Post(std::function<void(PageView&)> fn) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (view_ == nullptr) return;
    PageView* view = view_;
    QMetaObject::invokeMethod(
        view, [view, fn = std::move(fn)] { fn(*view); }, Qt::QueuedConnection);
  }

 private:
  std::mutex mutex_;
  PageView* view_;
};

PageView::PageView(ReaderFactory factory, bool follow, bool offThread, QWidget* parent)
    : QWidget(parent), factory_(std::move(factory)), follow_(follow) {
  control_ = new TalMonTextCtrl(this);
  control_->SetAutomat(this);
  control_->SetVerticalBar(std::make_unique<TalMonScrollBar>());
  control_->SetMarkers(this);
  busy_ = new QWidget(this);
  busyLabel_ = new QLabel(busy_);
  progress_ = new QProgressBar(busy_);
  cancel_ = new QPushButton(tr("Cancel"), busy_);
  auto* busyLayout = new QHBoxLayout(busy_);
  busyLayout->setContentsMargins(4, 2, 4, 2);
  busyLayout->addWidget(busyLabel_);
  busyLayout->addWidget(progress_, 1);
  busyLayout->addWidget(cancel_);
  busy_->hide();
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(0);
  layout->addWidget(busy_);
  layout->addWidget(control_, 1);
  connect(cancel_, &QPushButton::clicked, this, &PageView::Cancel);
  if (!offThread) {
    SetReader(factory_());
    return;
  }
  StartJob(tr("Merging pages"), [factory = factory_](Job& job) {
    // Closed with the last copy of the posted call unless the view took it: a call that never
    // runs (cancelled, or the view went first) closes it.
    auto owned = std::make_shared<OwnedReader>(factory());
    job.Post([owned](PageView& view) { view.SetReader(owned->Release()); });
  });
}

PageView::~PageView() {
  if (job_ != nullptr) job_->Cancel();
  control_->SetMonitor(nullptr);
  control_->SetMarkers(nullptr);
  CloseReader(reader_);
}

void PageView::SetReader(IMonitorReader* reader) {
  EndJob();
  CloseReader(reader_);
  reader_ = reader;
  control_->SetMonitor(reader_);
  if (reader_ == nullptr) {
    emit Message(tr("The view could not be opened."));
    return;
  }
  control_->Refresh(follow_);
  if (follow_) control_->OnVScroll(SB_BOTTOM);
}

void PageView::Refresh() {
  if (reader_ != nullptr) control_->Refresh(follow_);
}

void PageView::StartJob(const QString& what, std::function<void(Job&)> work) {
  Cancel();
  job_ = std::make_shared<Job>(this);
  busyLabel_->setText(what);
  progress_->setRange(0, 0);  // unknown length until the worker reports
  busy_->show();
  std::thread([job = job_, work = std::move(work)] { work(*job); }).detach();
}

void PageView::EndJob() {
  job_ = nullptr;
  busy_->hide();
}

void PageView::Cancel() {
  if (job_ == nullptr) return;
  job_->Cancel();
  EndJob();
  emit Message(tr("Cancelled."));
}

void PageView::Progress(int percent) {
  progress_->setRange(0, 100);
  progress_->setValue(percent);
}

void PageView::Find(const QString& text) {
  matches_.clear();
  control_->viewport()->update();
  if (text.isEmpty()) return;
  std::string needle = text.toLower().toStdString();
  StartJob(tr("Finding \"%1\"").arg(text), [factory = factory_, needle](Job& job) {
    std::vector<uint32_t> found;
    IMonitorReader* reader = factory();
    uint32_t count = 0;
    if (reader != nullptr) reader->GetCount(count);
    for (uint32_t row = 0; row < count; ++row) {
      const char* rowText = nullptr;
      uint32_t length = 0;
      if (reader->GetRow(row, rowText, length) && Contains(VisibleText(rowText, length), needle)) {
        found.push_back(row);
      }
      if (row % kFindStride == kFindStride - 1) {
        if (job.Cancelled()) break;
        const int percent = static_cast<int>(uint64_t{row} * 100 / count);
        job.Post([percent](PageView& view) { view.Progress(percent); });
      }
    }
    CloseReader(reader);
    job.Post([found = std::move(found)](PageView& view) mutable {
      view.EndJob();
      view.matches_ = std::move(found);
      view.control_->viewport()->update();
      emit view.Message(tr("%n matching row(s).", nullptr, static_cast<int>(view.matches_.size())));
    });
  });
}

bool PageView::JumpToMatch(bool backwards) {
  if (matches_.empty()) return false;
  const uint32_t top = static_cast<uint32_t>(std::max(control_->GetVerticalBar()->GetPos(), 0));
  uint32_t target;
  if (backwards) {
    auto it = std::lower_bound(matches_.begin(), matches_.end(), top);
    target = it == matches_.begin() ? matches_.back() : *(it - 1);
  } else {
    auto it = std::upper_bound(matches_.begin(), matches_.end(), top);
    target = it == matches_.end() ? matches_.front() : *it;
  }
  control_->OnVScroll(SB_THUMBPOSITION, static_cast<int32_t>(target));
  return true;
}

void PageView::OnLink(TalMonTextCtrl*, const char* target) {
  const QString t = QString::fromUtf8(target);
  const QUrl url = QFileInfo(t).isAbsolute() ? QUrl::fromLocalFile(t) : QUrl::fromUserInput(t);
  if (!url.isValid() || !QDesktopServices::openUrl(url)) {
    emit Message(tr("Cannot open the link %1.").arg(t));
  }
}

uint32_t PageView::GetMarkerCount() {
  uint32_t count = 0;
  if (reader_ != nullptr) reader_->GetCount(count);
  return matches_.empty() ? 0 : count;
}

bool PageView::GetMarkerColor(uint32_t index, TalMonColor& colour) {
  if (!std::binary_search(matches_.begin(), matches_.end(), index)) return false;
  colour = TalMonRGB(255, 140, 0);
  return true;
}

}  // namespace talmon::viewer
