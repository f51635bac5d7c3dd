#pragma once
// AMPage1: the "VLBI configuration" page of task 1. It edits the observation held by an
// AMObsDocument (source, date, time step and intervals, polarizations, telescopes, frequency
// set-up, output file) and creates the empty UVX file from it:
//
//   Create: the checks (AMObsDocument::CheckForCreate) with the offending cell or field selected;
//   the UV-plane computation behind a progress dialog; message 304 when no point results; the
//   review of the UV points (a seam, `SetReview`, which the main window points at the UV-plane
//   dialog; by default every plane is accepted); on acceptance the UVX file behind a second
//   progress dialog. The temporary ".$uv" file is deleted in every case; a stopped or failed run
//   leaves no output file.
//
// The page only draws and forwards: every check and computation is the core's.

#include <QWidget>
#include <functional>
#include <string>

#include "app/gui/gui_services.h"
#include "observation/obs_document.h"

class AMFreqSetupView;
class AMPolTable;
class AMTimeTable;
class AMTlscTable;
class QCheckBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QTabWidget;
class QTableView;

class AMPage1 final : public QWidget {
  Q_OBJECT
 public:
  // (UV-point file, observation as run) -> true to write the UVX file.
  using Review = std::function<bool(const std::string& uv_point_file, const AMObservation& obs)>;

  AMPage1(const std::string& base_folder, const AGuiServices& services, QWidget* parent = nullptr);

  AMObsDocument& Document() { return doc_; }
  QString Title() const { return Qs(doc_.Title()); }
  void SetReview(Review review) { review_ = std::move(review); }

  // Opens the observation named by the settings ("OBS FILE"); a failure is reported.
  int OpenFile(const std::string& path);
  // The save-changes question before the observation is given up; true to go on.
  bool CanClose();
  // Redraws every control from the document.
  void Refresh();

  // Where the orbit view of the orbital telescopes goes (an empty box until one is set).
  QGroupBox* OrbitViewHost() const { return orbit_host_; }
  QTabWidget* Tabs() const { return tabs_; }
  // The outcome of the last Create, one line.
  QString Status() const;

 public slots:
  void OnNew();
  void OnOpen();
  void OnSave();
  void OnSaveAs();
  void OnSetDate();
  void OnSetStep();
  void OnSelectSource();
  void OnAddInterval();
  void OnDeleteInterval();
  void OnAddTelescopes();
  void OnDeleteTelescope();
  void OnUseOrbitFile(bool on);
  void OnBrowseOrbitFile();
  void OnBrowseOutput();
  void OnCreate();
  void OnViewOutput();

 signals:
  void titleChanged(const QString& title);

 private:
  QWidget* BuildObservationTab();
  QWidget* BuildTelescopeTab();
  QWidget* BuildFrequencyTab();
  void Edited();
  void UpdateTitle();
  void UpdateTelescopeControls();
  void CommitSourceName();
  void CommitRightAscension();
  void CommitDeclination();
  void CommitOutput();
  void ShowCheckFailure(const AMCreateCheck& check);
  int CurrentTelescope() const;
  // The Create steps after the checks (page1_create.cpp).
  void RunCreate();
  void InstallComfortOnPage();
  void OpenRecent(const QString& path);

  AGuiServices services_;
  AMObsDocument doc_;
  Review review_;

  QTabWidget* tabs_ = nullptr;
  QLineEdit* source_ = nullptr;
  QLineEdit* ra_ = nullptr;
  QLineEdit* dec_ = nullptr;
  QLabel* date_ = nullptr;
  QLabel* step_ = nullptr;
  QLineEdit* output_ = nullptr;
  AMTimeTable* times_ = nullptr;
  QTableView* times_view_ = nullptr;
  AMPolTable* pols_ = nullptr;
  QTableView* pols_view_ = nullptr;
  AMTlscTable* tlscs_ = nullptr;
  QTableView* tlscs_view_ = nullptr;
  QCheckBox* use_orbit_ = nullptr;
  QPushButton* browse_orbit_ = nullptr;
  AMFreqSetupView* freq_ = nullptr;
  QGroupBox* orbit_host_ = nullptr;
  QLabel* status_ = nullptr;  // the outcome of the last Create
};
