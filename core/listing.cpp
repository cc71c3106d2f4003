// Directory listing, name filters and collators.
#include "core/listing.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>

namespace Korin {

namespace {

unsigned char AsciiLower(unsigned char c) {
  return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c;
}

int Sign(int v) {
  return v < 0 ? -1 : (v > 0 ? 1 : 0);
}

// Byte order, each byte taken as unsigned; ASCII letters folded to lower case when asked.
// Names equal under the folding compare 0: there is no tie-break.
int CompareBytes(const char* a, const char* b, bool ignoreCase) {
  if (!a) a = "";
  if (!b) b = "";
  const unsigned char* x = reinterpret_cast<const unsigned char*>(a);
  const unsigned char* y = reinterpret_cast<const unsigned char*>(b);
  for (;; ++x, ++y) {
    unsigned char cx = ignoreCase ? AsciiLower(*x) : *x;
    unsigned char cy = ignoreCase ? AsciiLower(*y) : *y;
    if (cx != cy) return Sign(static_cast<int>(cx) - static_cast<int>(cy));
    if (cx == 0) return 0;
  }
}

class ByteCollator : public ICollator {
 public:
  explicit ByteCollator(bool ignoreCase) : ignoreCase_(ignoreCase) {}
  int compare(const char* a, const char* b) const override {
    return CompareBytes(a, b, ignoreCase_);
  }
  bool equalChars(char a, char b) const override {
    if (!ignoreCase_) return a == b;
    return AsciiLower(static_cast<unsigned char>(a)) == AsciiLower(static_cast<unsigned char>(b));
  }

 private:
  bool ignoreCase_;
};

class MatchAllFilter : public IFileFilter {
 public:
  bool accept(const File&, const char*) const override { return true; }
};

class WildcardFilter : public IFileFilter {
 public:
  WildcardFilter(const char* pattern, const ICollator& collator, bool acceptDirectories,
                 bool acceptHidden, bool acceptFiles)
      : pattern_(pattern ? pattern : ""),
        collator_(collator),
        acceptDirectories_(acceptDirectories),
        acceptHidden_(acceptHidden),
        acceptFiles_(acceptFiles) {}

  bool accept(const File& dir, const char* name) const override {
    if (!name || !*name) return false;
    if (name[0] == '.' && !acceptHidden_) return false;
    if (!MatchWildcard(pattern_.c_str(), name, collator_)) return false;
    // The entry's type decides last: it costs a stat. Links are not followed and never
    // pass, nor does anything that is neither a directory nor a regular file; a regular
    // file passes only when it is the caller's own, so that in a directory shared between
    // users each lists only its own files.
    struct stat st;
    if (lstat(File(dir.getPath(), name).getPath(), &st) != 0) return false;
    if (S_ISDIR(st.st_mode)) return acceptDirectories_;
    if (S_ISREG(st.st_mode)) return acceptFiles_ && st.st_uid == geteuid();
    return false;
  }

 private:
  std::string pattern_;
  const ICollator& collator_;
  bool acceptDirectories_;
  bool acceptHidden_;
  bool acceptFiles_;
};

}  // namespace

const ICollator& CollatorFactory::getFileSystemCollator(bool ignoreCase) {
  static const ByteCollator caseless(true);
  static const ByteCollator exact(false);
  return ignoreCase ? caseless : exact;
}

const ICollator& CollatorFactory::getPOSIXCollatorCI() {
  static const ByteCollator collator(true);
  return collator;
}

const IFileFilter& IFileFilter::getMatchAllFileFilter() {
  static const MatchAllFilter filter;
  return filter;
}

std::unique_ptr<IFileFilter> IFileFilter::getMatchAllFilesFilenameFilterWithPattern(
    const char* pattern, const ICollator& collator, bool acceptDirectories, bool acceptHidden,
    bool acceptFiles) {
  return std::make_unique<WildcardFilter>(pattern, collator, acceptDirectories, acceptHidden,
                                          acceptFiles);
}

bool MatchWildcard(const char* pattern, const char* name, const ICollator& collator) {
  if (!pattern || !name) return false;
  // Greedy with one backtrack point: on a mismatch, the last "*" takes one more character.
  // Linear in practice and never recursive, whatever the pattern.
  const char* p = pattern;
  const char* n = name;
  const char* starP = nullptr;
  const char* starN = nullptr;
  while (*n) {
    if (*p == '*') {
      while (*p == '*')
        ++p;
      if (!*p) return true;
      starP = p;
      starN = n;
    } else if (*p && (*p == '?' || collator.equalChars(*p, *n))) {
      ++p;
      ++n;
    } else if (starP) {
      p = starP;
      n = ++starN;
    } else {
      return false;
    }
  }
  while (*p == '*')
    ++p;
  return *p == '\0';
}

File::File(const char* path) : path_(path ? path : "") {}

File::File(const char* directory, const char* name) : path_(directory ? directory : "") {
  if (path_.length() > 0 && path_.charAt(path_.length() - 1) != '/') path_ += "/";
  path_ += name ? name : "";
}

bool File::listFiles(std::vector<String>& names, const IFileFilter& filter, bool recursive) const {
  if (recursive) return false;
  DIR* dir = opendir(path_.c_str());
  if (!dir) return false;
  while (dirent* entry = readdir(dir)) {
    const char* name = entry->d_name;
    if (strcmp(name, ".") == 0 || strcmp(name, "..") == 0) continue;
    if (filter.accept(*this, name)) names.emplace_back(name);
  }
  closedir(dir);
  return true;
}

bool File::isDirectory() const {
  struct stat st;
  return lstat(path_.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

String File::getBaseName() const {
  std::string path = path_.c_str();
  while (path.size() > 1 && path.back() == '/')
    path.pop_back();
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return String(path.c_str());
  return String(path.c_str() + slash + 1);
}

String File::getAbsolutePath() const {
  if (path_.length() > 0 && path_.charAt(0) == '/') return path_;
  std::string cwd;
  char buffer[4096];
  if (getcwd(buffer, sizeof buffer)) cwd = buffer;
  if (path_.isEmpty()) return String(cwd.c_str());
  if (cwd.empty() || cwd.back() != '/') cwd += '/';
  cwd += path_.c_str();
  return String(cwd.c_str());
}

bool ListOwnFiles(const char* directory, std::vector<OwnFile>& files,
                  const std::function<bool(const char* name)>& wanted) {
  DIR* dir = opendir(directory != nullptr ? directory : "");
  if (!dir) return false;
  const int fd = dirfd(dir);
  const uid_t me = geteuid();
  while (dirent* entry = readdir(dir)) {
    const char* name = entry->d_name;
    if (entry->d_type != DT_REG && entry->d_type != DT_UNKNOWN) continue;
    if (wanted && !wanted(name)) continue;
    struct statx st;
    if (statx(fd, name, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT,
              STATX_TYPE | STATX_UID | STATX_SIZE | STATX_MTIME | STATX_BTIME, &st) != 0 ||
        !S_ISREG(st.stx_mode) || st.stx_uid != me) {
      continue;
    }
    const bool hasBirth = (st.stx_mask & STATX_BTIME) != 0 && st.stx_btime.tv_sec != 0;
    files.push_back(
        OwnFile{name, st.stx_size, hasBirth ? st.stx_btime.tv_sec : st.stx_mtime.tv_sec});
  }
  closedir(dir);
  return true;
}

}  // namespace Korin
