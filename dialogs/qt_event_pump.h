// The Qt event pump that libtalmon-ui registers with libtalmon when it is loaded, so that
// TalMonitorDoEvents keeps a Qt program's windows alive and its paused wait sleeps on Qt
// events and the data directory together. Internal to libtalmon-ui.
#pragma once

#include "session/event_pump.h"

namespace talmon {

// The pump registered at load. Each hook acts only when a Qt application runs on the calling
// thread; otherwise pumpPending and idle do nothing and waitEvents waits on fd alone.
const TalMonEventPump& QtEventPump();

}  // namespace talmon
