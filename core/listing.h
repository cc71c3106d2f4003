// Directory listing, name filters and collators of the core utilities.
// Internal to libtalmon; objects are used by one thread at a time, the factories' shared
// instances are immutable.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "talmon/korin_string.h"

namespace Korin {

// Orders and matches names.
class ICollator {
 public:
  virtual ~ICollator() = default;
  // <0, 0, >0 as strcmp, under this collation.
  virtual int compare(const char* a, const char* b) const = 0;
  // Whether two single characters are equal under this collation.
  virtual bool equalChars(char a, char b) const = 0;
};

class CollatorFactory {
 public:
  // How the file system compares names: with ignoreCase, ASCII case is ignored (the
  // library always asks for that). Shared instance, lives for the process.
  static const ICollator& getFileSystemCollator(bool ignoreCase);
  // Byte order ignoring ASCII case: "Page10" < "page2", "abc" == "ABC".
  static const ICollator& getPOSIXCollatorCI();
};

class File;

class IFileFilter {
 public:
  virtual ~IFileFilter() = default;
  // Whether the entry name of directory dir passes.
  virtual bool accept(const File& dir, const char* name) const = 0;

  // Passes every entry. Shared instance.
  static const IFileFilter& getMatchAllFileFilter();
  // Passes names matching pattern under collator: "*" any run, "?" one character.
  // acceptDirectories: directories may pass too; acceptHidden: names starting with "."
  // may pass; acceptFiles: regular files of the caller's own user may pass. Links, FIFOs
  // and devices never pass. The library passes (false, false, true).
  //   pattern "0003*.TXT" passes "0003Log.txt", not "0004Log.TXT"
  static std::unique_ptr<IFileFilter> getMatchAllFilesFilenameFilterWithPattern(
      const char* pattern, const ICollator& collator, bool acceptDirectories, bool acceptHidden,
      bool acceptFiles);
};

// True when name matches the wildcard pattern ("*", "?") under collator.
bool MatchWildcard(const char* pattern, const char* name, const ICollator& collator);

// A path in the file system.
class File {
 public:
  explicit File(const char* path);
  File(const char* directory, const char* name);

  // Appends the names (not paths) of the entries that pass filter, "." and ".." excluded,
  // in directory order. recursive must be false. False when the directory cannot be read.
  bool listFiles(std::vector<String>& names, const IFileFilter& filter, bool recursive) const;
  // True for a directory itself, not for a link to one.
  bool isDirectory() const;
  // The last component of the path: "/d/0003Log.TXT" => "0003Log.TXT".
  String getBaseName() const;
  // The path made absolute (relative paths against the working directory).
  String getAbsolutePath() const;
  const char* getPath() const { return path_.c_str(); }

 private:
  String path_;
};

// One regular file of the caller's own user, as ListOwnFiles finds it.
struct OwnFile {
  std::string name;
  uint64_t size = 0;
  int64_t born = 0;  // seconds since the epoch it was made (its change of content, where
                     // the file system keeps no birth time)
};

// Appends the caller's own regular files of directory whose names wanted accepts (null:
// every one), read in one pass: each name costs one stat, and only when wanted. Links,
// FIFOs, devices, directories and other users' files are left out. False when the directory
// cannot be read.
bool ListOwnFiles(const char* directory, std::vector<OwnFile>& files,
                  const std::function<bool(const char* name)>& wanted);

}  // namespace Korin
