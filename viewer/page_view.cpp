// Work off the UI thread uses a reader of its own (readers are used by one thread at a time)
// and hands its result back through a queued call on the view, which Qt drops if the view is
// gone; the view joins its worker before it goes, so no worker outlives it.

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
  StartJob(tr("Merging pages"), [this] {
    IMonitorReader* reader = factory_();
    if (cancelled_) {
      CloseReader(reader);
      return;
    }
    QMetaObject::invokeMethod(
        this, [this, reader] { SetReader(reader); }, Qt::QueuedConnection);
  });
}

PageView::~PageView() {
  cancelled_ = true;
  if (job_.joinable()) job_.join();
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

void PageView::StartJob(const QString& what, std::function<void()> work) {
  Cancel();
  cancelled_ = false;
  busyLabel_->setText(what);
  progress_->setRange(0, 0);  // unknown length until the worker reports
  busy_->show();
  job_ = std::thread(std::move(work));
}

void PageView::EndJob() {
  if (job_.joinable()) job_.join();
  busy_->hide();
}

void PageView::Cancel() {
  if (!job_.joinable()) return;
  cancelled_ = true;
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
  StartJob(tr("Finding \"%1\"").arg(text), [this, needle] {
    std::vector<uint32_t> found;
    IMonitorReader* reader = factory_();
    uint32_t count = 0;
    if (reader != nullptr) reader->GetCount(count);
    for (uint32_t row = 0; row < count && !cancelled_; ++row) {
      const char* rowText = nullptr;
      uint32_t length = 0;
      if (reader->GetRow(row, rowText, length) && Contains(VisibleText(rowText, length), needle)) {
        found.push_back(row);
      }
      if (row % kFindStride == kFindStride - 1) {
        const int percent = static_cast<int>(uint64_t{row} * 100 / count);
        QMetaObject::invokeMethod(
            this, [this, percent] { Progress(percent); }, Qt::QueuedConnection);
      }
    }
    CloseReader(reader);
    if (cancelled_) return;
    QMetaObject::invokeMethod(
        this,
        [this, found = std::move(found)]() mutable {
          EndJob();
          matches_ = std::move(found);
          control_->viewport()->update();
          emit Message(tr("%n matching row(s).", nullptr, static_cast<int>(matches_.size())));
        },
        Qt::QueuedConnection);
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
