/* The C interface as a C11 program sees it: talmon/session.h compiled as C, every kind of
 * call made through the shared library, bad arguments answered with false. Exits 0 when
 * every check holds; each failed check prints its line. */
#define _DEFAULT_SOURCE
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "talmon/session.h"

static int failures = 0;

#define CHECK(condition)                                              \
  do {                                                                \
    if (!(condition)) {                                               \
      fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
      ++failures;                                                     \
    }                                                                 \
  } while (0)

int main(void) {
  char dir[] = "/tmp/talmon-c-XXXXXX";
  if (mkdtemp(dir) == NULL) return 2;
  setenv("TALMON_DATA_DIR", dir, 1);

  unsigned int session = 0;
  unsigned int activity = 99;
  CHECK(TalCreateMonitorSession(&session) && session == 1);
  CHECK(TalMonitorGetActivity(session, &activity) && activity == kTalMonPlaying);
  CHECK(TalMonitorSetActivity(session, kTalMonPaused));
  CHECK(TalMonitorGetActivity(session, &activity) && activity == kTalMonPaused);
  CHECK(TalMonitorSetActivity(session, kTalMonPlaying) && TalMonitorDoEvents(session));

  char prefix[kTalMonMaxPath];
  CHECK(TalMonitorDefineSession(session, prefix));
  CHECK(strncmp(prefix, dir, strlen(dir)) == 0 && strcmp(prefix + strlen(dir), "/0001") == 0);
  unsigned int last = 0;
  CHECK(TalMonitorGetLastSession(&last) && last == session);

  IMonitorWriter* writer = NULL;
  CHECK(TalOpenMonitorWriter(session, "Log", false, &writer) && writer != NULL);
  CHECK(TalCheckMonitorWriter(writer));
  IMonitorWriter* second = NULL;
  CHECK(!TalOpenMonitorWriter(session, "Log", false, &second));
  CHECK(!TalOpenMonitorWriter(session, "Play", false, &second));
  CHECK(!TalOpenMonitorWriter(session, "../x", false, &second));
  IMonitorReader* reader = NULL;
  CHECK(TalOpenMonitorReader(session, "Log", &reader) && reader != NULL);
  CHECK(TalCloseMonitorReader(reader));
  IMonitorReader* sessions = NULL;
  CHECK(TalMonitorExecute("sessions", &sessions) && sessions != NULL);
  CHECK(TalCloseMonitorReader(sessions));
  CHECK(TalCloseMonitorWriter(writer));
  CHECK(!TalCheckMonitorWriter(NULL));
  CHECK(TalCloseMonitorWriter(NULL) && TalCloseMonitorReader(NULL));
  CHECK(!TalMonitorGetActivity(session, NULL));

  CHECK(TalMonitorSetActivity(session, kTalMonStopped) && !TalMonitorDoEvents(session));
  CHECK(TalCloseMonitorSession(session));

  char command[64 + sizeof dir];
  snprintf(command, sizeof command, "rm -rf '%s'", dir);
  if (system(command) != 0) fprintf(stderr, "could not remove %s\n", dir);
  return failures == 0 ? 0 : 1;
}
