// The `talmon` terminal tool: lists sessions and pages, shows and follows them, controls a
// session's producer, and produces pages itself (from standard input, from a command, or the
// demo). Links only the public library.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "cli/commands.h"
#include "cli/common.h"

namespace {

const char kHelp[] =
    "Usage: talmon COMMAND [ARGS...]\n"
    "\n"
    "Watch and control the progress and log pages that programs write with libtalmon.\n"
    "\n"
    "Commands:\n"
    "  sessions                      list the sessions with their activity, pages, rows, size\n"
    "  pages [SESSION]               list the pages of a session (default: the last one)\n"
    "  show [-f] [--merged|--pages] [--color=WHEN] [SESSION] [PAGE]\n"
    "                                print a page or all pages of a session; -f follows\n"
    "  pause|resume|stop [SESSION]   control the producer of a session\n"
    "  write [-s SESSION] [--temporary] PAGE\n"
    "                                write standard input to a page, one row per line\n"
    "  run [--page NAME] -- COMMAND [ARGS...]\n"
    "                                run a command with its output and errors as pages\n"
    "  demo [--seconds N] [--gui]    a producer that shows every kind of markup\n"
    "  export [SESSION] [DIR]        keep a session: its pages and merged view as text files\n"
    "\n"
    "Options: --help (also after a command), --version.\n"
    "\n"
    "Keeping runs: every new session (talmon run, write, demo, or any program that starts\n"
    "one) first DELETES every file of every earlier session whose producer has ended: the\n"
    "pages of finished and crashed sessions, and any file of the data directory whose name\n"
    "starts with a number (0001Log.TXT, 0002Play.TXT, ...). Only sessions whose producer still\n"
    "runs survive. To keep a run, export it before the next session starts:\n"
    "'talmon export SESSION DIR'.\n"
    "\n"
    "'talmon COMMAND --help' tells more. The data directory is $TALMON_DATA_DIR, else\n"
    "$XDG_STATE_HOME/talmon, else ~/.local/state/talmon; it must be yours alone unless\n"
    "TALMON_SHARED_DIR=1 is set, and then each user sees and touches only their own files.\n"
    "Page names written by the tool may not contain '.' (the library would drop the part\n"
    "from the dot on) nor be Play, Pause or Stop (the session's markers).\n"
    "Exit status: 0 done, 1 failed, 2 wrong usage; run exits with its command's status.\n";

}  // namespace

int main(int argc, char** argv) {
  using namespace talmon::cli;
  if (argc < 2) {
    std::fputs(kHelp, stderr);
    return kExitUsage;
  }
  const std::string command = argv[1];
  const Args args(argv + 2, argv + argc);
  if (command == "--help" || command == "-h" || command == "help") {
    std::fputs(kHelp, stdout);
    return kExitOk;
  }
  if (command == "--version") {
    std::printf("talmon %s\n", TALMON_VERSION);
    return kExitOk;
  }
  const bool help = std::find(args.begin(), args.end(), "--help") != args.end() ||
                    std::find(args.begin(), args.end(), "-h") != args.end();
  std::string why;
  if (!help && DataDirectory(&why).empty()) return Fail(why);
  if (command == "sessions") return CommandSessions(args);
  if (command == "pages") return CommandPages(args);
  if (command == "pause" || command == "resume" || command == "stop") {
    return CommandActivity(command, args);
  }
  if (command == "show") return CommandShow(args);
  if (command == "write") return CommandWrite(args);
  if (command == "run") return CommandRun(args);
  if (command == "demo") return CommandDemo(args);
  if (command == "export") return CommandExport(args);
  std::fprintf(stderr, "talmon: unknown command '%s'\nTry 'talmon --help'.\n", command.c_str());
  return kExitUsage;
}
