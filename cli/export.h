// Keeping a session: its pages and merged view written as plain text files, so that it
// outlives the clean-up of the next new session. Used by `talmon export` and by the producers'
// --export option. Single-threaded, like the whole tool.
#pragma once

#include <string>

namespace talmon::cli {

// "session-0003": where a session is exported when no folder is named.
std::string DefaultExportDirectory(unsigned int session);
// Writes dir/pages/PAGE.txt for each page of session and dir/merged.txt for the merged view,
// as `talmon show` prints them without colour; dir and dir/pages are made when missing, and
// no file already there is overwritten. "" when done, else what failed and why.
std::string ExportSession(unsigned int session, const std::string& dir);

}  // namespace talmon::cli
