// The session store: numbering, clean-up and page listing over the data directory.
#include "session/session_store.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <set>
#include <stdexcept>
#include <utility>

#include "core/app_data.h"
#include "core/file.h"
#include "core/listing.h"
#include "core/path.h"
#include "talmon/session.h"

namespace talmon {

bool GetDataDirectoryPath(char* path) {
  path[0] = '\0';
  Korin::IAppDataManager* manager = LoadAppDataManager();
  Korin::IAppData* data = manager != nullptr ? manager->GetAppData() : nullptr;
  if (data == nullptr || !data->GetDataDirectory(path, 0, Korin::kMaxPath, '/')) {
    path[0] = '\0';
    return false;
  }
  return true;
}

bool IsSafePageName(const char* name) {
  if (name == nullptr) return false;
  if (std::strchr(name, '/') != nullptr) return false;
  return std::strcmp(name, ".") != 0 && std::strcmp(name, "..") != 0;
}

bool JoinPath(char* out, const char* head, const char* tail) {
  size_t headLength = std::strlen(head);
  size_t tailLength = std::strlen(tail);
  if (headLength + tailLength >= Korin::kMaxPath) {
    out[0] = '\0';
    return false;
  }
  std::memmove(out, head, headLength);
  std::memcpy(out + headLength, tail, tailLength + 1);
  return true;
}

Korin::String SessionFilePattern(unsigned int session, const char* pattern) {
  Korin::String filePattern;
  filePattern.format("%04d%s.TXT", static_cast<int>(session), pattern != nullptr ? pattern : "");
  return filePattern;
}

bool PageNameOfFile(unsigned int session, const Korin::String& file, Korin::String& page) {
  char number[16];
  const size_t prefix =
      static_cast<size_t>(std::snprintf(number, sizeof number, "%04d", static_cast<int>(session)));
  if (file.length() < prefix + 4) return false;
  page = file.subString(prefix, file.length() - 4);
  return true;
}

int LeadingSession(const char* name) {
  int number = 0;
  if (std::sscanf(name, "%04d", &number) != 1) return 0;
  return number;
}

namespace {

// The session whose clean-up pattern "%04d*.*" can match name: its first four characters
// as digits, or 0.
int FourDigitPrefix(const char* name) {
  int number = 0;
  for (int i = 0; i < 4; ++i) {
    if (name[i] < '0' || name[i] > '9') return 0;
    number = number * 10 + (name[i] - '0');
  }
  return number;
}

// Removes the files of the sessions 1 .. last-1 that no live process holds, subtracting
// their sizes from total (32-bit, wrapping). Stops once total reaches 0.
//
// The directory is listed once and its names grouped by session: for session numbers of
// four digits a name can match the pattern of one session only, so this removes exactly
// what listing the directory once per session number would, without rereading a large
// directory thousands of times.
void RemoveOldSessions(const char* directory, const std::vector<Korin::String>& names,
                       unsigned int last, uint32_t& total) {
  std::vector<std::pair<int, size_t>> candidates;
  for (size_t i = 0; i < names.size(); ++i) {
    int s = FourDigitPrefix(names[i].c_str());
    if (s >= 1 && static_cast<unsigned int>(s) < last) candidates.emplace_back(s, i);
  }
  std::stable_sort(candidates.begin(), candidates.end(),
                   [](const std::pair<int, size_t>& a, const std::pair<int, size_t>& b) {
                     return a.first < b.first;
                   });
  const Korin::File dir(directory);
  const Korin::ICollator& collator = Korin::CollatorFactory::getFileSystemCollator(true);
  size_t next = 0;
  while (next < candidates.size() && total != 0) {
    const int s = candidates[next].first;
    Korin::String pattern;
    pattern.format("%04d*.*", s);
    std::unique_ptr<Korin::IFileFilter> filter =
        Korin::IFileFilter::getMatchAllFilesFilenameFilterWithPattern(pattern, collator, false,
                                                                      false, true);
    for (; next < candidates.size() && candidates[next].first == s; ++next) {
      const Korin::String& name = names[candidates[next].second];
      if (!filter->accept(dir, name)) continue;
      char path[Korin::kMaxPath];
      if (!JoinPath(path, directory, name)) continue;
      KorinFileAttributes attributes;
      if (!Korin_GetFileAttributesEx(path, &attributes)) continue;
      // A held file belongs to a live producer: it vanishes by itself when that ends.
      if ((attributes.attributes & kFileAttributeTemporary) != 0) continue;
      if (Korin_DeleteFile(path) != 0) total -= static_cast<uint32_t>(attributes.size);
    }
  }
}

// What one scan of the data directory finds. Only the caller's own regular files count: in
// a directory shared between users, another user's files neither raise the numbering nor are
// touched, and the numbers they use are skipped.
struct SessionScan {
  unsigned int highest = 0;
  uint32_t total = 0;  // wraps; only "zero" and "became smaller" matter
  std::set<unsigned int> others;

  void Add(const char* directory, const Korin::String& entry) {
    const int number = LeadingSession(entry);
    if (number <= 0) return;
    char filePath[Korin::kMaxPath];
    KorinFileAttributes attributes;
    if (!JoinPath(filePath, directory, entry) ||
        !Korin_GetFileAttributesEx(filePath, &attributes)) {
      // Gone, or unreadable: counted for the number, never for the total.
      highest = std::max(highest, static_cast<unsigned int>(number));
      return;
    }
    if (!KorinIsRegular(attributes)) return;
    if (!attributes.owned) {
      others.insert(static_cast<unsigned int>(number));
      return;
    }
    highest = std::max(highest, static_cast<unsigned int>(number));
    total += static_cast<uint32_t>(attributes.size);
  }

  // The first number above floor that no other user's file has.
  unsigned int FirstFreeAbove(unsigned int floor) const {
    unsigned int number = floor + 1;
    while (others.count(number) != 0)
      ++number;
    return number;
  }
};

}  // namespace

bool ResolveSession(bool newSession, unsigned int* session, char* path) {
  // Each round is one scan; a clean-up that freed bytes asks for another.
  for (;;) {
    if (newSession) *session = 0;
    if (*session > kMaxSession) {
      path[0] = '\0';
      return false;
    }
    if (!GetDataDirectoryPath(path)) return false;
    char drive[Korin::kMaxDrive];
    char dir[Korin::kMaxDir];
    char name[Korin::kMaxFName];
    char ext[Korin::kMaxExt];
    Korin::SplitPath(path, drive, dir, name, ext);

    if (*session == 0) {
      const char* const directory = path;  // unchanged until the prefix is made below
      std::vector<Korin::String> names;
      Korin::File(directory).listFiles(names, Korin::IFileFilter::getMatchAllFileFilter(), false);
      SessionScan scan;
      for (const Korin::String& entry : names)
        scan.Add(directory, entry);
      *session = newSession ? scan.FirstFreeAbove(scan.highest) : scan.highest;
      // Past the last number a session may have: refused, never wrapped into another's files.
      if (*session > kMaxSession) {
        *session = 0;
        path[0] = '\0';
        return false;
      }
      if (newSession && scan.total != 0) {
        uint32_t total = scan.total;
        RemoveOldSessions(directory, names, *session, total);
        if (total < scan.total) continue;
      }
    }

    char number[16];
    std::snprintf(number, sizeof number, "%04d", static_cast<int>(*session));
    return Korin_makepath(path, drive, dir, number, ext);
  }
}

int CSortableStringArray::GetCount() {
  return static_cast<int>(strings_->size());
}

Korin::String& CSortableStringArray::At(int index) {
  if (index < 0 || static_cast<size_t>(index) >= strings_->size()) {
    throw std::invalid_argument("CSortableStringArray: index out of range");
  }
  return (*strings_)[static_cast<size_t>(index)];
}

bool CSortableStringArray::Compare(int i, int j, bool& after) {
  const Korin::ICollator& collator = Korin::CollatorFactory::getPOSIXCollatorCI();
  after = collator.compare(At(i), At(j)) > 0;
  return true;
}

bool CSortableStringArray::Swap(int i, int j) {
  Korin::String& a = At(i);
  std::swap(a, At(j));
  return true;
}

bool CombSort(ISortable& items) {
  const int count = items.GetCount();
  int gap = count;
  for (;;) {
    gap = static_cast<int>(static_cast<int64_t>(gap) * 10 / 13);
    // Gaps of 9 and 10 leave more work for the last passes than 11 does.
    if (gap == 9 || gap == 10) gap = 11;
    if (gap < 1) gap = 1;
    bool swapped = false;
    for (int i = 0; i < count - gap; ++i) {
      const int j = i + gap;
      bool after = false;
      if (!items.Compare(i, j, after)) return false;
      if (after) {
        if (!items.Swap(i, j)) return false;
        swapped = true;
      }
    }
    if (gap == 1 && !swapped) return true;
  }
}

}  // namespace talmon

TalMonitorSelectPage::TalMonitorSelectPage()
    : session_(0), pattern_("*"), next_(0), initialised_(0) {}

TalMonitorSelectPage::~TalMonitorSelectPage() = default;

void TalMonitorSelectPage::SetSession(unsigned int session) {
  session_ = session;
}

void TalMonitorSelectPage::SetPattern(const char* pattern) {
  pattern_ = pattern;
}

bool TalMonitorSelectPage::Init() {
  char directory[Korin::kMaxPath];
  if (!talmon::GetDataDirectoryPath(directory)) return false;
  std::unique_ptr<Korin::IFileFilter> filter =
      Korin::IFileFilter::getMatchAllFilesFilenameFilterWithPattern(
          talmon::SessionFilePattern(session_, pattern_),
          Korin::CollatorFactory::getFileSystemCollator(true), false, false, true);
  std::vector<Korin::String> found;
  Korin::File(directory).listFiles(found, *filter, false);
  Korin::String page;
  for (const Korin::String& file : found) {
    if (talmon::PageNameOfFile(session_, file, page)) names_.push_back(page);
  }
  talmon::CSortableStringArray sortable(&names_);
  talmon::CombSort(sortable);
  return true;
}

bool TalMonitorSelectPage::Read(Korin::String& name) {
  if (initialised_ == 0) {
    if (!Init()) return false;
    initialised_ = 1;
  }
  if (next_ < 0 || static_cast<size_t>(next_) >= names_.size()) return false;
  name = names_[static_cast<size_t>(next_)];
  ++next_;
  return true;
}
