// Image names from rows become file names inside the data directory; rows come from other
// processes, so a name is checked before it touches a path.

#include "talmon/image_path.h"

#include <cstdio>
#include <cstring>

#include "core/app_data.h"
#include "core/path.h"

namespace {

constexpr size_t kMaxImageName = 200;

bool IsPlainName(const char* name) {
  const size_t n = strnlen(name, kMaxImageName + 1);
  if (n == 0 || n > kMaxImageName) return false;
  if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) return false;
  for (size_t i = 0; i < n; ++i) {
    const unsigned char c = static_cast<unsigned char>(name[i]);
    if (c == '/' || c < 0x20 || c == 0x7F) return false;
  }
  return true;
}

}  // namespace

bool TalMonImagePath(const char* name, char* path, size_t size) {
  if (path == nullptr || size == 0) return false;
  path[0] = '\0';
  if (name == nullptr || !IsPlainName(name)) return false;
  Korin::IAppDataManager* manager = LoadAppDataManager();
  Korin::IAppData* data = manager != nullptr ? manager->GetAppData() : nullptr;
  char dir[Korin::kMaxPath];
  if (data == nullptr || !data->GetDataDirectory(dir, 0, sizeof dir, '/')) return false;
  const int n = std::snprintf(path, size, "%sicons/%s.png", dir, name);
  if (n < 0 || static_cast<size_t>(n) >= size) {
    path[0] = '\0';
    return false;
  }
  return true;
}
