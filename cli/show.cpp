// `talmon show`: one page, a session's pages in order, or all of them merged in write order,
// printed once or followed live.
#include "cli/show.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "cli/commands.h"
#include "cli/common.h"
#include "cli/os.h"
#include "talmon/korin_string.h"
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
    Clear();
    batch_.Read(reader, first, count);
    for (uint32_t i = 0; i < batch_.Size(); ++i)
      Append(batch_.Text(i));
  }
  // Takes rows [first, first + count) of rows.
  void Assign(const std::vector<std::string>& rows, size_t first, size_t count) {
    Clear();
    for (size_t row = first; row < first + count; ++row)
      Append(rows[row].c_str());
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
  void Clear() {
    text_.clear();
    starts_.clear();
  }
  // A row ends at its first zero byte, whatever a length says: that is all the layout reads.
  void Append(const char* text) {
    starts_.push_back(text_.size());
    text_.append(text, std::strlen(text));
    text_.push_back('\0');
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
    const uint32_t lines = PrintBlock(count);
    printed += lines;
    if (lines < count) break;
  }
  return printed;
}

void RowPrinter::Print(const std::vector<std::string>& rows) {
  for (size_t row = 0; row < rows.size(); row += kBlockRows) {
    const uint32_t count = static_cast<uint32_t>(std::min<size_t>(kBlockRows, rows.size() - row));
    block_->Assign(rows, row, count);
    PrintBlock(count);
  }
}

uint32_t RowPrinter::PrintBlock(uint32_t count) {
  TalMonRenderTerminal(*block_, 0, count, *device_, lines_);
  for (const std::string& line : lines_) {
    std::fwrite(line.data(), 1, line.size(), out_);
    std::putc('\n', out_);
  }
  return static_cast<uint32_t>(lines_.size());
}

// One followed page: its reader, how many of its rows were printed, and the texts of the last
// of them as printed.
struct PageFollower::Page {
  Page(const std::string& n, IMonitorReader* r) : name(n), reader(r) {}
  ~Page() { TalCloseMonitorReader(reader); }
  Page(const Page&) = delete;
  Page& operator=(const Page&) = delete;

  std::string name;
  IMonitorReader* reader;
  uint32_t printed = 0;
  std::deque<std::string> window;  // texts of rows [printed - size, printed)
};

PageFollower::~PageFollower() = default;

bool PageFollower::Add(const std::string& page, IMonitorReader* reader) {
  if (std::find(names_.begin(), names_.end(), page) != names_.end()) {
    TalCloseMonitorReader(reader);
    return false;
  }
  pages_.push_back(std::make_unique<Page>(page, reader));
  names_.push_back(page);
  return true;
}

uint32_t PageFollower::Collect(size_t index, bool final, std::vector<Row>& rows, bool& more) {
  Page& page = *pages_[index];
  uint32_t count = 0;
  if (!page.reader->GetCount(count)) count = 0;
  const uint32_t windowStart = page.printed - static_cast<uint32_t>(page.window.size());
  // The window and the rows that may be new, in one batch read.
  const uint32_t needed =
      std::min<uint64_t>(count, uint64_t{page.printed} + kStepRows) > windowStart
          ? static_cast<uint32_t>(std::min<uint64_t>(count, uint64_t{page.printed} + kStepRows)) -
                windowStart
          : 0;
  batch_.Read(*page.reader, windowStart, needed);
  // A row the page cannot give (a corrupt or over-long row) counts as changed and ends its
  // part of this Step.
  auto given = [&](uint32_t row) { return row - windowStart < batch_.Size(); };
  uint32_t from = page.printed;
  for (uint32_t row = windowStart; row < std::min(count, page.printed); ++row) {
    if (!given(row) || page.window[row - windowStart] != batch_.Text(row - windowStart)) {
      from = row;
      break;
    }
  }
  if (count < page.printed) from = std::min(from, count);
  const uint32_t end = count > from && count - from > kStepRows ? from + kStepRows : count;
  page.window.resize(from > windowStart ? std::min<size_t>(from - windowStart, page.window.size())
                                        : 0);
  page.printed = from;
  // Stamps only order rows of different pages.
  const bool stamps = order_ == Order::kStamp && pages_.size() > 1;
  const size_t first = rows.size();
  for (uint32_t row = from; row < end && given(row); ++row) {
    const char* text = batch_.Text(row - windowStart);
    if (text[0] == '\0' && row + 1 == count && !final) break;
    rows.push_back(Row{stamps ? batch_.Stamp(row - windowStart) : 0, index, row, text});
    ++page.printed;
  }
  // Rows are left when the Step stopped at its share, not at a row the page cannot give.
  if (page.printed == end && end < count) more = true;
  // The window keeps the last rows as printed, whichever Step printed them.
  const size_t taken = rows.size() - first;
  for (size_t i = first + (taken > windowRows_ ? taken - windowRows_ : 0); i < rows.size(); ++i)
    page.window.push_back(rows[i].text);
  while (page.window.size() > windowRows_)
    page.window.pop_front();
  return from;
}

void PageFollower::Redraw(size_t page, uint32_t row) {
  if (!redraw_) return;
  auto changed = [&](const std::pair<size_t, uint32_t>& line) {
    return line.first == page && line.second >= row;
  };
  size_t first = shown_.size();
  while (first > 0 && changed(shown_[first - 1]))
    --first;
  if (first == shown_.size()) return;
  // Lines of other pages printed below some of the changed ones: those stay, and the
  // changed rows are printed again below.
  for (size_t i = 0; i < first; ++i) {
    if (changed(shown_[i])) return;
  }
  std::fprintf(out_, "\x1b[%zuA\r\x1b[J", shown_.size() - first);
  shown_.erase(shown_.begin() + static_cast<long>(first), shown_.end());
}

void PageFollower::StartAtTail(uint32_t tail) {
  std::vector<uint32_t> counts(pages_.size(), 0);
  for (size_t i = 0; i < pages_.size(); ++i)
    pages_[i]->reader->GetCount(counts[i]);
  std::vector<uint32_t> starts = counts;
  if (order_ == Order::kPageName) {
    std::vector<size_t> byName(pages_.size());
    for (size_t i = 0; i < byName.size(); ++i)
      byName[i] = i;
    std::stable_sort(byName.begin(), byName.end(),
                     [this](size_t a, size_t b) { return NameBefore(a, b); });
    for (auto page = byName.rbegin(); page != byName.rend() && tail > 0; ++page) {
      const uint32_t take = std::min(tail, counts[*page]);
      starts[*page] = counts[*page] - take;
      tail -= take;
    }
  } else {
    // The view's last rows are the last by (stamp, page) of each page's own last rows.
    std::vector<Row> last;
    for (size_t i = 0; i < pages_.size(); ++i) {
      const uint32_t first = counts[i] - std::min(tail, counts[i]);
      batch_.Read(*pages_[i]->reader, first, counts[i] - first);
      for (uint32_t k = 0; k < batch_.Size(); ++k)
        last.push_back(Row{batch_.Stamp(k), i, first + k, std::string()});
    }
    Sort(last);
    for (size_t k = last.size() > tail ? last.size() - tail : 0; k < last.size(); ++k)
      starts[last[k].page] = std::min(starts[last[k].page], last[k].row);
  }
  for (size_t i = 0; i < pages_.size(); ++i) {
    pages_[i]->printed = starts[i];
    pages_[i]->window.clear();
  }
}

bool PageFollower::NameBefore(size_t a, size_t b) const {
  const int names =
      Korin::String(names_[a].c_str()).compareIgnoreCase(Korin::String(names_[b].c_str()));
  return names != 0 ? names < 0 : a < b;
}

void PageFollower::Sort(std::vector<Row>& rows) const {
  if (order_ == Order::kStamp) {
    // Equal stamps (pages of different processes) in the order the pages were added.
    std::stable_sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) {
      return a.stamp != b.stamp ? a.stamp < b.stamp : a.page < b.page;
    });
    return;
  }
  std::stable_sort(rows.begin(), rows.end(),
                   [this](const Row& a, const Row& b) { return NameBefore(a.page, b.page); });
}

void PageFollower::Print(std::vector<Row>& rows) {
  std::vector<std::string> texts;
  texts.reserve(rows.size());
  for (Row& row : rows) {
    texts.push_back(std::move(row.text));
    shown_.emplace_back(row.page, row.row);
  }
  while (shown_.size() > windowRows_)
    shown_.pop_front();
  printer_.Print(texts);
}

bool PageFollower::Step(bool final, bool& more) {
  more = false;
  std::vector<Row> rows;
  bool changed = false;
  for (size_t i = 0; i < pages_.size(); ++i) {
    const uint32_t printed = pages_[i]->printed;
    const uint32_t from = Collect(i, final, rows, more);
    if (from < printed) {
      changed = true;
      Redraw(i, from);
    }
  }
  if (rows.empty() && !changed) return false;
  Sort(rows);
  Print(rows);
  std::fflush(out_);
  return true;
}

namespace {

constexpr uint32_t kPipeColumns = 160;
// The tail of a view that is all of it: no -n.
constexpr uint32_t kAllRows = 0xFFFFFFFFu;
// A wake-up even without a change in the directory, in case a change was missed.
constexpr int kIdleWaitMs = 250;

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
    "Usage: talmon show [-f] [-n N] [--merged | --pages] [--color=WHEN] [--width=N] [SESSION]\n"
    "                   [PAGE]\n"
    "\n"
    "Prints the rows of a session: one PAGE, or without PAGE all its pages merged in the\n"
    "order their rows were written (--merged, the default) or one page after another\n"
    "(--pages). SESSION defaults to the last session; a single argument that is not a number\n"
    "is a page of the last session.\n"
    "\n"
    "  -f, --follow     keep printing new rows until the session stops (or Ctrl-C); on a\n"
    "                   terminal, rows replaced by the producer are redrawn in place\n"
    "  -n, --tail=N     only the last N rows (then, with -f, what follows); merged, the last\n"
    "                   N by write order of the pages' own last N rows\n"
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

// Whether a writer still holds a page of the session: one that joined a stopped session
// (write -s) keeps the follower going.
bool AnyPageHeld(const TalMonSessionInfo& info) {
  for (const TalMonPageInfo& page : info.pages) {
    if (page.held) return true;
  }
  return false;
}

// Starts following the pages of the session that are new (all of them, or only page).
void AddPages(PageFollower& follower, unsigned int session, const std::string& page,
              const std::vector<std::string>& pages) {
  for (const std::string& name : pages) {
    if ((!page.empty() && name != page) ||
        std::find(follower.Pages().begin(), follower.Pages().end(), name) !=
            follower.Pages().end()) {
      continue;
    }
    IMonitorReader* reader = nullptr;
    if (TalOpenMonitorReader(session, name.c_str(), &reader)) follower.Add(name, reader);
  }
}

// Prints the rows of the session's pages (or of page) as they arrive, until no producer plays
// or pauses the session, no writer holds any of its pages, and every row they can give is
// printed. A Step follows every wake-up at once, with no pause in between, and prints before
// anything else is looked at: a flushed row is out as soon as the change reaches the
// process's watch of the data directory. The changes that came meanwhile are taken together,
// so a burst of flushes costs one Step. The activity and the writers are looked at after the
// rows, and one more Step follows the last look: whatever was flushed before the last of them
// let go is read by it.
int Follow(unsigned int session, const std::string& page, PageFollower::Order order, uint32_t tail,
           RowPrinter& printer, bool terminal, const std::string& width) {
  os::CatchInterrupts();
  // Without a watch the idle wake-up still notices changes, only later.
  const int watch = TalMonitorGetChangeDescriptor();
  PageFollower follower(printer, stdout, terminal, order);
  IMonitorReader* reader = nullptr;
  // A page that is not there yet is read as soon as it appears.
  if (!page.empty() && TalOpenMonitorReader(session, page.c_str(), &reader)) {
    follower.Add(page, reader);
  }
  AddPages(follower, session, page, ListPages(session));
  if (tail != kAllRows) follower.StartAtTail(tail);
  bool more = false;
  for (;;) {
    if (os::TakeInterrupt() != 0) return 130;
    if (terminal) {
      printer.SetColumns(ChooseColumns(width, true));
      follower.SetWindow(ChooseWindow(true));
    }
    const bool printed = follower.Step(false, more);
    unsigned int activity = kTalMonStopped;
    TalMonitorGetActivity(session, &activity);
    // One listing gives both the pages and whether a writer holds one.
    TalMonSessionInfo info;
    TalMonGetSessionInfo(session, info);
    const size_t followed = follower.Pages().size();
    AddPages(follower, session, page, PageNames(info));
    const bool live = activity != kTalMonStopped || AnyPageHeld(info);
    if (!printed && !live && !more) {
      follower.Step(true, more);
      return kExitOk;
    }
    // Rows left over from the last Step, and new pages, are taken at once.
    if (more || follower.Pages().size() != followed) continue;
    std::vector<bool> ready;
    os::Poll({watch}, kIdleWaitMs, ready);
    TalWaitMonitorChange(0);
  }
}

// The last rows of the merged view: every page's own last rows, put in write order, of
// which the last are printed; no page is read further back.
int PrintMergedTail(unsigned int session, uint32_t tail, RowPrinter& printer) {
  PageFollower follower(printer, stdout, false, PageFollower::Order::kStamp);
  AddPages(follower, session, "", ListPages(session));
  follower.StartAtTail(tail);
  for (bool more = true; more;)
    follower.Step(true, more);
  std::fflush(stdout);
  return kExitOk;
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
                         {"width", 0, true},
                         {"tail", 'n', true}},
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
  long tailRows = kAllRows;
  if (a.Has("tail") && !ParseNumber(a.Value("tail", ""), 0, kAllRows - 1, tailRows)) {
    return UsageError("show",
                      "-n must be a number of rows from 0 to " + std::to_string(kAllRows - 1));
  }
  const auto tail = static_cast<uint32_t>(tailRows);

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

  if (follow) {
    const auto order =
        a.Has("pages") ? PageFollower::Order::kPageName : PageFollower::Order::kStamp;
    return Follow(session, page, order, tail, printer, terminal, width);
  }
  if (tail != kAllRows && !hasPage && !a.Has("pages"))
    return PrintMergedTail(session, tail, printer);
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
  source->Refresh();
  uint32_t count = 0;
  source->Reader().GetCount(count);
  // Only the last rows are read: a page and the pages in order know where each row is.
  printer.Print(source->Reader(), count - std::min(count, tail), count);
  std::fflush(stdout);
  return kExitOk;
}

}  // namespace talmon::cli
