// The application-data manager: where the data directory is, and paths inside it.
// Internal to libtalmon; any thread.
//
// The data directory is $TALMON_DATA_DIR when set and not empty, else
// $XDG_STATE_HOME/talmon/, else $HOME/.local/state/talmon/. It is created (mode 0700,
// parents too) when missing, read afresh on every call, and always ends in "/". An existing
// directory that another user owns, or that group or others may write, is refused unless
// $TALMON_SHARED_DIR is "1".
#pragma once

#include <cstddef>
#include <string>

namespace Korin {

class IAppData {
 public:
  virtual ~IAppData() = default;
  // Writes the data directory, ending in separator, into buffer (size bytes); reserved must
  // be 0. False (buffer made "") when it cannot be found, made, or does not fit.
  virtual bool GetDataDirectory(char* buffer, int reserved, size_t size, char separator) = 0;
  // As Korin::SplitPath, with the sizes 3, 256, 256, 256.
  virtual void SplitPath(const char* path, char* drive, char* dir, char* name, char* ext) = 0;
  // Writes the data directory followed by fileName into buffer; false (buffer "") when it
  // does not fit.
  virtual bool GetDataFilePath(char* buffer, int reserved, size_t size, const char* fileName) = 0;
};

class IAppDataManager {
 public:
  virtual ~IAppDataManager() = default;
  // The data object of this application; null when there is none. Lives for the process.
  virtual IAppData* GetAppData() = 0;
};

// The data directory, made when missing (mode 0700), ending in "/". False (dir "") when
// there is none to use; why, when not null, then says which directory and why in one line:
//   "data directory /x/: not owned by you (set TALMON_SHARED_DIR=1 to use ...)"
bool FindDataDirectory(std::string& dir, std::string* why);

}  // namespace Korin

// The process-wide manager; null when it cannot be made. Lives for the process.
Korin::IAppDataManager* LoadAppDataManager();
