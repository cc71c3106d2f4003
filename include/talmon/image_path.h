// Where the images of "icon" and "logo" tags are found on disk: NAME.png in the icons/ folder
// of the data directory. Any thread.
#pragma once

#include <cstddef>

#include "talmon/export.h"

// Writes the data directory's "icons/NAME.png" into path (size bytes). False, path made "",
// for a name that could leave the folder or is not a plain file name (empty, ".", "..", any
// "/" or control byte), for a name longer than 200 bytes, and when the path does not fit.
//   "dialog-error"  =>  "$TALMON_DATA_DIR/icons/dialog-error.png"
//   "../secret"     =>  false
TALMON_EXPORT bool TalMonImagePath(const char* name, char* path, size_t size);
