#pragma once
// The observation held by the "VLBI configuration" page: the current file (empty = untitled), the
// observation, its modified flag and the change test, with new, open, save, save-as and the
// save-changes question as plain operations. File dialogs are asked through AObsFileDialog so that
// the desktop, the command line and the tests can each supply one.
//
// Files are read and written in either form, chosen by the extension: ".json" is the readable
// text form (obs_json.h), anything else the binary ".obs" file.

#include <string>

#include "core/runtime.h"
#include "observation/observation.h"
#include "observation/source_catalog.h"
#include "observation/telescope_catalog.h"

inline constexpr const char* kObsFileExtension = ".obs";

class AObsFileDialog {
 public:
  virtual ~AObsFileDialog() = default;
  // An open dialog with the observation filter starting from `initial_name`; true with the chosen
  // path on OK, false on Cancel.
  virtual bool ChooseOpenPath(const std::string& initial_name, std::string& path) = 0;
  // A save dialog (no overwrite prompt) starting from `initial_name`.
  virtual bool ChooseSavePath(const std::string& initial_name, std::string& path) = 0;
};

// A dialog that answers Cancel (headless use without a name).
class ANoObsFileDialog final : public AObsFileDialog {
 public:
  bool ChooseOpenPath(const std::string&, std::string&) override { return false; }
  bool ChooseSavePath(const std::string&, std::string&) override { return false; }
};

// True when the path ends in ".json" (any letter case).
bool IsJsonObservationPath(const std::string& path);

// Reads an observation from either form into `target`, which is replaced only on success.
// Telescopes and a source that the text form names by catalogue entry are taken from `catalog`
// and `sources`. A file of another kind (a UVX or FITS file given as .obs) is refused by name.
// Non-zero on success; otherwise `error` says why in one line.
int LoadObservationPath(const std::string& path, const AMTlscCatalog& catalog, AMObservation& target,
                        std::string& error, const AMSourceCatalog* sources = nullptr);
// Writes either form, complete or not at all (beside the target, then renamed). Non-zero on success.
int SaveObservationPath(const std::string& path, const AMObservation& obs);

class AMObsDocument {
 public:
  // `base_folder` (ending with '/') holds Telescopes.dat and Sources.dat and is the folder of a new observation's
  // default output file.
  explicit AMObsDocument(std::string base_folder);

  const std::string& Path() const { return path_; }
  const std::string& BaseFolder() const { return base_folder_; }
  AMObservation& Obs() { return obs_; }
  const AMObservation& Obs() const { return obs_; }
  // The flag every edit of the page sets.
  int& Modified() { return modified_; }
  // The change test: the flag, or the time step or any interval differing from the copy taken at
  // the last open or save.
  bool IsModified() const { return tracker_.IsModified(obs_, modified_ != 0); }

  // Main-window title: "<path> (VLBI configuration) - QVLModel", or "Untitled (...)" untitled.
  std::string Title() const;
  // Initial name of the open dialog: the current name with its extension replaced by ".obs", or
  // "*.obs" untitled. Of the save dialog: the current name, or "*.obs".
  std::string OpenDialogInitialName() const;
  std::string SaveDialogInitialName() const;

  // A fresh untitled observation with its defaults, not modified.
  void New();
  // Reads `path` (.obs or .json); on success the observation, the path, a cleared flag and a new
  // change-test copy replace the current ones. A failure is reported through `messages` with the
  // reason and changes nothing. Non-zero on success.
  int Open(const std::string& path, MessageSink& messages);
  // Asks for a file with the open dialog and opens it; 0 on Cancel.
  int OpenWithDialog(AObsFileDialog& dialog, MessageSink& messages);
  // Writes to the current path, or asks for one (Save as) when untitled.
  int Save(AObsFileDialog& dialog, MessageSink& messages);
  // Asks for a path and writes the observation there.
  int SaveAs(AObsFileDialog& dialog, MessageSink& messages);
  // Writes to `path` (complete or not at all); on success `path` becomes current, the flag is
  // cleared and the change-test copy is taken again; otherwise nothing changes.
  int SaveTo(const std::string& path, MessageSink& messages);
  // The save-changes question before the observation is given up: "VLBI configuration" +
  // "\n\nDo you want save changes?" with Yes/No/Cancel when modified. Non-zero to go on: No, or Yes
  // and the save succeeded. Headless sinks answer `default_answer` (Cancel keeps the observation).
  int AskSaveChanges(AObsFileDialog& dialog, MessageSink& messages, Answer default_answer = Answer::Cancel);

  // The checks before Create (CheckForCreate); the change-test copy is kept in the same order as
  // the intervals, which the checks sort.
  AMCreateCheck CheckForCreate(MessageSink* messages, const AMSourceFieldTexts* fields = nullptr);
  // The observation as a run uses it: the output file and the orbit files that are not absolute
  // are taken relative to the observation file's folder.
  AMObservation ObservationForRun() const;

 private:
  std::string base_folder_;
  std::string path_;
  AMObservation obs_;
  int modified_ = 0;
  AMObsChangeTracker tracker_;
};
