// The readers TalMonView shows: one page of a session, and every page of a session merged in
// the order the rows were written, each row marked with the page it comes from. Any thread;
// a reader is used by one thread at a time.
#pragma once

#include <string>
#include <vector>

#include "talmon/monitor.h"
#include "viewer/page_view.h"

namespace talmon::viewer {

// A page reader of session's page.
ReaderFactory PageReader(unsigned int session, const std::string& page);
// The pages merged, merged once before it is handed out; each row begins with its page's
// name in small type: "(little Log) " + the row.
ReaderFactory MergedReader(unsigned int session, const std::vector<std::string>& pages);

}  // namespace talmon::viewer
