#include "screen_walk.h"

#include <QApplication>
#include <QDir>
#include <QLineEdit>
#include <QListWidget>
#include <QPainter>
#include <QPushButton>
#include <QTimer>
#include <functional>
#include <memory>
#include <vector>

#include "main_window.h"
#include "tree/find_bar.h"
#include "tree/preview_window.h"
#include "tree/tree_page.h"

namespace nua::ui {

namespace {

struct Walk {
  MainWindow& window;
  QDir folder;
  QString image;
  std::vector<std::function<void()>> steps;
  std::size_t next = 0;
  int written = 0;
  int failed = 0;
  int waits = 0;

  void grab(const QString& name) {
    const QString file = folder.filePath(QString("%1-%2.png").arg(written + failed + 1, 2, 10, QChar('0')).arg(name).replace(' ', '_'));
    if (window.grab().save(file, "PNG")) {
      ++written;
    } else {
      ++failed;
    }
  }
  // Runs the next step after the screen has settled.
  void schedule(int delayMs = 250) {
    QTimer::singleShot(delayMs, &window, [this] {
      if (next >= steps.size()) {
        QApplication::exit(failed == 0 && written > 0 ? 0 : 1);
        return;
      }
      steps[next++]();
    });
  }
  // The window with a tool window of its own drawn over its lower right corner.
  void grabWithToolWindow(const QString& name, QWidget* tool) {
    QPixmap shot = window.grab();
    if (tool != nullptr && tool->isVisible()) {
      const QPixmap over = tool->grab();
      QPainter painter(&shot);
      const QPoint at(shot.width() - over.width() - 16, shot.height() - over.height() - 56);
      painter.fillRect(QRect(at, over.size()).adjusted(-1, -1, 1, 1), Qt::darkGray);
      painter.drawPixmap(at, over);
    }
    const QString file = folder.filePath(QString("%1-%2.png").arg(written + failed + 1, 2, 10, QChar('0')).arg(name));
    if (shot.save(file, "PNG")) {
      ++written;
    } else {
      ++failed;
    }
    schedule();
  }
  // Grabs the screen the wizard shows now, named after it, then goes on.
  void grabShown() {
    grab(window.currentTab());
    schedule();
  }
};

}  // namespace

void walkScreens(MainWindow& window, const QString& folderPath, const QString& image) {
  auto walk = std::make_shared<Walk>(Walk{window, QDir(folderPath), image, {}, 0, 0, 0, 0});
  walk->folder.mkpath(".");
  window.uiBridge().answerAutomatically(1);  // "OK" in the tips; the completion note has one button
  window.addDiskImage(image);
  WizardController& c = window.controller();
  Walk* w = walk.get();
  auto selectImageRow = [w, &c] {
    const std::vector<DriveRow> rows = c.drivesListRows();
    for (std::size_t i = 0; i < rows.size(); ++i)
      if (QString::fromStdString(rows[i].path) == QFileInfo(w->image).absoluteFilePath()) {
        if (auto* list = w->window.page("Drives List")->findChild<QListWidget*>("drivesList"))
          list->setCurrentRow(static_cast<int>(i));
        return;
      }
  };
  walk->steps = {
      [w] { w->grabShown(); },
      [w, &c] { c.recoverFiles(); w->grabShown(); },
      [w, &c] { c.backToMainScreenFromFileRecoveryTab(); c.recoverPhotos(); w->grabShown(); },
      [w, &c] { c.backToMainScreenFromPhotoRecoveryTab(); c.recoverPartitionAndDrives(); w->grabShown(); },
      [w, &c, selectImageRow] { c.recoverPartitionAndDrivesFast(); selectImageRow(); w->grabShown(); },
      [w, &c] {
        c.nextButtonInDrivesListTabClicked();
        if (auto* list = w->window.page("PT list")->findChild<QListWidget*>("ptList")) list->setCurrentRow(0);
        w->grabShown();
      },
      [w] { w->window.showTab("PT scan prog"); w->grabShown(); },
      [w, &c] {
        // The lost-volume search is not offered; its list is shown with the partitions as found volumes.
        std::vector<PartitionRow> found = c.partitionListDictArray;
        for (PartitionRow& volume : found) volume.scanType = PartitionScanType::kVolumeSearch;
        c.showPTScanList(found);
        w->grabShown();
      },
      [w, &c] {
        c.ptScanListBackClicked();
        c.selectPTListRow(0);
        c.ptListNextClicked();
        w->grabShown();
      },
      [w, &c] {
        c.treeScanModeStdScanClicked();
        if (!c.sigRootArray.empty()) c.setSigMark(*c.sigRootArray.front(), true);
        w->grabShown();
      },
      [w, &c] {
        c.setRawSearchBox(true);
        c.sigSelNextClicked();
        w->grabShown();
      },
      [w, &c] {
        // Without a catalog the box starts the tree scan at once; a second one is never started beside it.
        if (!c.scanIsRunning) {
          c.rawSliderBackToSigSelClicked();
          c.skipButtonSigTabClicked();  // the tree scan alone
        }
        w->grabShown();
      },
      [w] {
        // The scan ends on "Tree"; wait for it, at most a minute.
        if (w->window.currentTab() != "Tree" && ++w->waits < 240) {
          --w->next;
          w->schedule();
          return;
        }
        w->grabShown();
      },
      [w] {
        // Find "jpg" in the tree, step to the first hit and preview it.
        auto* tree = qobject_cast<TreePage*>(w->window.page("Tree"));
        if (tree == nullptr) return w->schedule();
        tree->findBar()->findField()->setText("jpg");
        emit tree->findBar()->findField()->returnPressed();
        w->schedule(1000);
      },
      [w] {
        auto* tree = qobject_cast<TreePage*>(w->window.page("Tree"));
        if (tree == nullptr) return w->schedule();
        tree->findBar()->nextButton()->click();
        tree->findBar()->nextButton()->click();
        if (tree->previewButton()->isEnabled()) tree->previewButton()->click();
        w->schedule(1500);
      },
      [w] {
        auto* tree = qobject_cast<TreePage*>(w->window.page("Tree"));
        w->grabWithToolWindow("Tree_preview_find", tree != nullptr ? tree->previewWindow() : nullptr);
      },
  };
  // The walk lives as long as the window.
  QObject::connect(&window, &QObject::destroyed, [walk] {});
  walk->schedule(400);
}

}  // namespace nua::ui
