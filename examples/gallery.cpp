// Every kind of markup in one text control, and a message box with a live progress bar.
// Without arguments it opens the text control's window; "--messagebox" opens the box instead;
// with "--save FILE.png" after either it renders the window to FILE.png once it is on screen
// and exits (the pictures in doc/images/ are made this way). Icons come from the data
// directory's icons/ folder, which it fills from the style's standard icons.
#include <talmon/talmon_ui.h>

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QStyle>
#include <QTimer>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

// A temporary page of a new session, written here and shown by a reader of it.
class Page {
 public:
  Page() {
    ok_ = TalCreateMonitorSession(&session_) &&
          TalOpenMonitorWriter(session_, "Gallery", true, &writer_) &&
          TalOpenMonitorReader(session_, "Gallery", &reader_);
  }
  ~Page() {
    TalCloseMonitorReader(reader_);
    TalCloseMonitorWriter(writer_);
    TalCloseMonitorSession(session_);
  }
  bool ok() const { return ok_; }
  IMonitorWriter& writer() { return *writer_; }
  IMonitorReader* reader() { return reader_; }

 private:
  unsigned int session_ = 0;
  IMonitorWriter* writer_ = nullptr;
  IMonitorReader* reader_ = nullptr;
  bool ok_ = false;
};

const std::vector<std::string> kEveryKind = {
    "(title Build of the release)",
    "plain, (bold bold), (little little), (typewriter typewriter) and (underlined underlined)",
    "(tab)file(tab)size(tab)time",
    "(tab)page.cpp(tab)48213(tab)00:00:03",
    "(tab)text_layout.cpp(tab)120877(tab)00:00:11",
    "(flat a flat box(column)with(column)columns)",
    "(flat joined rows(column)read(column)as one box)",
    "(error (bold error:) cannot open (typewriter missing.h))",
    "see (link https://example.org/build/42)the log) for the details",
    "(progress 37)(total 100)",
    "(progress 7) work of unknown length",
    "(separator)",
    "(icon info) 14 files copied (right 12:00:01)",
    "(icon warning) (true) done (false) skipped (field 2 warnings)",
    "\t(pea)a section's item (raw 11 f(x) = (y))",
    "(logo logo)",
    "",
};

// Renders window to path once it is on screen, then ends the program.
void SaveWhenShown(QWidget& window, const char* path) {
  QTimer::singleShot(400, &window, [&window, path] {
    const bool saved = window.grab().save(QString::fromLocal8Bit(path));
    if (!saved) std::fprintf(stderr, "gallery: cannot write %s\n", path);
    QCoreApplication::exit(saved ? 0 : 1);
  });
}

// Writes the style's standard icons as NAME.png into the data directory's icons/ folder.
bool WriteIcons(const QStyle& style) {
  char path[512];
  if (!TalMonImagePath("info", path, sizeof path)) return false;
  const QString dir = QFileInfo(QString::fromLocal8Bit(path)).absolutePath();
  if (!QDir().mkpath(dir)) return false;
  const struct {
    const char* name;
    QStyle::StandardPixmap pixmap;
    int size;
  } icons[] = {{"info", QStyle::SP_MessageBoxInformation, 16},
               {"warning", QStyle::SP_MessageBoxWarning, 16},
               {"logo", QStyle::SP_ComputerIcon, 40}};
  for (const auto& icon : icons) {
    const QPixmap pixmap = style.standardIcon(icon.pixmap).pixmap(icon.size, icon.size);
    if (!pixmap.save(dir + "/" + icon.name + ".png")) return false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  const bool box = argc > 1 && std::strcmp(argv[1], "--messagebox") == 0;
  const int next = box ? 2 : 1;
  const char* save =
      argc > next + 1 && std::strcmp(argv[next], "--save") == 0 ? argv[next + 1] : nullptr;
  if (!WriteIcons(*app.style())) {
    std::fprintf(stderr, "gallery: cannot write the icons into the data directory\n");
    return 1;
  }
  Page page;
  if (!page.ok()) {
    std::fprintf(stderr, "gallery: cannot open a page in the data directory\n");
    return 1;
  }
  if (box) {
    // A job's question while it goes on copying: the bar moves at every refresh.
    trace(page.writer(), block, title) << "Copying the release";
    TalMonMessageBox message(nullptr);
    message.SetTitle("Copying");
    message.SetIcon(app.style()->standardIcon(QStyle::SP_MessageBoxQuestion));
    message.AddButton(1, 1, 0, "&Continue in the background");
    message.AddButton(2, 0, 1, "&Stop");
    message.GetTextCtrl().SetMonitor(page.reader());
    int done = 14;
    QTimer ticking;
    QObject::connect(&ticking, &QTimer::timeout, [&page, &done] {
      done = done % 37 + 1;
      trace(page.writer(), temporary)
          << done << " of 37 files copied " << progress(done, 37) << flush;
    });
    ticking.start(100);
    if (save != nullptr) SaveWhenShown(message, save);
    return static_cast<int>(save != nullptr ? (message.ShowModeless(), app.exec())
                                            : message.DoModal());
  }
  for (const std::string& row : kEveryKind) {
    page.writer().Write(row.c_str());
    page.writer().Write("\n");
  }
  page.writer().Flush();
  TalMonTextCtrl ctrl;
  ctrl.setWindowTitle("TalMon markup");
  ctrl.SetMonitor(page.reader());
  ctrl.SetBorder(true);
  ctrl.resize(560, 18 * 21 + 10);
  ctrl.show();
  ctrl.Refresh(true);
  if (save != nullptr) SaveWhenShown(ctrl, save);
  return app.exec();
}
