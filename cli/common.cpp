// The command-line parser, messages and the session and page look-ups of the terminal tool.
#include "cli/common.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "talmon/session.h"
#include "talmon/session_list.h"

namespace talmon::cli {

int Fail(const std::string& message) {
  std::fprintf(stderr, "talmon: %s\n", message.c_str());
  return kExitFailure;
}

int UsageError(const std::string& command, const std::string& message) {
  std::fprintf(stderr, "talmon %s: %s\nTry 'talmon %s --help'.\n", command.c_str(), message.c_str(),
               command.c_str());
  return kExitUsage;
}

bool Arguments::Parse(const std::vector<std::string>& args, const std::vector<OptionDef>& defs,
                      std::string& error, bool stopAtWord) {
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "--" || (stopAtWord && (a.size() < 2 || a[0] != '-'))) {
      positional_.insert(positional_.end(), args.begin() + static_cast<long>(i) + (a == "--"),
                         args.end());
      return true;
    }
    if (a == "--help" || a == "-h") {
      help_ = true;
      continue;
    }
    if (a.size() < 2 || a[0] != '-') {
      positional_.push_back(a);
      continue;
    }
    const OptionDef* def = nullptr;
    std::string value;
    bool inlineValue = false;
    if (a[1] == '-') {
      const size_t eq = a.find('=');
      const std::string name = a.substr(2, eq == std::string::npos ? std::string::npos : eq - 2);
      for (const OptionDef& s : defs) {
        if (name == s.name) def = &s;
      }
      if (eq != std::string::npos) {
        value = a.substr(eq + 1);
        inlineValue = true;
      }
    } else if (a.size() == 2) {
      for (const OptionDef& s : defs) {
        if (s.shortName != 0 && a[1] == s.shortName) def = &s;
      }
    }
    if (def == nullptr) {
      error = "unknown option '" + a + "'";
      return false;
    }
    if (!def->takesValue && inlineValue) {
      error = "option '--" + std::string(def->name) + "' takes no value";
      return false;
    }
    if (def->takesValue && !inlineValue) {
      if (i + 1 >= args.size()) {
        error = "option '" + a + "' needs a value";
        return false;
      }
      value = args[++i];
    }
    options_.emplace_back(def->name, value);
  }
  return true;
}

bool ParseCommandLine(const std::string& command, const std::vector<std::string>& args,
                      const std::vector<OptionDef>& defs, const char* help, Arguments& parsed,
                      int& code, bool stopAtWord) {
  std::string error;
  if (!parsed.Parse(args, defs, error, stopAtWord)) {
    code = UsageError(command, error);
    return false;
  }
  if (parsed.Help()) {
    std::fputs(help, stdout);
    code = kExitOk;
    return false;
  }
  return true;
}

bool Arguments::Has(const std::string& name) const {
  for (const auto& o : options_) {
    if (o.first == name) return true;
  }
  return false;
}

std::string Arguments::Value(const std::string& name, const std::string& fallback) const {
  std::string value = fallback;
  for (const auto& o : options_) {
    if (o.first == name) value = o.second;
  }
  return value;
}

bool ParseNumber(const std::string& text, long min, long max, long& value) {
  if (text.empty() || text.size() > 9) return false;
  long v = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    v = v * 10 + (c - '0');
  }
  if (v < min || v > max) return false;
  value = v;
  return true;
}

bool IsSessionWord(const std::string& word) {
  return !word.empty() && word.find_first_not_of("0123456789") == std::string::npos;
}

bool ParseSessionNumber(const std::string& text, unsigned int& session) {
  long v = 0;
  if (!ParseNumber(text, 1, 9999, v)) return false;
  session = static_cast<unsigned int>(v);
  return true;
}

std::string DataDirectory(std::string* why) {
  std::string dir;
  TalMonGetDataDirectory(dir, why);
  return dir;
}

std::vector<unsigned int> ListSessions() {
  std::vector<TalMonSessionInfo> sessions;
  TalMonListSessions(sessions);
  std::vector<unsigned int> numbers;
  for (const TalMonSessionInfo& info : sessions)
    numbers.push_back(info.session);
  return numbers;
}

bool SessionExists(unsigned int session) {
  TalMonSessionInfo info;
  return TalMonGetSessionInfo(session, info);
}

std::vector<std::string> PageNames(const TalMonSessionInfo& info) {
  std::vector<std::string> pages;
  for (const TalMonPageInfo& page : info.pages)
    pages.push_back(page.name);
  return pages;
}

std::vector<std::string> ListPages(unsigned int session) {
  TalMonSessionInfo info;
  TalMonGetSessionInfo(session, info);
  return PageNames(info);
}

uint64_t PageSize(const TalMonPageInfo& page) {
  // Its text, and the row file's header and one record per row.
  return page.bytes + 12 + 8 * uint64_t{page.rows};
}

std::string StateLabel(const TalMonSessionInfo& info) {
  std::string label = TalMonSessionStateWord(info.state);
  if (info.pauseHeld) label += ", held by a Pause marker";
  return label;
}

int MakeSession(unsigned int& session) {
  if (TalCreateMonitorSession(&session) && session != 0) return kExitOk;
  unsigned int last = 0;
  if (TalMonitorGetLastSession(&last) && last >= 9999) {
    return Fail("session 9999 exists in " + DataDirectory() +
                " and numbers stop there: remove its files to start new sessions");
  }
  return Fail("cannot make a session in " + DataDirectory());
}

std::string FormatSize(uint64_t bytes) {
  char text[32];
  if (bytes < 1024) {
    std::snprintf(text, sizeof text, "%llu B", static_cast<unsigned long long>(bytes));
    return text;
  }
  const char* units[] = {"KiB", "MiB", "GiB", "TiB"};
  double value = static_cast<double>(bytes) / 1024.0;
  size_t unit = 0;
  while (value >= 1024.0 && unit + 1 < sizeof units / sizeof units[0]) {
    value /= 1024.0;
    ++unit;
  }
  std::snprintf(text, sizeof text, "%.1f %s", value, units[unit]);
  return text;
}

std::string FormatTime(int64_t seconds) {
  if (seconds == 0) return "-";
  const time_t t = static_cast<time_t>(seconds);
  tm local{};
  char text[32];
  if (localtime_r(&t, &local) == nullptr ||
      std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local) == 0) {
    return "-";
  }
  return text;
}

int ChooseSession(const std::string& command, const std::vector<std::string>& positional,
                  size_t index, unsigned int& session) {
  if (index < positional.size()) {
    if (!ParseSessionNumber(positional[index], session)) {
      return UsageError(command, "'" + positional[index] + "' is not a session number (1-9999)");
    }
    if (!SessionExists(session)) {
      return Fail("session " + std::to_string(session) + " does not exist in " + DataDirectory());
    }
    return kExitOk;
  }
  session = 0;
  TalMonitorGetLastSession(&session);
  if (session == 0) return Fail("there are no sessions in " + DataDirectory());
  return kExitOk;
}

}  // namespace talmon::cli
