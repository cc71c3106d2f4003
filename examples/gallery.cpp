// Every kind of markup in one text control. Without arguments it opens a window; with
// "--save FILE.png" it renders the window to FILE.png once it is on screen and exits (the
// screenshots in doc/ are made this way). Icons come from the data directory's icons/ folder,
// which it fills from the style's standard icons.
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

class Rows : public IMonitorReader {
 public:
  bool GetCount(uint32_t& count) override {
    count = static_cast<uint32_t>(rows_.size());
    return true;
  }
  bool GetRow(uint32_t row, const char*& text, uint32_t& length) override {
    if (row >= rows_.size()) return false;
    text = rows_[row].c_str();
    length = static_cast<uint32_t>(rows_[row].size());
    return true;
  }

 private:
  std::vector<std::string> rows_ = {
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
};

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
  const char* save = argc > 2 && std::strcmp(argv[1], "--save") == 0 ? argv[2] : nullptr;
  if (!WriteIcons(*app.style())) {
    std::fprintf(stderr, "gallery: cannot write the icons into the data directory\n");
    return 1;
  }
  Rows rows;
  TalMonTextCtrl ctrl;
  ctrl.setWindowTitle("TalMon markup");
  ctrl.SetMonitor(&rows);
  ctrl.SetBorder(true);
  ctrl.resize(560, 18 * 21 + 10);
  ctrl.show();
  ctrl.Refresh(true);
  if (save != nullptr) {
    QTimer::singleShot(300, &ctrl, [&ctrl, save] {
      const bool saved = ctrl.grab().save(QString::fromLocal8Bit(save));
      if (!saved) std::fprintf(stderr, "gallery: cannot write %s\n", save);
      QCoreApplication::exit(saved ? 0 : 1);
    });
  }
  return app.exec();
}
