// The trace stream and the tag factories.

#include <new>

#include "talmon/trace.h"
#include "trace/markup_out.h"
#include "trace/tag_pool.h"

namespace {

// Makes a tag in the next pool slot; null when the pool is full.
template <typename Tag, typename... Args>
IMonitorTag* MakeTag(Args... args) {
  static_assert(FitsTagSlot<Tag>(), "every tag must fit one pool slot");
  void* slot = TagPool::Allocate();
  if (slot == nullptr) return nullptr;
  return ::new (slot) Tag(args...);
}

// A null factory makes no tag, like a full pool.
IMonitorTag* Make(TalMonitorTagFactory factory) {
  return factory != nullptr ? factory() : nullptr;
}

}  // namespace

trace::trace(IMonitorWriter& monitor) : monitor_(monitor), top_(nullptr) {}

trace::trace(IMonitorWriter& monitor, IMonitorTag* tag1) : trace(monitor) {
  Append(tag1);
}

trace::trace(IMonitorWriter& monitor, IMonitorTag* tag1, IMonitorTag* tag2) : trace(monitor) {
  Append(tag1);
  Append(tag2);
}

trace::trace(IMonitorWriter& monitor, IMonitorTag* tag1, IMonitorTag* tag2, IMonitorTag* tag3)
    : trace(monitor) {
  Append(tag1);
  Append(tag2);
  Append(tag3);
}

trace::trace(IMonitorWriter& monitor, TalMonitorTagFactory tag1) : trace(monitor) {
  Append(Make(tag1));
}

trace::trace(IMonitorWriter& monitor, TalMonitorTagFactory tag1, TalMonitorTagFactory tag2)
    : trace(monitor) {
  Append(Make(tag1));
  Append(Make(tag2));
}

trace::trace(IMonitorWriter& monitor, TalMonitorTagFactory tag1, TalMonitorTagFactory tag2,
             TalMonitorTagFactory tag3)
    : trace(monitor) {
  Append(Make(tag1));
  Append(Make(tag2));
  Append(Make(tag3));
}

// Two traces ending the same tags would close their styles twice and release their pool
// slots twice, so a copy owns none of the original's tags.
trace::trace(const trace& other) : monitor_(other.monitor_), top_(nullptr) {}

trace::~trace() {
  while (top_ != nullptr) {
    TalMonitorTag* tag = static_cast<TalMonitorTag*>(top_);
    tag->End(monitor_);
    top_ = top_->next;
    delete tag;
  }
}

trace& trace::operator<<(int value) {
  char text[kTalMonNumberSize];
  TalMonFormatDecimal(value, text);
  monitor_.Write(text);
  return *this;
}

trace& trace::operator<<(bool value) {
  monitor_.Write(value ? "(true)" : "(false)");
  return *this;
}

trace& trace::operator<<(const char* text) {
  if (text != nullptr) WriteText(monitor_, text);
  return *this;
}

trace& trace::operator<<(IMonitorTag* tag) {
  Append(tag);
  return *this;
}

trace& trace::operator<<(TalMonitorTagFactory factory) {
  Append(Make(factory));
  return *this;
}

void trace::Append(IMonitorTag* tag) {
  // A null tag is what a full pool hands out: skipping it keeps the statement's other tags
  // and the pool's stack order intact.
  if (tag == nullptr) return;
  tag->next = top_;
  top_ = tag;
  static_cast<TalMonitorTag*>(tag)->Begin(monitor_);
}

IMonitorTag* block() {
  return MakeTag<TalMonitorTagBlock>();
}
IMonitorTag* bold() {
  return MakeTag<TalMonitorTagBold>();
}
IMonitorTag* column() {
  return MakeTag<TalMonitorTagColumn>();
}
IMonitorTag* duration(int64_t span) {
  return MakeTag<TalMonitorTagDuration>(span);
}
IMonitorTag* error() {
  return MakeTag<TalMonitorTagError>();
}
IMonitorTag* field() {
  return MakeTag<TalMonitorTagField>();
}
IMonitorTag* flat() {
  return MakeTag<TalMonitorTagFlat>();
}
IMonitorTag* flush() {
  return MakeTag<TalMonitorTagFlush>();
}
IMonitorTag* icon(const char* icon) {
  return MakeTag<TalMonitorTagIcon>(icon);
}
IMonitorTag* line() {
  return MakeTag<TalMonitorTagLine>();
}
IMonitorTag* link(const char* target) {
  return MakeTag<TalMonitorTagLink>(target);
}
IMonitorTag* little() {
  return MakeTag<TalMonitorTagLittle>();
}
IMonitorTag* logo(const char* logo) {
  return MakeTag<TalMonitorTagLogo>(logo);
}
IMonitorTag* progress(int progress, int total) {
  return MakeTag<TalMonitorTagProgress>(progress, total);
}
IMonitorTag* right() {
  return MakeTag<TalMonitorTagRight>();
}
IMonitorTag* row(const char* tabs) {
  return MakeTag<TalMonitorTagRow>(tabs);
}
IMonitorTag* section() {
  return MakeTag<TalMonitorTagSection>();
}
IMonitorTag* separator() {
  return MakeTag<TalMonitorTagSeparator>();
}
IMonitorTag* space() {
  return MakeTag<TalMonitorTagSpace>();
}
IMonitorTag* tab() {
  return MakeTag<TalMonitorTagTab>();
}
IMonitorTag* temporary() {
  return MakeTag<TalMonitorTagTemporary>();
}
IMonitorTag* time_now() {
  return MakeTag<TalMonitorTagTimeNow>();
}
IMonitorTag* title() {
  return MakeTag<TalMonitorTagTitle>();
}
IMonitorTag* underlined() {
  return MakeTag<TalMonitorTagUnderlined>();
}
