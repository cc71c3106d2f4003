// What the commands of the terminal tool share: the command-line parser, messages and exit
// codes, and the look-ups of sessions and pages in the data directory through the public
// library. Single-threaded, like the whole tool.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

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

// Parses a decimal number from 1 to 9999, the range of session numbers.
bool ParseSessionNumber(const std::string& text, unsigned int& session);
// Parses a whole number from min to max.
bool ParseNumber(const std::string& text, long min, long max, long& value);

// The data directory, ending in "/".
std::string DataDirectory();
// The sessions that have files in the data directory, ascending.
std::vector<unsigned int> ListSessions();
// True when the session has any file: a page or an activity marker.
bool SessionExists(unsigned int session);
// The session's page names in the library's order, without the activity markers.
std::vector<std::string> ListPages(unsigned int session);
// The path of a session's file: prefix + name, e.g. SessionFile(3, "Log.TXT").
std::string SessionFile(unsigned int session, const std::string& name);
// Rows of a page, 0 when it cannot be read.
uint32_t PageRows(unsigned int session, const std::string& page);
// Bytes on disk of a page: its text and row files.
uint64_t PageSize(unsigned int session, const std::string& page);
// "playing", "paused" or "stopped".
const char* ActivityName(unsigned int activity);
// True when the session's "Pause.TXT" stands: the user's own, and empty (made by hand) or
// held. Beside "Play.TXT" such a marker reads as playing but holds the producer.
bool PauseStands(unsigned int session);
// The session's activity in words, with the case of a playing session that a Pause marker
// holds: "playing, held by a Pause marker".
std::string ActivityLabel(unsigned int session);
// Starts a new session for a producing command; kExitOk, or prints why not (the data
// directory, or session numbers used up to 9999) and returns kExitFailure.
int MakeSession(unsigned int& session);
// What the tool says when the library finds no data directory it may use.
extern const char kNoDataDirectory[];
// "512 B", "1.5 KiB", "20.0 MiB".
std::string FormatSize(uint64_t bytes);

// Picks the session a command works on: positional[index] when given, which must be a session
// number of an existing session, else the last session, which must be there. Returns kExitOk,
// or prints why not and returns kExitUsage (not a number) or kExitFailure (no such session).
int ChooseSession(const std::string& command, const std::vector<std::string>& positional,
                  size_t index, unsigned int& session);

}  // namespace talmon::cli
