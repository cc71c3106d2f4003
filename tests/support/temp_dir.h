// Test support: a fresh data directory per test, and environment variables set for a scope.
// Header-only; used by the tests of every module and by the cross-process tests in tests/.
#pragma once

#include <dirent.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

namespace talmon_test {

// Removes path and everything below it; missing paths are fine.
inline void RemoveTree(const std::string& path) {
  struct stat st;
  if (lstat(path.c_str(), &st) != 0) return;
  if (S_ISDIR(st.st_mode)) {
    if (DIR* d = opendir(path.c_str())) {
      while (dirent* e = readdir(d)) {
        std::string name = e->d_name;
        if (name != "." && name != "..") RemoveTree(path + "/" + name);
      }
      closedir(d);
    }
    rmdir(path.c_str());
  } else {
    unlink(path.c_str());
  }
}

// Sets (or, for null, clears) an environment variable for the object's lifetime.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    const char* old = getenv(name);
    had_ = old != nullptr;
    if (had_) old_ = old;
    value ? setenv(name, value, 1) : unsetenv(name);
  }
  ~ScopedEnv() { had_ ? setenv(name_, old_.c_str(), 1) : unsetenv(name_); }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  const char* name_;
  bool had_;
  std::string old_;
};

// Makes a new directory under $TMPDIR (or /tmp), points TALMON_DATA_DIR at it for the
// object's lifetime, and removes it afterwards. path() ends in "/".
class ScopedDataDir {
 public:
  ScopedDataDir() {
    const char* tmp = getenv("TMPDIR");
    std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/talmon-test-XXXXXX";
    std::vector<char> buf(pattern.begin(), pattern.end());
    buf.push_back('\0');
    if (mkdtemp(buf.data()) != nullptr) path_ = std::string(buf.data()) + "/";
    const char* old = getenv("TALMON_DATA_DIR");
    hadOld_ = old != nullptr;
    if (hadOld_) old_ = old;
    setenv("TALMON_DATA_DIR", path_.c_str(), 1);
  }
  ~ScopedDataDir() {
    if (hadOld_) {
      setenv("TALMON_DATA_DIR", old_.c_str(), 1);
    } else {
      unsetenv("TALMON_DATA_DIR");
    }
    if (!path_.empty()) RemoveTree(path_.substr(0, path_.size() - 1));
  }
  ScopedDataDir(const ScopedDataDir&) = delete;
  ScopedDataDir& operator=(const ScopedDataDir&) = delete;

  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const { return path_ + name; }

  // Entry names of the directory, sorted byte-wise.
  std::vector<std::string> list() const { return ListDir(path_); }
  // Entry names of any directory, sorted byte-wise.
  static std::vector<std::string> ListDir(const std::string& path) {
    std::vector<std::string> names;
    if (DIR* d = opendir(path.c_str())) {
      while (dirent* e = readdir(d)) {
        std::string name = e->d_name;
        if (name != "." && name != "..") names.push_back(name);
      }
      closedir(d);
    }
    std::sort(names.begin(), names.end());
    return names;
  }

 private:
  std::string path_;
  std::string old_;
  bool hadOld_ = false;
};

}  // namespace talmon_test
