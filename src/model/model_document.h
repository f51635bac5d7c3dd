#pragma once
// The source model held by the "Source modeling" page: the current .mdl path (empty =
// untitled), the model and its modified flag, with new, open, save, save-as and the
// save-changes question as plain operations. File dialogs are asked through AModelFileDialog so
// that the desktop, the command line and the tests can each supply one.

#include <string>

#include "core/runtime.h"
#include "model/components.h"

inline constexpr const char* kModelFileFilter = "QVL source model file (*.MDL)|*.mdl|All files (*.*)|*.*||";
inline constexpr const char* kModelFileExtension = ".mdl";

class AModelFileDialog {
 public:
  virtual ~AModelFileDialog() = default;
  // Shows a save dialog with the filter above, default extension ".mdl" and the initial name;
  // true with the chosen path on OK, false on Cancel.
  virtual bool ChooseSavePath(const std::string& initial_name, std::string& path) = 0;
};

// A dialog that answers Cancel (headless use without a name).
class ANoModelFileDialog final : public AModelFileDialog {
 public:
  bool ChooseSavePath(const std::string&, std::string&) override { return false; }
};

class AMModelDocument {
 public:
  const std::string& Path() const { return path_; }
  AComponents& Model() { return model_; }
  const AComponents& Model() const { return model_; }
  // The flag the component table sets (hand &Modified() to AMCompsTable).
  int& Modified() { return modified_; }
  int IsModified() const { return modified_; }

  // Main-window title: "Untitled (Source modeling) - QVLModel" without a file, otherwise
  // "<file name> (Source modeling) - QVLModel".
  std::string Title() const;
  // Initial name of the save dialog: "*.mdl" when untitled, otherwise the current path.
  std::string SaveDialogInitialName() const;

  // An empty untitled model, not modified.
  void New();
  // Reads `path`; on success the model, the path and a cleared flag replace the current ones.
  // A file that cannot be opened or is damaged is reported through `messages` and changes
  // nothing. Non-zero on success.
  int Open(const std::string& path, MessageSink& messages);
  // Writes the model to the current path, or asks for one (Save as) when untitled.
  int Save(AModelFileDialog& dialog, MessageSink& messages);
  // Asks for a path and writes the model there.
  int SaveAs(AModelFileDialog& dialog, MessageSink& messages);
  // Writes to `path` (complete or not at all); on success `path` becomes current and the flag is
  // cleared, otherwise path and flag stay as they were.
  int SaveTo(const std::string& path, MessageSink& messages);
  // The save-changes question before the current model is given up: non-zero to go on.
  // Headless sinks answer `default_answer` (Cancel keeps the model: nothing is lost).
  int AskSaveChanges(AModelFileDialog& dialog, MessageSink& messages, Answer default_answer = Answer::Cancel);

 private:
  std::string path_;
  AComponents model_;
  int modified_ = 0;
};
