#pragma once
// AMMainFrame: the single window of the desktop program. The task list on the left names the four
// tasks; the page of the current task fills the right.
//
// Start-up, in this order: the settings file is given; the frame is created and its stored
// position restored; the task list and the four pages are created; every task's settings are
// loaded (task 1 opens "OBS FILE", task 2 its "MODEL FILE"); the task saved as "CUR TASK" is
// selected. Closing: task 1 and then task 2 may ask to save their changed files (Cancel keeps the
// window open); then every setting is written back to the same file, which `qvlmodel run` reads.

#include <QMainWindow>
#include <string>

#include "app/gui/gui_services.h"
#include "app/settings_store.h"
#include "model/model_document.h"

class AMPage1;
class QListWidget;
class QSplitter;
class QStackedWidget;

class AMOrbitView;
class AMMainFrame final : public QMainWindow {
  Q_OBJECT
 public:
  // `base_folder` holds the catalogues; `settings_path` is the settings file (normally
  // base_folder + "QvlModel.ini").
  AMMainFrame(const std::string& base_folder, const std::string& settings_path, const AGuiServices& services,
              QWidget* parent = nullptr);

  AMPage1* Page1() const { return page1_; }
  QListWidget* TaskList() const { return tasks_; }
  QStackedWidget* Pages() const { return pages_; }
  // The current task as stored ("CUR TASK"): 1..4 once one is selected; a stored value outside
  // that range stays as it is until the user picks a task.
  int CurrentTask() const { return cur_task_; }
  void SelectTask(int task);
  const AMSettings& Settings() const { return settings_; }
  const AGuiServices& Services() const { return services_; }
  AMModelDocument& ModelDocument() { return model_doc_; }
  // Whether a stored window position was applied at start-up.
  bool PositionRestored() const { return position_restored_; }

  // The closing steps without closing the window: the save questions, then the settings written.
  // False when a question was cancelled (nothing is written then).
  bool SaveOnClose();

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  void RestorePosition();
  void LoadTaskSettings();
  AMWindowPos CurrentPosition() const;
  void UpdateTitle();
  void ConnectReviewAndOrbits();

  std::string base_folder_;
  std::string settings_path_;
  AGuiServices services_;
  AMSettings settings_;
  AMModelDocument model_doc_;
  int cur_task_ = 1;
  bool position_restored_ = false;
  QSplitter* splitter_ = nullptr;
  QListWidget* tasks_ = nullptr;
  QStackedWidget* pages_ = nullptr;
  AMPage1* page1_ = nullptr;
  AMOrbitView* orbits_ = nullptr;
};

// The task names in list order.
QString TaskName(int task);
