// What the time-merged reader remembers between Updates, so that an Update merges only
// what changed: the merged rows with their stamps, and for each page the stamps of its rows
// that took part. Internal to libtalmon; owned by one TalMonitorReaderTime.
#pragma once

#include <cstdint>
#include <vector>

#include "talmon/monitor.h"

namespace talmon {

// Stamps of consecutive rows of a reader, by the rules of its GetStamp (a page answers
// from the header it read last); stops at the first row GetStamp refuses. A page's records
// are read in one read per block. Returns the number of stamps appended to out.
uint32_t ReadStamps(IMonitorReader& reader, uint32_t first, uint32_t count,
                    std::vector<uint32_t>& out);

}  // namespace talmon

struct TalMonitorMergeState {
  // One merged row: the page, and the row in it (its stamp is in that page's stamps).
  struct Entry {
    uint32_t page;
    uint32_t row;
  };
  struct Page {
    // Stamps of the page's rows 0 to n - 1, the rows in the index.
    std::vector<uint32_t> stamps;
    // Row n was fetched and left behind (its stamp below the merge position) with this
    // stamp; without one, the merge found no row n.
    bool hasTail = false;
    uint32_t tail = 0;
    // Stamps of rows [bufferFirst, bufferFirst + buffer.size()) read during this Update;
    // bufferEnds: GetStamp refuses the row after them.
    std::vector<uint32_t> buffer;
    uint32_t bufferFirst = 0;
    bool bufferEnds = false;

    void ForgetReadAhead() {
      std::vector<uint32_t>().swap(buffer);
      bufferFirst = 0;
      bufferEnds = false;
    }
  };

  std::vector<Entry> entries;  // the index, in order, as written to the index file
  std::vector<Page> pages;     // one per reader, in order of addition
  uint64_t written = 0;        // records in the index file
};
