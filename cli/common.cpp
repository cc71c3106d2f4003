// The command-line parser, messages and the session and page look-ups of the terminal tool.
#include "cli/common.h"

#include <cstdio>
#include <cstdlib>
#include <set>

#include "cli/os.h"
#include "talmon/session.h"

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

bool ParseSessionNumber(const std::string& text, unsigned int& session) {
  long v = 0;
  if (!ParseNumber(text, 1, 9999, v)) return false;
  session = static_cast<unsigned int>(v);
  return true;
}

std::string DataDirectory() {
  // The prefix of a session is the data directory followed by four digits.
  char prefix[kTalMonMaxPath] = {};
  if (!TalMonitorDefineSession(1, prefix)) return "";
  std::string dir = prefix;
  return dir.size() >= 4 ? dir.substr(0, dir.size() - 4) : "";
}

std::vector<unsigned int> ListSessions() {
  // A file belongs to the session of its leading number (four digits at most), as the
  // library's own scan reads it; files without one belong to no session.
  std::vector<std::string> names;
  os::ListFiles(DataDirectory(), names);
  std::set<unsigned int> sessions;
  for (const std::string& name : names) {
    unsigned int number = 0;
    size_t i = 0;
    while (i < name.size() && i < 4 && name[i] >= '0' && name[i] <= '9') {
      number = number * 10 + static_cast<unsigned int>(name[i] - '0');
      ++i;
    }
    if (i > 0 && number > 0) sessions.insert(number);
  }
  return std::vector<unsigned int>(sessions.begin(), sessions.end());
}

namespace {

bool IsMarker(const Korin::String& name) {
  return name.compareIgnoreCase("Play") == 0 || name.compareIgnoreCase("Pause") == 0 ||
         name.compareIgnoreCase("Stop") == 0;
}

}  // namespace

bool SessionExists(unsigned int session) {
  TalMonitorSelectPage select;
  select.SetSession(session);
  Korin::String name;
  return select.Read(name);
}

std::vector<std::string> ListPages(unsigned int session) {
  std::vector<std::string> pages;
  TalMonitorSelectPage select;
  select.SetSession(session);
  Korin::String name;
  while (select.Read(name)) {
    if (!IsMarker(name)) pages.emplace_back(static_cast<const char*>(name));
  }
  return pages;
}

std::string SessionFile(unsigned int session, const std::string& name) {
  char prefix[kTalMonMaxPath] = {};
  TalMonitorDefineSession(session, prefix);
  return prefix + name;
}

uint32_t PageRows(unsigned int session, const std::string& page) {
  IMonitorReader* reader = nullptr;
  uint32_t rows = 0;
  if (TalOpenMonitorReader(session, page.c_str(), &reader) && reader != nullptr) {
    if (!reader->GetCount(rows)) rows = 0;
  }
  TalCloseMonitorReader(reader);
  return rows;
}

uint64_t PageSize(unsigned int session, const std::string& page) {
  return os::FileSize(SessionFile(session, page + ".TXT")) +
         os::FileSize(SessionFile(session, page + ".ROW"));
}

const char* ActivityName(unsigned int activity) {
  switch (activity) {
    case kTalMonPlaying:
      return "playing";
    case kTalMonPaused:
      return "paused";
    default:
      return "stopped";
  }
}

bool PauseStands(unsigned int session) {
  const std::string pause = SessionFile(session, "Pause.TXT");
  return os::IsOwnFile(pause) && (os::FileSize(pause) == 0 || os::IsHeld(pause));
}

std::string ActivityLabel(unsigned int session) {
  unsigned int activity = kTalMonStopped;
  TalMonitorGetActivity(session, &activity);
  std::string label = ActivityName(activity);
  if (activity == kTalMonPlaying && PauseStands(session)) label += ", held by a Pause marker";
  return label;
}

const char kNoDataDirectory[] =
    "no usable data directory: it is $TALMON_DATA_DIR, else $XDG_STATE_HOME/talmon, else\n"
    "~/.local/state/talmon, and must be a directory of yours that nobody else may write\n"
    "(TALMON_SHARED_DIR=1 accepts a directory shared with other users)";

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
