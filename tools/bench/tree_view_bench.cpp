// The tree screen on a large result: an hfs-many image of N files is scanned with the core and
// opened in the desktop program's outline, offscreen. Prints the time of each step a user takes:
// showing the root, expanding the big folder, scrolling to its end in steps, marking everything,
// and each view switch.
// usage: tree-view-bench [FILES] [IMAGE]   (default 1000000; the image is made in /tmp when not given)
#include <QAbstractItemModel>
#include <QApplication>
#include <QPushButton>
#include <QScrollBar>
#include <QTreeView>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "app/wizard_controller.h"
#include "app/wizard_view.h"
#include "hfs/hfs_volume.h"
#include "hfs/normal_catalog_scan.h"
#include "imagekit/scenario.h"
#include "tree/record_tree_model.h"
#include "tree/tree_page.h"
#include "volume/volume.h"

namespace {

using Clock = std::chrono::steady_clock;

class NoLauncher : public nua::ScanLauncher {
 public:
  void detach(nua::ScanEntry, std::shared_ptr<nua::Volume>, nua::ScanArguments) override {}
  void detachVolumeScan(std::shared_ptr<nua::MediaReader>) override {}
};

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

void report(const char* step, double seconds) { std::printf("%-44s %9.3f s\n", step, seconds); }

// Runs the event loop until the page has shown the switched view.
double toggleAndWait(nua::ui::TreePage& page, QPushButton* button) {
  bool done = false;
  const auto connection = QObject::connect(&page, &nua::ui::TreePage::treePrepared, [&] { done = true; });
  const auto start = Clock::now();
  button->click();
  while (!done) QApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
  page.outlineViewData()->viewport()->repaint();
  QObject::disconnect(connection);
  return secondsSince(start);
}

}  // namespace

int main(int argc, char** argv) {
  const std::uint64_t files = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 1000000;
  std::string imagePath = argc > 2 ? argv[2] : "";
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication app(argc, argv);

  const bool madeHere = imagePath.empty();
  std::uint64_t imageBytes = 0;
  if (madeHere) {
    imagePath = (std::filesystem::temp_directory_path() / ("nua-tree-bench-" + std::to_string(files) + ".img")).string();
    const nua::imagekit::Scenario* many = nua::imagekit::findScenario("hfs-many");
    nua::imagekit::ScenarioOptions options;
    options.values["files"] = std::to_string(files);
    nua::imagekit::Manifest manifest;
    std::string error;
    const auto start = Clock::now();
    if (many == nullptr || !many->make(imagePath, options, manifest, error)) {
      std::fprintf(stderr, "hfs-many: %s\n", error.c_str());
      return 1;
    }
    report("make hfs-many image", secondsSince(start));
  }
  imageBytes = std::filesystem::file_size(imagePath);

  auto start = Clock::now();
  std::shared_ptr<nua::Volume> volume = nua::Volume::initWithDictionary(
      nua::Dict{{"Volume Scan Type", 0},
                {"Path", imagePath},
                {"Volume Start", 0},
                {"Volume Size In Sectors", imageBytes / 512},
                {"Content", "Apple_HFS"},
                {"Volume Name", "bench"}},
      nua::MediaContext{});
  volume->resetSigArraysAndBtreesAndOthers();
  nua::HfsVolume hfs(*volume, nua::ProgressSink::none());
  if (!hfs.initializeVIB() || !hfs.checkCatalogAndExtentsFile()) {
    std::fprintf(stderr, "not an HFS+ volume: %s\n", imagePath.c_str());
    return 1;
  }
  nua::makeTree(hfs);
  volume->finishTree(nua::ProgressSink::none());
  report("scan with the core (normal catalog walk)", secondsSince(start));
  if (madeHere) std::filesystem::remove(imagePath);

  nua::NullWizardView view;
  nua::SilentUiBridge ui;
  NoLauncher launcher;
  nua::WizardController controller(view, ui, launcher, nua::MediaSources{});
  controller.selectedVolume = volume;
  nua::ui::TreePage page(controller, ui);
  page.resize(1000, 700);
  page.show();
  QApplication::processEvents();
  QTreeView* outline = page.outlineViewData();
  nua::ui::RecordTreeModel* model = page.model();

  start = Clock::now();
  page.showResult();
  outline->viewport()->repaint();
  report("show the root (view state, model, expand)", secondsSince(start));

  // The big folder: the root's child with the most children.
  const QModelIndex root = model->index(0, 0);
  QModelIndex big;
  for (int row = 0; row < model->rowCount(root); ++row) {
    const QModelIndex child = model->index(row, 0, root);
    if (!big.isValid() || model->rowCount(child) > model->rowCount(big)) big = child;
  }
  std::printf("big folder: %d entries; tree: %u files\n", model->rowCount(big), volume->dirRoot->fileCount);

  start = Clock::now();
  outline->expand(big);
  outline->viewport()->repaint();
  report("expand the big folder", secondsSince(start));

  QScrollBar* bar = outline->verticalScrollBar();
  const int steps = 200;
  double slowest = 0;
  start = Clock::now();
  for (int step = 1; step <= steps; ++step) {
    const auto stepStart = Clock::now();
    bar->setValue(static_cast<int>(static_cast<long long>(bar->maximum()) * step / steps));
    outline->viewport()->repaint();
    slowest = std::max(slowest, secondsSince(stepStart));
  }
  const double scrolled = secondsSince(start);
  report("scroll to the end in 200 steps (total)", scrolled);
  report("  one step, slowest", slowest);

  start = Clock::now();
  model->setData(model->index(0, nua::ui::RecordTreeModel::kMark), Qt::Checked, Qt::CheckStateRole);
  outline->viewport()->repaint();
  report("mark everything (root check box)", secondsSince(start));
  std::printf("marked: %s\n", page.textFieldMarkedData().toStdString().c_str());

  report("switch to the file types view", toggleAndWait(page, page.buttonTreeFileTypesToggle()));
  report("switch to deleted only (file types)", toggleAndWait(page, page.buttonTreeShowDeleted()));
  report("switch back to all (file types)", toggleAndWait(page, page.buttonTreeShowDeleted()));
  report("switch back to the data view", toggleAndWait(page, page.buttonTreeFileTypesToggle()));
  report("switch to deleted only (data)", toggleAndWait(page, page.buttonTreeShowDeleted()));
  report("switch back to all (data)", toggleAndWait(page, page.buttonTreeShowDeleted()));

  start = Clock::now();
  page.releaseResult();
  report("release the views", secondsSince(start));
  return 0;
}
