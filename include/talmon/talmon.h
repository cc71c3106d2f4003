// libtalmon: everything it exports. Producers write pages of markup through the C interface
// or the page facades and the trace stream; viewers read pages, sessions and merged readers
// and lay the markup out on a drawing device (the terminal device included).
#pragma once

#include "talmon/export.h"
#include "talmon/image_path.h"
#include "talmon/korin_string.h"
#include "talmon/monitor.h"
#include "talmon/pages.h"
#include "talmon/readers.h"
#include "talmon/row_batch.h"
#include "talmon/scrollbar.h"
#include "talmon/session.h"
#include "talmon/session_list.h"
#include "talmon/terminal.h"
#include "talmon/textctrl.h"
#include "talmon/trace.h"
