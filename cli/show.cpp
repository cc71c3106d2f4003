// `talmon show`: one page, a session's pages in order, or all of them merged in write order,
// printed once or followed live.
#include "cli/show.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "cli/commands.h"
#include "cli/common.h"
#include "cli/os.h"
#include "talmon/readers.h"
#include "talmon/row_batch.h"
#include "talmon/session.h"

namespace talmon::cli {

// The rows of one block, read once: the layout reads every row in each of its two passes, and
// a page reader goes to its files at every read. The texts sit end to end in one buffer that
// the next block reuses, so a block costs no allocation once the first has grown it.
class RowPrinter::Block : public IMonitorReader {
 public:
  // Reads rows [first, first + count) of reader, up to the first it cannot give.
  void Read(IMonitorReader& reader, uint32_t first, uint32_t count) {
    text_.clear();
    starts_.clear();
    batch_.Read(reader, first, count);
    for (uint32_t i = 0; i < batch_.Size(); ++i) {
      // A row ends at its first zero byte, whatever length says: that is all the layout reads.
      const char* text = batch_.Text(i);
      starts_.push_back(text_.size());
      text_.append(text, std::strlen(text));
      text_.push_back('\0');
    }
  }
  bool GetCount(uint32_t& count) override {
    count = static_cast<uint32_t>(starts_.size());
    return true;
  }
  bool GetRow(uint32_t row, const char*& text, uint32_t& length) override {
    if (row >= starts_.size()) return false;
    const size_t end = row + 1 < starts_.size() ? starts_[row + 1] : text_.size();
    text = text_.data() + starts_[row];
    length = static_cast<uint32_t>(end - starts_[row] - 1);
    return true;
  }

 private:
  TalMonitorRowBatch batch_;
  std::string text_;            // each row's text and its zero byte
  std::vector<size_t> starts_;  // where each row starts in text_
};

RowPrinter::RowPrinter(std::FILE* out, const TalMonTerminalOptions& options)
    : out_(out),
      options_(options),
      block_(std::make_unique<Block>()),
      device_(std::make_unique<TalMonTerminalDevice>(options)) {}

RowPrinter::~RowPrinter() = default;

void RowPrinter::SetColumns(uint32_t columns) {
  if (columns == options_.columns) return;
  options_.columns = columns;
  device_ = std::make_unique<TalMonTerminalDevice>(options_);
}

uint32_t RowPrinter::Print(IMonitorReader& reader, uint32_t first, uint32_t end) {
  uint32_t printed = 0;
  for (uint32_t row = first; row < end; row += kBlockRows) {
    const uint32_t count = std::min(kBlockRows, end - row);
    block_->Read(reader, row, count);
    TalMonRenderTerminal(*block_, 0, count, *device_, lines_);
    for (const std::string& line : lines_) {
      std::fwrite(line.data(), 1, line.size(), out_);
      std::putc('\n', out_);
    }
    printed += static_cast<uint32_t>(lines_.size());
    if (lines_.size() < count) break;
  }
  return printed;
}

bool RowFollower::Step(IMonitorReader& reader) {
  uint32_t count = 0;
  if (!reader.GetCount(count)) count = 0;
  // The first row whose text differs from what was printed, or printed_ when none does.
  uint32_t changed = printed_;
  const uint32_t windowStart = printed_ - static_cast<uint32_t>(window_.size());
  for (uint32_t row = windowStart; row < std::min(count, printed_); ++row) {
    const char* text = nullptr;
    uint32_t length = 0;
    if (!reader.GetRow(row, text, length) || window_[row - windowStart] != text) {
      changed = row;
      break;
    }
  }
  if (count < printed_) changed = std::min(changed, count);
  if (changed == printed_ && count == printed_) return false;

  uint32_t from = changed;
  if (redraw_ && windowStart < printed_) {
    // The whole window is drawn again, so that its rows share their tab columns: back to its
    // first row and clear everything below.
    from = windowStart;
    std::fprintf(out_, "\x1b[%uA\r\x1b[J", printed_ - from);
  }
  const uint32_t shown = printer_.Print(reader, from, count);
  printed_ = from + shown;

  window_.clear();
  const uint32_t keep = std::min(windowRows_, printed_);
  for (uint32_t row = printed_ - keep; row < printed_; ++row) {
    const char* text = nullptr;
    uint32_t length = 0;
    window_.emplace_back(reader.GetRow(row, text, length) ? text : "");
  }
  std::fflush(out_);
  return true;
}

namespace {

constexpr uint32_t kPipeColumns = 160;
// While rows keep coming, Steps are at least this far apart: each one reads the window again
// (and the merged reader merges all pages again), and a row still shows within 10 ms.
constexpr auto kMinStepInterval = std::chrono::milliseconds(4);
// A wake-up even without a change in the directory, in case a change was missed.
constexpr int kIdleWaitMs = 250;
// Once the session has stopped: how long to wait for last rows before ending.
constexpr int kStoppedWaitMs = 30;

enum class Mode { kPage, kPages, kMerged };

// Where the rows come from; Refresh looks again for new pages and rows.
class RowSource {
 public:
  virtual ~RowSource() = default;
  virtual IMonitorReader& Reader() = 0;
  virtual void Refresh() = 0;
};

class PageSource : public RowSource {
 public:
  explicit PageSource(IMonitorReader* reader) : reader_(reader) {}
  ~PageSource() override { TalCloseMonitorReader(reader_); }
  IMonitorReader& Reader() override { return *reader_; }
  void Refresh() override {}  // a page reader reads its header at every count

 private:
  IMonitorReader* reader_;
};

// The session's pages one after another. The activity markers match the pattern "*" too; they
// are empty files without row files and so add no rows.
class PagesSource : public RowSource {
 public:
  explicit PagesSource(unsigned int session) {
    TalOpenMonitorReaderPageOrder(session, "*", &reader_);
  }
  ~PagesSource() override { TalCloseMonitorReader(reader_); }
  IMonitorReader& Reader() override { return *reader_; }
  void Refresh() override { reader_->Update(); }

 private:
  TalMonitorReaderPageOrder* reader_ = nullptr;
};

// All pages merged in write order; pages that appear later join at the next Refresh.
class MergedSource : public RowSource {
 public:
  explicit MergedSource(unsigned int session) : session_(session) {
    TalOpenMonitorReaderTime(session, &reader_);
  }
  ~MergedSource() override { TalCloseMonitorReader(reader_); }
  IMonitorReader& Reader() override { return *reader_; }
  void Refresh() override {
    for (const std::string& page : ListPages(session_)) {
      if (std::find(pages_.begin(), pages_.end(), page) != pages_.end()) continue;
      IMonitorReader* pageReader = nullptr;
      if (TalOpenMonitorReader(session_, page.c_str(), &pageReader) &&
          reader_->AddReader(pageReader)) {
        pages_.push_back(page);
      } else {
        TalCloseMonitorReader(pageReader);
      }
    }
    reader_->Update();
  }

 private:
  unsigned int session_;
  TalMonitorReaderTime* reader_ = nullptr;
  std::vector<std::string> pages_;
};

const char kShowHelp[] =
    "Usage: talmon show [-f] [--merged | --pages] [--color=WHEN] [--width=N] [SESSION] [PAGE]\n"
    "\n"
    "Prints the rows of a session: one PAGE, or without PAGE all its pages merged in the\n"
    "order their rows were written (--merged, the default) or one page after another\n"
    "(--pages). SESSION defaults to the last session; a single argument that is not a number\n"
    "is a page of the last session.\n"
    "\n"
    "  -f, --follow     keep printing new rows until the session stops (or Ctrl-C); on a\n"
    "                   terminal, rows replaced by the producer are redrawn in place\n"
    "  --merged         all pages in write order\n"
    "  --pages          all pages, one after another\n"
    "  --color=WHEN     auto (default: on a terminal unless NO_COLOR is set), always, never\n"
    "  --width=N        cells per line (default: the terminal's width, else $COLUMNS, else "
    "160)\n";

uint32_t ChooseColumns(const std::string& width, bool terminal) {
  long value = 0;
  if (!width.empty() && ParseNumber(width, 1, 65535, value)) return static_cast<uint32_t>(value);
  uint32_t columns = 0, rows = 0;
  // One cell less than the terminal has: a line that fills the last cell would leave the
  // cursor waiting to wrap, and redrawing counts on one line per row.
  if (terminal && os::TerminalSize(1, columns, rows)) return columns > 1 ? columns - 1 : 1;
  std::string env;
  if (os::GetEnv("COLUMNS", env) && ParseNumber(env, 1, 65535, value)) {
    return static_cast<uint32_t>(value);
  }
  return kPipeColumns;
}

uint32_t ChooseWindow(bool terminal) {
  uint32_t columns = 0, rows = 0;
  if (terminal && os::TerminalSize(1, columns, rows) && rows > 1) return std::min(rows - 1, 200u);
  return terminal ? 23 : 32;
}

int Follow(RowSource& source, unsigned int session, RowPrinter& printer, bool terminal,
           const std::string& width) {
  os::CatchInterrupts();
  os::DirectoryWatch watch;
  // Without a watch the idle wake-up still notices changes, only later.
  watch.Open(DataDirectory());
  RowFollower follower(printer, stdout, terminal);
  follower.SetWindow(ChooseWindow(terminal));
  bool stopped = false;
  auto lastStep = std::chrono::steady_clock::now() - kMinStepInterval;
  for (;;) {
    if (os::TakeInterrupt() != 0) return 130;
    const auto now = std::chrono::steady_clock::now();
    if (now - lastStep < kMinStepInterval)
      std::this_thread::sleep_for(lastStep + kMinStepInterval - now);
    lastStep = std::chrono::steady_clock::now();
    if (terminal) {
      printer.SetColumns(ChooseColumns(width, true));
      follower.SetWindow(ChooseWindow(true));
    }
    // The activity is read before the rows: rows flushed before the stop are then certain to
    // be read by this Step or the next.
    unsigned int activity = kTalMonStopped;
    TalMonitorGetActivity(session, &activity);
    source.Refresh();
    const bool changed = follower.Step(source.Reader());
    if (stopped && !changed) return kExitOk;
    stopped = activity == kTalMonStopped;
    std::vector<bool> ready;
    os::Poll({watch.Fd()}, stopped ? kStoppedWaitMs : kIdleWaitMs, ready);
    watch.Drain();
  }
}

}  // namespace

int CommandShow(const Args& args) {
  Arguments a;
  int code = kExitOk;
  if (!ParseCommandLine("show", args,
                        {{"follow", 'f', false},
                         {"merged", 0, false},
                         {"pages", 0, false},
                         {"color", 0, true},
                         {"colour", 0, true},
                         {"width", 0, true}},
                        kShowHelp, a, code)) {
    return code;
  }
  const auto& words = a.Positional();
  if (words.size() > 2) return UsageError("show", "too many arguments");
  if (a.Has("merged") && a.Has("pages")) {
    return UsageError("show", "--merged and --pages exclude each other");
  }
  const std::string colour = a.Value("color", a.Value("colour", "auto"));
  if (colour != "auto" && colour != "always" && colour != "never") {
    return UsageError("show", "--color must be auto, always or never, not '" + colour + "'");
  }
  long ignored = 0;
  const std::string width = a.Value("width", "");
  if (a.Has("width") && !ParseNumber(width, 1, 65535, ignored)) {
    return UsageError("show", "--width must be a number from 1 to 65535");
  }

  // SESSION PAGE, SESSION, or PAGE (of the last session).
  Args sessionWord;
  std::string page;
  if (words.size() == 2) {
    sessionWord.push_back(words[0]);
    page = words[1];
  } else if (words.size() == 1) {
    if (words[0].find_first_not_of("0123456789") == std::string::npos) {
      sessionWord.push_back(words[0]);
    } else {
      page = words[0];
    }
  }
  if (words.size() == 2 && page.empty()) return UsageError("show", "the page name is empty");
  const bool hasPage = !page.empty();
  if (hasPage && (a.Has("merged") || a.Has("pages"))) {
    return UsageError("show", "--merged and --pages show all pages; give no PAGE with them");
  }
  unsigned int session = 0;
  if ((code = ChooseSession("show", sessionWord, 0, session)) != kExitOk) return code;
  const bool follow = a.Has("follow");
  if (hasPage && !follow) {
    const std::vector<std::string> pages = ListPages(session);
    if (std::find(pages.begin(), pages.end(), page) == pages.end()) {
      return Fail("session " + std::to_string(session) + " has no page '" + page + "'");
    }
  }

  std::unique_ptr<RowSource> source;
  if (hasPage) {
    IMonitorReader* reader = nullptr;
    if (!TalOpenMonitorReader(session, page.c_str(), &reader) || reader == nullptr) {
      return Fail("cannot read page '" + page + "' of session " + std::to_string(session));
    }
    source = std::make_unique<PageSource>(reader);
  } else if (a.Has("pages")) {
    source = std::make_unique<PagesSource>(session);
  } else {
    source = std::make_unique<MergedSource>(session);
  }

  const bool terminal = os::IsTerminal(1);
  std::string noColour;
  // NO_COLOR set to anything but the empty string turns colour off.
  const bool colourAllowed = !os::GetEnv("NO_COLOR", noColour) || noColour.empty();
  TalMonTerminalOptions options;
  options.colour = colour == "always" || (colour == "auto" && terminal && colourAllowed);
  options.hyperlinks = options.colour;
  options.columns = ChooseColumns(width, terminal);
  static char buffer[1 << 16];
  std::setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
  RowPrinter printer(stdout, options);

  if (follow) return Follow(*source, session, printer, terminal, width);
  source->Refresh();
  uint32_t count = 0;
  source->Reader().GetCount(count);
  printer.Print(source->Reader(), 0, count);
  std::fflush(stdout);
  return kExitOk;
}

}  // namespace talmon::cli
