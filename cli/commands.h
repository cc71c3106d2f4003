// The commands of the terminal tool. Each takes the words after its name and returns the
// tool's exit code (0 done, 1 failure, 2 usage error; run returns its command's status).
#pragma once

#include <string>
#include <vector>

namespace talmon::cli {

using Args = std::vector<std::string>;

int CommandSessions(const Args& args);
int CommandPages(const Args& args);
// name is "pause", "resume" or "stop".
int CommandActivity(const std::string& name, const Args& args);
int CommandShow(const Args& args);
int CommandWrite(const Args& args);
int CommandRun(const Args& args);
int CommandDemo(const Args& args);
int CommandExport(const Args& args);

}  // namespace talmon::cli
