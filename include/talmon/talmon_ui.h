// libtalmon-ui: everything it exports, for Qt 6 Widgets programs. The text control with its
// standard bars, the message box and its thread, the viewer launchers; everything of libtalmon
// comes with it. Used from the Qt GUI thread unless a class says otherwise.
#pragma once

#include "talmon/message_box.h"
#include "talmon/talmon.h"
#include "talmon/text_ctrl.h"
#include "talmon/viewer.h"
