// Path split and join.
#include "core/path.h"

#include <cstring>
#include <string>

namespace Korin {

namespace {

// Copies [text, text + length) into out (size bytes), cut to fit; null out is skipped.
void CopyCut(char* out, size_t size, const char* text, size_t length) {
  if (!out || size == 0) return;
  if (length > size - 1) length = size - 1;
  memcpy(out, text, length);
  out[length] = '\0';
}

}  // namespace

void SplitPath(const char* path, char* drive, char* dir, char* name, char* ext) {
  if (!path) path = "";
  const size_t length = strlen(path);
  const char* slash = strrchr(path, '/');
  const size_t nameStart = slash ? static_cast<size_t>(slash - path) + 1 : 0;
  // The extension is the last "." of the base name and what follows it; a base name that
  // only starts with "." (".hidden") has none.
  size_t extStart = length;
  for (size_t i = length; i > nameStart + 1; --i) {
    if (path[i - 1] == '.') {
      extStart = i - 1;
      break;
    }
  }
  CopyCut(drive, kMaxDrive, "", 0);
  CopyCut(dir, kMaxDir, path, nameStart);
  CopyCut(name, kMaxFName, path + nameStart, extStart - nameStart);
  CopyCut(ext, kMaxExt, path + extStart, length - extStart);
}

}  // namespace Korin

bool Korin_makepath(char* out, const char* drive, const char* dir, const char* name,
                    const char* ext) {
  if (!out) return false;
  std::string path = drive ? drive : "";
  if (dir && *dir) {
    path += dir;
    if (path.back() != '/') path += '/';
  }
  if (name) path += name;
  if (ext && *ext) {
    if (*ext != '.') path += '.';
    path += ext;
  }
  if (path.size() >= Korin::kMaxPath) {
    out[0] = '\0';
    return false;
  }
  memcpy(out, path.c_str(), path.size() + 1);
  return true;
}
