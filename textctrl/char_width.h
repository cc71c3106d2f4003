// How many terminal cells a character takes: 2 for East Asian wide and fullwidth characters
// and emoji, 0 for combining marks, joiners and variation selectors, 1 for the rest. Internal
// to libtalmon; a pure function, any thread.
#pragma once

namespace talmon {

//   U'a' => 1,  U'漢' => 2,  U'😀' => 2,  U'\u0301' (combining acute) => 0
int CellWidth(char32_t cp);

}  // namespace talmon
