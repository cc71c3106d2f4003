// The producer's side of monitor text: tags, the escaping text writer and the `trace` stream
// that writes one statement of markup (grammar: doc/markup.md) into an IMonitorWriter.
// Tags come from one process-wide pool without a lock: tags and traces are for one producing
// thread at a time; two threads making tags at once may be handed the same slot.
#pragma once

#include <cstddef>
#include <cstdint>

#include "talmon/export.h"
#include "talmon/monitor.h"

// The handle of a tag as the factories hand it out. A trace links its open tags through
// `next`: the tag opened just before this one on the same trace, null at the bottom.
class TALMON_EXPORT IMonitorTag {
 public:
  IMonitorTag* next = nullptr;
};

// The base of every tag. A tag is made by a factory in the tag pool, pushed onto exactly one
// trace, begun at once and ended when that trace ends; deleting it returns its pool slot.
// Begin and End return false when a writer call failed (the trace ignores the result).
// Tags never touch the heap: `new TalMonitorTagBold` does not compile.
class TALMON_EXPORT TalMonitorTag : public IMonitorTag {
 public:
  TalMonitorTag() = default;
  TalMonitorTag(const TalMonitorTag&) = delete;
  TalMonitorTag& operator=(const TalMonitorTag&) = delete;
  virtual ~TalMonitorTag();

  // Writes the opening text or does the opening action. Base: nothing, true.
  virtual bool Begin(IMonitorWriter& writer);
  // Writes the closing text or does the closing action. Base: nothing, true.
  virtual bool End(IMonitorWriter& writer);

  static void* operator new(std::size_t size) = delete;
  // Releases one pool slot: the pool is a stack, so tags go back in the reverse order of
  // their making, which the trace's own stack guarantees.
  static void operator delete(void* slot) noexcept;
};

// A style tag: Begin opens the writer tag `name` ("(name " now and at every later row start),
// End closes it (")"). The name is borrowed and must outlive the tag.
class TALMON_EXPORT TalMonitorTagNamed : public TalMonitorTag {
 public:
  explicit TalMonitorTagNamed(const char* name) : name_(name) {}
  bool Begin(IMonitorWriter& writer) override;
  bool End(IMonitorWriter& writer) override;

 protected:
  const char* name_;
};

class TALMON_EXPORT TalMonitorTagBold : public TalMonitorTagNamed {
 public:
  TalMonitorTagBold() : TalMonitorTagNamed("bold") {}
};

class TALMON_EXPORT TalMonitorTagError : public TalMonitorTagNamed {
 public:
  TalMonitorTagError() : TalMonitorTagNamed("error") {}
};

class TALMON_EXPORT TalMonitorTagField : public TalMonitorTagNamed {
 public:
  TalMonitorTagField() : TalMonitorTagNamed("field") {}
};

class TALMON_EXPORT TalMonitorTagFlat : public TalMonitorTagNamed {
 public:
  TalMonitorTagFlat() : TalMonitorTagNamed("flat") {}
};

class TALMON_EXPORT TalMonitorTagLittle : public TalMonitorTagNamed {
 public:
  TalMonitorTagLittle() : TalMonitorTagNamed("little") {}
};

class TALMON_EXPORT TalMonitorTagRight : public TalMonitorTagNamed {
 public:
  TalMonitorTagRight() : TalMonitorTagNamed("right") {}
};

class TALMON_EXPORT TalMonitorTagTitle : public TalMonitorTagNamed {
 public:
  TalMonitorTagTitle() : TalMonitorTagNamed("title") {}
};

class TALMON_EXPORT TalMonitorTagUnderlined : public TalMonitorTagNamed {
 public:
  TalMonitorTagUnderlined() : TalMonitorTagNamed("underlined") {}
};

// A link: Begin writes "(link " target ")" (the target escaped, "link" left open), the
// producer then writes the label, and End closes it: "(link TARGET)LABEL)".
// A null target is taken as "".
class TALMON_EXPORT TalMonitorTagLink : public TalMonitorTagNamed {
 public:
  explicit TalMonitorTagLink(const char* target) : TalMonitorTagNamed("link"), target_(target) {}
  bool Begin(IMonitorWriter& writer) override;

 protected:
  const char* target_;
};

// Keeps a statement on rows of its own: Begin ends the current row unless the writer is at a
// row start; End flushes the writer, then does the same. It never makes an empty row.
class TALMON_EXPORT TalMonitorTagBlock : public TalMonitorTag {
 public:
  bool Begin(IMonitorWriter& writer) override;
  bool End(IMonitorWriter& writer) override;
};

// "(column)": the next tab stop, with a divider.
class TALMON_EXPORT TalMonitorTagColumn : public TalMonitorTag {
 public:
  bool Begin(IMonitorWriter& writer) override;
};

// A time span as "HH:MM:SS", the hours within the day: 90061 s => "01:01:01".
class TALMON_EXPORT TalMonitorTagDuration : public TalMonitorTag {
 public:
  explicit TalMonitorTagDuration(int64_t span) : span_(span) {}
  bool Begin(IMonitorWriter& writer) override;

 protected:
  int64_t span_;
};

// Flushes the writer: readers see the rows written so far.
class TALMON_EXPORT TalMonitorTagFlush : public TalMonitorTag {
 public:
  bool Begin(IMonitorWriter& writer) override;
};

// "(icon NAME)"; a null name is taken as "".
class TALMON_EXPORT TalMonitorTagIcon : public TalMonitorTag {
 public:
  explicit TalMonitorTagIcon(const char* icon) : icon_(icon) {}
  bool Begin(IMonitorWriter& writer) override;

 protected:
  const char* icon_;
};

// "\n": ends the row.
class TALMON_EXPORT TalMonitorTagLine : public TalMonitorTag {
 public:
  bool Begin(IMonitorWriter& writer) override;
};

// "(logo NAME)"; a null name is taken as "".
class TALMON_EXPORT TalMonitorTagLogo : public TalMonitorTag {
 public:
  explicit TalMonitorTagLogo(const char* logo) : logo_(logo) {}
  bool Begin(IMonitorWriter& writer) override;

 protected:
  const char* logo_;
};

// "(progress P)(total T)": a bar; a total of 0 draws a moving block for work of unknown length.
class TALMON_EXPORT TalMonitorTagProgress : public TalMonitorTag {
 public:
  TalMonitorTagProgress(int progress, int total) : progress_(progress), total_(total) {}
  bool Begin(IMonitorWriter& writer) override;

 protected:
  int progress_;
  int total_;
};

// "(tab LAYOUT)": a tab stop of the named tab layout, so rows of one layout share columns.
// It is a tab tag carrying an argument, not a tag of its own name. A null layout is "".
class TALMON_EXPORT TalMonitorTagRow : public TalMonitorTag {
 public:
  explicit TalMonitorTagRow(const char* tabs) : tabs_(tabs) {}
  bool Begin(IMonitorWriter& writer) override;

 protected:
  const char* tabs_;
};

// Indents every row that starts while it is open by one more TAB.
class TALMON_EXPORT TalMonitorTagSection : public TalMonitorTag {
 public:
  bool Begin(IMonitorWriter& writer) override;
  bool End(IMonitorWriter& writer) override;
};

// "(separator)": an etched line over the rest of the row.
class TALMON_EXPORT TalMonitorTagSeparator : public TalMonitorTag {
 public:
  bool Begin(IMonitorWriter& writer) override;
};

// " ".
class TALMON_EXPORT TalMonitorTagSpace : public TalMonitorTag {
 public:
  bool Begin(IMonitorWriter& writer) override;
};

// "(tab)": the next stop of the unnamed tab layout.
class TALMON_EXPORT TalMonitorTagTab : public TalMonitorTag {
 public:
  bool Begin(IMonitorWriter& writer) override;
};

// Temporary text: Begin saves the write state, End restores it, so the next text written
// takes this text's place (unless the writer committed it meanwhile).
class TALMON_EXPORT TalMonitorTagTemporary : public TalMonitorTag {
 public:
  bool Begin(IMonitorWriter& writer) override;
  bool End(IMonitorWriter& writer) override;
};

// The local wall-clock time as "HH:MM:SS"; each field that cannot be read is "-1".
class TALMON_EXPORT TalMonitorTagTimeNow : public TalMonitorTag {
 public:
  bool Begin(IMonitorWriter& writer) override;
};

// Writes text escaped for the markup, line by line. A line holding "(" or ")" becomes
// "(raw N LINE)" (N its length in bytes); other lines pass unchanged.
//   "a (b) c"    =>  "(raw 7 a (b) c)"
//   "ab\r\ncd"   =>  "ab" "\n" "cd"
//   "ab\ncd"     =>  "a" "\n" "cd"
//   "a(\n"       =>  "(raw 1 a)" "\n"
// Text is taken to end its lines with CR LF: the character before each "\n" is dropped, so a
// lone "\n" costs the line its last character; a dropped parenthesis still makes its line raw.
// Producers keep to CR LF; do not "fix" this, or every CR of their text reaches the page. The
// caller's buffer is never changed. False for a null text (nothing is written) and as soon as
// writing a line or a "\n" fails.
TALMON_EXPORT bool WriteText(IMonitorWriter& writer, const char* text);

// A function that makes a tag without arguments: usable as a manipulator (`t << line`) and
// as a constructor argument of `trace` (`trace(w, bold)`).
using TalMonitorTagFactory = IMonitorTag* (*)();

// One statement of markup into a monitor, usually a temporary that lives for one expression:
//   trace(w, block, bold) << "Total: " << 42;   // "(bold Total: 42)" on a row of its own
// Everything is written at once, in order; tags are begun where they stand and ended in the
// reverse order when the trace is destroyed. The writer must outlive the trace. A null tag
// (the pool holds 64 live tags at most) or a null factory is ignored: nothing is written for
// it. Tags given by pointer must come from the factories below.
class TALMON_EXPORT trace {
 public:
  explicit trace(IMonitorWriter& monitor);
  trace(IMonitorWriter& monitor, IMonitorTag* tag1);
  trace(IMonitorWriter& monitor, IMonitorTag* tag1, IMonitorTag* tag2);
  trace(IMonitorWriter& monitor, IMonitorTag* tag1, IMonitorTag* tag2, IMonitorTag* tag3);
  // Each factory is called only when its turn comes: its tag is made and begun before the
  // next factory runs.
  trace(IMonitorWriter& monitor, TalMonitorTagFactory tag1);
  trace(IMonitorWriter& monitor, TalMonitorTagFactory tag1, TalMonitorTagFactory tag2);
  trace(IMonitorWriter& monitor, TalMonitorTagFactory tag1, TalMonitorTagFactory tag2,
        TalMonitorTagFactory tag3);
  // The copy writes to the same monitor but starts with no open tags: only the original
  // ends the tags it opened.
  trace(const trace& other);
  trace& operator=(const trace&) = delete;
  // Ends and releases the open tags, the last opened first. Writes nothing else.
  virtual ~trace();

  // Decimal, "-" for negatives: -5 => "-5".
  trace& operator<<(int value);
  // "(true)" or "(false)": a check box.
  trace& operator<<(bool value);
  // Through WriteText; a null text writes nothing.
  trace& operator<<(const char* text);
  trace& operator<<(IMonitorTag* tag);
  trace& operator<<(TalMonitorTagFactory factory);
  // A factory that takes arguments must be called (`t << duration(s)`): uncalled, it would
  // pass for a bool and write "(true)".
  template <typename... Args>
  trace& operator<<(IMonitorTag* (*factory)(Args...)) = delete;

  IMonitorWriter& GetMonitor() { return monitor_; }

 protected:
  // Links tag on top of the open tags, then begins it. A null tag is ignored.
  void Append(IMonitorTag* tag);

 private:
  IMonitorWriter& monitor_;
  IMonitorTag* top_;
};

// The tag factories. Each makes one tag in the tag pool and returns its handle, or null when
// 64 tags are alive. Strings are borrowed: they must outlive the trace statement.
// C++ linkage on purpose: with C names, `link` and `error` would replace the C library's.
TALMON_EXPORT IMonitorTag* block();
TALMON_EXPORT IMonitorTag* bold();
TALMON_EXPORT IMonitorTag* column();
TALMON_EXPORT IMonitorTag* duration(int64_t span);
TALMON_EXPORT IMonitorTag* error();
TALMON_EXPORT IMonitorTag* field();
TALMON_EXPORT IMonitorTag* flat();
TALMON_EXPORT IMonitorTag* flush();
TALMON_EXPORT IMonitorTag* icon(const char* icon);
TALMON_EXPORT IMonitorTag* line();
TALMON_EXPORT IMonitorTag* link(const char* target);
TALMON_EXPORT IMonitorTag* little();
TALMON_EXPORT IMonitorTag* logo(const char* logo);
TALMON_EXPORT IMonitorTag* progress(int progress, int total);
TALMON_EXPORT IMonitorTag* right();
TALMON_EXPORT IMonitorTag* row(const char* tabs);
TALMON_EXPORT IMonitorTag* section();
TALMON_EXPORT IMonitorTag* separator();
TALMON_EXPORT IMonitorTag* space();
TALMON_EXPORT IMonitorTag* tab();
TALMON_EXPORT IMonitorTag* temporary();
TALMON_EXPORT IMonitorTag* time_now();
TALMON_EXPORT IMonitorTag* title();
TALMON_EXPORT IMonitorTag* underlined();
