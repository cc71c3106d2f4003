#include "viewer/session_readers.h"

#include <memory>

#include "talmon/session.h"
#include "talmon/session_list.h"

namespace talmon::viewer {

namespace {

// Puts the name of the source page in front of every row of a merged reader (owned).
class PageMarkReader : public IMonitorReader {
 public:
  PageMarkReader(TalMonitorReaderTime* merged, std::vector<std::string> pages)
      : merged_(merged), pages_(std::move(pages)) {
    // A page name is free text: brackets would end the field early.
    for (std::string& name : pages_) {
      for (char& c : name) {
        if (c == '(' || c == ')') c = c == '(' ? '[' : ']';
      }
    }
  }
  ~PageMarkReader() override { TalCloseMonitorReader(merged_); }
  PageMarkReader(const PageMarkReader&) = delete;
  PageMarkReader& operator=(const PageMarkReader&) = delete;

  bool Update() override { return merged_->Update(); }
  bool GetCount(uint32_t& count) override { return merged_->GetCount(count); }
  bool GetStamp(uint32_t row, uint32_t& stamp) override { return merged_->GetStamp(row, stamp); }
  bool GetRow(uint32_t row, const char*& text, uint32_t& length) override {
    uint32_t page = 0;
    if (!merged_->GetRow(row, text, length)) return false;
    if (!TalMonGetRowSource(merged_, row, page) || page >= pages_.size()) return true;
    // The label goes first, before any tab: a tab stop is measured from the row's start, so
    // a label after one would be painted at the stop, under the cell's own text.
    row_ = "(little " + pages_[page] + ") ";
    row_.append(text, length);
    text = row_.c_str();
    length = static_cast<uint32_t>(row_.size());
    return true;
  }

 private:
  TalMonitorReaderTime* merged_;
  std::vector<std::string> pages_;
  std::string row_;
};

}  // namespace

ReaderFactory PageReader(unsigned int session, const std::string& page) {
  return [session, page]() -> IMonitorReader* {
    IMonitorReader* reader = nullptr;
    return TalOpenMonitorReader(session, page.c_str(), &reader) ? reader : nullptr;
  };
}

ReaderFactory MergedReader(unsigned int session, const std::vector<std::string>& pages) {
  return [session, pages]() -> IMonitorReader* {
    TalMonitorReaderTime* merged = nullptr;
    if (!TalOpenMonitorReaderTime(session, &merged)) return nullptr;
    std::vector<std::string> added;  // the page of each index TalMonGetRowSource gives
    for (const std::string& page : pages) {
      IMonitorReader* reader = nullptr;
      if (TalOpenMonitorReader(session, page.c_str(), &reader) && merged->AddReader(reader)) {
        added.push_back(page);
      }
    }
    auto marked = std::make_unique<PageMarkReader>(merged, std::move(added));
    marked->Update();
    return marked.release();
  };
}

}  // namespace talmon::viewer
