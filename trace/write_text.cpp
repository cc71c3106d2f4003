// WriteText: plain text into markup, line by line.

#include <cstring>

#include "talmon/trace.h"
#include "trace/markup_out.h"

namespace {

// Writes the n bytes at text. The writer takes zero-terminated text, and a line cut out of
// the middle of the caller's text has no terminator of its own: such a line goes out in
// pieces copied to a local buffer, so the caller's buffer stays as it is and nothing is
// allocated. Splitting a line into several writes does not change the page: only a "\n"
// starts a row.
bool WriteBytes(IMonitorWriter& writer, const char* text, size_t n, bool terminated) {
  if (n == 0) return true;
  if (terminated) return writer.Write(text);
  char piece[256];
  while (n > 0) {
    const size_t k = n < sizeof(piece) - 1 ? n : sizeof(piece) - 1;
    std::memcpy(piece, text, k);
    piece[k] = '\0';
    if (!writer.Write(piece)) return false;
    text += k;
    n -= k;
  }
  return true;
}

// One line without its row end: its first n bytes are written, raw when parenthesis is set;
// terminated when text[n] is the text's own terminator.
bool WriteLine(IMonitorWriter& writer, const char* text, size_t n, bool parenthesis,
               bool terminated) {
  if (n == 0) return true;
  if (!parenthesis) return WriteBytes(writer, text, n, terminated);
  // A raw span states its length, so a viewer takes its parentheses as text.
  char opener[32] = "(raw ";
  const size_t digits = TalMonFormatDecimal(static_cast<long long>(n), opener + 5);
  opener[5 + digits] = ' ';
  opener[6 + digits] = '\0';
  writer.Write(opener);
  if (!WriteBytes(writer, text, n, terminated)) return false;
  writer.Write(")");
  return true;
}

}  // namespace

bool WriteText(IMonitorWriter& writer, const char* text) {
  if (text == nullptr) return false;
  const char* line = text;
  for (;;) {
    const char* end = line;
    bool parenthesis = false;
    while (*end != '\0' && *end != '\n') {
      parenthesis = parenthesis || *end == '(' || *end == ')';
      ++end;
    }
    const bool rowEnd = *end == '\n';
    size_t n = static_cast<size_t>(end - line);
    // The byte before the "\n" is taken for the CR of a CR LF and dropped unseen (the cost
    // of a lone "\n" is kept on purpose, see trace.h). It was scanned with its line all the
    // same: a dropped "(" still makes the line a raw span ("a(\n" => "(raw 1 a)"). A "\n"
    // that opens a line has nothing before it to drop.
    if (rowEnd && n > 0) --n;
    if (!WriteLine(writer, line, n, parenthesis, !rowEnd)) return false;
    if (!rowEnd) return true;
    if (!writer.Write("\n")) return false;
    line = end + 1;
  }
}
