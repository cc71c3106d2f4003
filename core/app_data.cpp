// The application-data manager: the data directory from the environment, made on demand.
#include "core/app_data.h"

#include <errno.h>
#include <pwd.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "core/path.h"

namespace {

const char* NonEmptyEnv(const char* name) {
  const char* value = getenv(name);
  return value && *value ? value : nullptr;
}

// The user's home: $HOME, else the password database (services started without HOME).
std::string HomeDirectory() {
  if (const char* home = NonEmptyEnv("HOME")) return home;
  passwd pw;
  passwd* found = nullptr;
  char buffer[4096];
  if (getpwuid_r(getuid(), &pw, buffer, sizeof buffer, &found) == 0 && found && found->pw_dir &&
      *found->pw_dir) {
    return found->pw_dir;
  }
  return std::string();
}

// Creates dir and its missing parents with mode 0700; true when dir is a directory then.
bool MakeDirectories(const std::string& dir) {
  struct stat st;
  if (stat(dir.c_str(), &st) == 0) return S_ISDIR(st.st_mode);
  for (size_t slash = dir.find('/', 1);; slash = dir.find('/', slash + 1)) {
    const std::string part = dir.substr(0, slash);
    // An existing part may still refuse mkdir (EACCES in a parent we may not write).
    if (mkdir(part.c_str(), 0700) != 0 && errno != EEXIST &&
        !(stat(part.c_str(), &st) == 0 && S_ISDIR(st.st_mode))) {
      return false;
    }
    if (slash == std::string::npos) break;
  }
  return stat(dir.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// Why dir may not hold this user's sessions; "" when it may. Everything in it is trusted to
// be the user's own: a directory someone else owns, or that others may write, would let them
// plant links and FIFOs, forge sessions and remove the user's files. Such a directory is used
// only when the user says it is shared (TALMON_SHARED_DIR=1); then each user's files are told
// apart by their owner alone.
std::string UnsafeBecause(const std::string& dir) {
  const char* shared = getenv("TALMON_SHARED_DIR");
  if (shared != nullptr && strcmp(shared, "1") == 0) return std::string();
  struct stat st;
  if (stat(dir.c_str(), &st) != 0) return strerror(errno);
  const char* const share = " (set TALMON_SHARED_DIR=1 to use a directory shared on purpose)";
  if (st.st_uid != geteuid()) return std::string("not owned by you") + share;
  if ((st.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    return std::string("writable by other users") + share;
  }
  return std::string();
}

// The directory the environment names, without a trailing "/"; "" when there is no home.
std::string ChosenDirectory() {
  std::string dir;
  if (const char* explicitDir = NonEmptyEnv("TALMON_DATA_DIR")) {
    dir = explicitDir;
  } else if (const char* state = NonEmptyEnv("XDG_STATE_HOME")) {
    dir = std::string(state) + "/talmon";
  } else {
    const std::string home = HomeDirectory();
    if (home.empty()) return std::string();
    dir = home + "/.local/state/talmon";
  }
  while (dir.size() > 1 && dir.back() == '/')
    dir.pop_back();
  return dir;
}

// The data directory, made when missing, ending in "/"; "" when it cannot be had or is not
// safe to use.
std::string DataDirectory() {
  std::string dir;
  return Korin::FindDataDirectory(dir, nullptr) ? dir : std::string();
}

bool CopyOut(char* buffer, size_t size, const std::string& text) {
  if (text.empty() || text.size() >= size || text.size() >= Korin::kMaxPath) {
    buffer[0] = '\0';
    return false;
  }
  memcpy(buffer, text.c_str(), text.size() + 1);
  return true;
}

class AppData : public Korin::IAppData {
 public:
  // The separator argument is kept for the callers' sake: "/" is the only separator of
  // this system's paths, so whatever is asked, the directory ends in "/".
  bool GetDataDirectory(char* buffer, int reserved, size_t size, char separator) override {
    (void)separator;
    if (!buffer || size == 0) return false;
    if (reserved != 0) {
      buffer[0] = '\0';
      return false;
    }
    return CopyOut(buffer, size, DataDirectory());
  }

  void SplitPath(const char* path, char* drive, char* dir, char* name, char* ext) override {
    Korin::SplitPath(path, drive, dir, name, ext);
  }

  bool GetDataFilePath(char* buffer, int reserved, size_t size, const char* fileName) override {
    if (!buffer || size == 0) return false;
    if (reserved != 0) {
      buffer[0] = '\0';
      return false;
    }
    const std::string dir = DataDirectory();
    if (dir.empty()) {
      buffer[0] = '\0';
      return false;
    }
    return CopyOut(buffer, size, dir + (fileName ? fileName : ""));
  }
};

class AppDataManager : public Korin::IAppDataManager {
 public:
  Korin::IAppData* GetAppData() override { return &data_; }

 private:
  AppData data_;
};

}  // namespace

Korin::IAppDataManager* LoadAppDataManager() {
  // Never destroyed: callers may use it from static destructors and exit handlers.
  static AppDataManager* manager = new AppDataManager;
  return manager;
}

bool Korin::FindDataDirectory(std::string& dir, std::string* why) {
  dir = ChosenDirectory();
  std::string reason;
  if (dir.empty()) {
    reason = "no data directory: none of TALMON_DATA_DIR, XDG_STATE_HOME and HOME is set";
  } else if (!MakeDirectories(dir)) {
    reason = "data directory " + dir + "/: cannot be made: " + strerror(errno);
  } else if (dir.size() + 1 >= Korin::kMaxPath) {
    reason = "data directory " + dir + "/: its path is too long";
  } else {
    const std::string unsafe = UnsafeBecause(dir);
    if (!unsafe.empty()) reason = "data directory " + dir + "/: " + unsafe;
  }
  if (!reason.empty()) {
    if (why != nullptr) *why = reason;
    dir.clear();
    return false;
  }
  if (dir != "/") dir += '/';
  return true;
}
