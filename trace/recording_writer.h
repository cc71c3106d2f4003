// Test double for the trace module's tests: an IMonitorWriter that logs every call in order.
// One test thread.
#pragma once

#include <string>
#include <vector>

#include "talmon/monitor.h"

class RecordingWriter : public IMonitorWriter {
 public:
  // Written text as it stands, other calls in braces: "{open bold}Total: 42{close bold}".
  std::string log;
  std::vector<std::string> openTags;
  bool failWrites = false;  // every Write, OpenTag and CloseTag fails
  bool failFlush = false;

  bool Write(const char* text) override {
    if (text == nullptr) return true;
    if (failWrites) return false;
    log += text;
    if (*text != '\0') last_ = log.back();
    return true;
  }
  bool OpenTag(const char* name) override {
    if (!Note("{open " + std::string(name) + "}")) return false;
    openTags.push_back(name);
    return true;
  }
  bool CloseTag() override {
    const std::string name = openTags.back();
    openTags.pop_back();
    return Note("{close " + name + "}");
  }
  // Markup of OpenTag and CloseTag never counts as the last character.
  bool GetLastChar(char& out) override {
    out = last_;
    return true;
  }
  bool Flush() override { return !failFlush && Note("{flush}"); }
  bool PushTab() override { return Note("{push}"); }
  bool PopTab() override { return Note("{pop}"); }
  bool Save() override { return Note("{save}"); }
  bool Restore() override { return Note("{restore}"); }
  bool Commit() override { return Note("{commit}"); }
  bool Delete() override { return Note("{delete}"); }
  bool PushName(const char*) override { return true; }
  bool PopName() override { return true; }
  const char* GetTopName() override { return nullptr; }

 private:
  bool Note(const std::string& call) {
    if (failWrites) return false;
    log += call;
    return true;
  }
  char last_ = '\0';
};
