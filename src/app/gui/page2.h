#pragma once
// AMPage2: the "Source modeling" page of task 2.
//
// Left: the model file commands ("New", "Open", "Save" with the texts "New QVL source model
// file", ... as tool tips, and "Save As..."), "Model as: " (components, "Map file as model", or
// the maps of a folder), "Map path:" and "Time step [s]:" for map models, the component table
// (AMCompsTableModel) with Insert and Delete; the run parameters ("Input UVX-File: ", "Output
// UVX-File: ", "To add the model on the UV-Plane as: ", "Fast", "Use MFS" with "Set..." for the
// spectral-index map) and Run. Right: the model view (AMModelView) with "Field of view...".
//
// The page edits the model document and the settings the main window owns: every field writes
// its settings key as it changes, so closing the window saves them. Run validates the components
// (the offending cell selected), then runs task 2 (RunTask2, the command line's function) on the
// page's own component list behind a progress dialog with Stop. The page only draws and forwards.

#include <QWidget>
#include <functional>
#include <string>

#include "app/gui/gui_services.h"
#include "app/settings_store.h"
#include "model/model_document.h"

class AMCompsTableModel;
class AMModelView;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QTableView;

class AMPage2 final : public QWidget {
  Q_OBJECT
 public:
  // (parent, title, initial folder) -> chosen folder, empty on Cancel.
  using FolderPicker = std::function<QString(QWidget*, const QString&, const QString&)>;

  AMPage2(AMModelDocument& doc, AMSettings& settings, const std::string& settings_path, const AGuiServices& services,
          QWidget* parent = nullptr);

  QString Title() const { return Qs(doc_.Title()); }
  // Redraws every control from the document and the settings (after they were loaded).
  void Refresh();
  // The save-changes question before the model is given up; true to go on.
  bool CanClose();
  // Opens a model file; a failure is reported. Non-zero on success.
  int OpenFile(const std::string& path);
  // Replaces the folder picker (QFileDialog::getExistingDirectory by default).
  void SetFolderPicker(FolderPicker picker) { pick_folder_ = std::move(picker); }

  AMCompsTableModel* CompsModel() const { return comps_; }
  QTableView* CompsView() const { return comps_view_; }
  AMModelView* ModelView() const { return view_; }
  QString Status() const;
  // A path of the settings as the run uses it (relative paths from the settings file's folder).
  std::string Resolved(const std::string& path) const;

 public slots:
  void OnNew();
  void OnOpen();
  void OnSave();
  void OnSaveAs();
  void OnInsert();
  void OnDelete();
  void OnModelKind(int kind);
  void OnBrowseMap();
  void OnBrowseInput();
  void OnBrowseOutput();
  // "View...": the visibility viewer on the input or output UVX file.
  void OnViewInput();
  void OnViewOutput();
  // Opens a model file from the recent list or dropped on the page (after the save-changes question).
  void OpenRecent(const QString& path);
  void OnFieldOfView();
  void OnSetSpectralIndex();
  void OnRun();
  // Redraws the model view from the components or the map model.
  void RedrawView();

 signals:
  void titleChanged(const QString& title);

 private:
  QWidget* BuildModelBox();
  QWidget* BuildRunBox();
  void ConnectFields();
  void InstallComfortOnPage();
  void ShowTableSelection();
  void UpdateTitle() { emit titleChanged(Title()); }
  void UpdateKindControls();
  QString MapPathText() const;

  AMModelDocument& doc_;
  AMSettings& settings_;
  std::string settings_path_;
  AGuiServices services_;
  FolderPicker pick_folder_;
  bool refreshing_ = false;

  AMCompsTableModel* comps_ = nullptr;
  QTableView* comps_view_ = nullptr;
  AMModelView* view_ = nullptr;
  QComboBox* kind_ = nullptr;
  QLineEdit* map_path_ = nullptr;
  QPushButton* browse_map_ = nullptr;
  QLineEdit* time_step_ = nullptr;
  QLineEdit* input_ = nullptr;
  QLineEdit* output_ = nullptr;
  QComboBox* add_type_ = nullptr;
  QCheckBox* fast_ = nullptr;
  QCheckBox* use_mfs_ = nullptr;
  QPushButton* set_mfs_ = nullptr;
  QLabel* fov_ = nullptr;
  QLabel* status_ = nullptr;
};

// The page as the main window creates it.
AMPage2* MakePage2(AMModelDocument& doc, AMSettings& settings, const std::string& settings_path,
                   const AGuiServices& services, QWidget* parent);
