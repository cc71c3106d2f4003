// Test support: a small tmpfs mounted for the object's lifetime, to run producers into a full
// disk. Mounting needs root; available() is false otherwise and tests skip, saying why.
// Header-only.
#pragma once

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

namespace talmon_test {

class SmallDisk {
 public:
  static constexpr const char* kSkipMessage =
      "a full disk is tested on a small tmpfs, which only root may mount";

  // Mounts a tmpfs of bytes at path (made when missing).
  SmallDisk(const std::string& path, unsigned long bytes) : path_(path) {
    if (geteuid() != 0) return;
    mkdir(path.c_str(), 0700);
    const std::string options = "size=" + std::to_string(bytes) + ",mode=0700";
    mounted_ = mount("tmpfs", path.c_str(), "tmpfs", 0, options.c_str()) == 0;
  }
  ~SmallDisk() {
    if (mounted_) umount2(path_.c_str(), MNT_DETACH);
  }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;

  bool available() const { return mounted_; }
  // The mount point, ending in "/".
  std::string path() const { return path_ + "/"; }

 private:
  std::string path_;
  bool mounted_ = false;
};

}  // namespace talmon_test
