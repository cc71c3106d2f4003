// A process of its own for what a test process with a QApplication cannot show:
//   (no argument)  a TalMonThread box with no QApplication in the process, fed by a producer
//                  for a second, then destroyed; the process must exit 0 every time
//   no-display     none of QT_QPA_PLATFORM, DISPLAY, WAYLAND_DISPLAY: no box, -1 at once
//   core-only      only a QCoreApplication: no box, -1 at once
// Exits 0 when everything went as said, 1 with a message otherwise.

#include <QCoreApplication>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "dialogs/gui_thread.h"
#include "talmon/message_box.h"
#include "talmon/session.h"
#include "tests/support/temp_dir.h"

namespace {

int Fail(const char* what) {
  std::fprintf(stderr, "message_box_thread_probe: %s\n", what);
  return 1;
}

// No box can be shown: every entry answers at once.
int NoBox() {
  const auto start = std::chrono::steady_clock::now();
  if (TalMonitorMessageBox(nullptr, 0) != -1) return Fail("a box was shown");
  TalMonThread thread;
  if (thread.GetDialog() != nullptr || thread.Start()) return Fail("a thread box was made");
  if (std::chrono::steady_clock::now() - start > std::chrono::seconds(5)) {
    return Fail("the refusal took its time");
  }
  return 0;
}

int ThreadBox() {
  unsigned int session = 0;
  IMonitorWriter* writer = nullptr;
  IMonitorReader* reader = nullptr;
  if (!TalCreateMonitorSession(&session) || !TalOpenMonitorWriter(session, "Box", true, &writer) ||
      !TalOpenMonitorReader(session, "Box", &reader)) {
    return Fail("cannot open the page");
  }
  {
    TalMonThread thread;
    TalMonMessageBox* box = thread.GetDialog();
    if (box == nullptr) return Fail("no box");
    box->AddButton(1, 1, 1, "&Ok");
    box->SetTitle("Copying");
    box->GetTextCtrl().SetMonitor(reader);
    if (!thread.Start()) return Fail("the box was not shown");
    for (int i = 0; i < 20; ++i) {
      const std::string row = "(progress " + std::to_string(i) + ")(total 20)\n";
      writer->Write(row.c_str());
      writer->Flush();
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    // The box read the rows by itself, on its own thread.
    int32_t range = 0;
    for (int wait = 0; wait < 40 && range < 20; ++wait) {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      talmon::RunOnGuiThread([&] { range = box->GetTextCtrl().GetVerticalBar()->GetRange(); },
                             false);
    }
    if (range < 20) return Fail("the box did not show the rows");
  }
  TalCloseMonitorReader(reader);
  TalCloseMonitorWriter(writer);
  TalCloseMonitorSession(session);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  talmon_test::ScopedDataDir dir;
  const std::string mode = argc > 1 ? argv[1] : "";
  if (mode == "no-display") {
    for (const char* name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"})
      unsetenv(name);
    return NoBox();
  }
  if (mode == "core-only") {
    QCoreApplication app(argc, argv);
    return NoBox();
  }
  return ThreadBox();
}
