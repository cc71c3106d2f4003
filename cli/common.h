// What the commands of the terminal tool share: the command-line parser, messages and exit
// codes, and the look-ups of sessions and pages in the data directory through the public
// library. Single-threaded, like the whole tool.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "talmon/session_list.h"

namespace talmon::cli {

// Exit codes: failures (a missing session, a refused rename) and usage errors.
constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

// Prints "talmon: MESSAGE" on standard error and returns kExitFailure.
int Fail(const std::string& message);
// Prints "talmon COMMAND: MESSAGE" and a pointer to the command's help on standard error and
// returns kExitUsage.
int UsageError(const std::string& command, const std::string& message);

// One option a command accepts: "--name", and "-s" when shortName is not 0. An option with a
// value takes it as "--name=V", "--name V" or "-s V".
struct OptionDef {
  const char* name;
  char shortName;
  bool takesValue;
};

// The parsed command line of one command. Options may stand anywhere before "--"; everything
// after "--" is positional. "--help" and "-h" are always accepted.
class Arguments {
 public:
  // False with error set on an unknown option or a missing value. stopAtWord: the first word
  // that is no option ends the options, as "--" does (for a command line to run).
  bool Parse(const std::vector<std::string>& args, const std::vector<OptionDef>& defs,
             std::string& error, bool stopAtWord = false);
  bool Has(const std::string& name) const;
  // The last value given for the option; fallback when it was not given.
  std::string Value(const std::string& name, const std::string& fallback) const;
  bool Help() const { return help_; }
  const std::vector<std::string>& Positional() const { return positional_; }

 private:
  std::vector<std::pair<std::string, std::string>> options_;
  std::vector<std::string> positional_;
  bool help_ = false;
};

// The start of every command: parses its words (Arguments::Parse) and answers "--help" with
// help on standard output. True when the command goes on with parsed; false with code the
// exit status to return: kExitOk after the help, kExitUsage after a usage error.
bool ParseCommandLine(const std::string& command, const std::vector<std::string>& args,
                      const std::vector<OptionDef>& defs, const char* help, Arguments& parsed,
                      int& code, bool stopAtWord = false);

// True when word is written as a session number would be (digits only), so that a command
// taking [SESSION] [NAME] tells them apart: "12" is a session, "Log" a name.
bool IsSessionWord(const std::string& word);
// Parses a decimal number from 1 to 9999, the range of session numbers.
bool ParseSessionNumber(const std::string& text, unsigned int& session);
// Parses a whole number from min to max.
bool ParseNumber(const std::string& text, long min, long max, long& value);

// The data directory, ending in "/"; "" when there is no usable one, and then why says which
// directory and why in one line.
std::string DataDirectory(std::string* why = nullptr);
// The sessions that have files of the user's own in the data directory, ascending.
std::vector<unsigned int> ListSessions();
// True when the session has any file of the user's own: a page or an activity marker.
bool SessionExists(unsigned int session);
// The session's page names in the library's order, without the activity markers.
std::vector<std::string> ListPages(unsigned int session);
// The names of info's pages, in its order.
std::vector<std::string> PageNames(const TalMonSessionInfo& info);
// Bytes of a page on disk, from what its header publishes.
uint64_t PageSize(const TalMonPageInfo& page);
// The session's state in words, with the case of a playing session that a Pause marker
// holds: "playing, held by a Pause marker".
std::string StateLabel(const TalMonSessionInfo& info);
// Starts a new session for a producing command; kExitOk, or prints why not (the data
// directory, or session numbers used up to 9999) and returns kExitFailure.
int MakeSession(unsigned int& session);
// "512 B", "1.5 KiB", "20.0 MiB".
std::string FormatSize(uint64_t bytes);
// Seconds since the epoch as local time, "2026-11-24 02:51:10"; "-" for 0.
std::string FormatTime(int64_t seconds);

// Picks the session a command works on: positional[index] when given, which must be a session
// number of an existing session, else the last session, which must be there. Returns kExitOk,
// or prints why not and returns kExitUsage (not a number) or kExitFailure (no such session).
int ChooseSession(const std::string& command, const std::vector<std::string>& positional,
                  size_t index, unsigned int& session);

}  // namespace talmon::cli
