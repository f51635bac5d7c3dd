#include "model/model_document.h"

#include <filesystem>
#include <fstream>
#include <system_error>

#include "core/file.h"
#include "core/messages.h"
#include "core/paths.h"
#include "model/model_messages.h"

std::string AMModelDocument::Title() const {
  const std::string file = path_.empty() ? std::string("Untitled") : getfName(path_);
  return file + " (" + msg::kTaskSourceModeling + ") - QVLModel";
}

std::string AMModelDocument::SaveDialogInitialName() const { return path_.empty() ? std::string("*.mdl") : path_; }

void AMModelDocument::New() {
  model_ = AComponents();
  path_.clear();
  modified_ = 0;
}

int AMModelDocument::Open(const std::string& path, MessageSink& messages) {
  std::ifstream in(path, std::ios::binary);
  if (!in.is_open()) {
    messages.Show("Can't open source model file: " + path);
    return 0;
  }
  AComponents loaded;
  std::string error;
  if (!LoadComponents(in, loaded, &error)) {
    messages.Show("Damaged source model file " + path + ": " + error);
    return 0;
  }
  model_ = loaded;
  path_ = path;
  modified_ = 0;
  return 1;
}

int AMModelDocument::SaveTo(const std::string& path, MessageSink& messages) {
  // Written beside the target under a temporary name and renamed on success, so the file is
  // either complete or untouched.
  const std::string temp = path + ".part~";
  AFileRemover remover(temp);
  {
    std::ofstream out(temp, std::ios::binary | std::ios::trunc);
    bool written = false;
    if (out.is_open()) {
      model_.Store(out);
      out.close();  // a failure to close marks the stream failed
      written = !out.fail();
    }
    if (written) {
      std::error_code ec;
      std::filesystem::rename(temp, path, ec);
      if (!ec) {
        path_ = path;
        modified_ = 0;
        return 1;
      }
    }
  }
  messages.Show("Can't write source model file: " + path);
  return 0;
}

int AMModelDocument::SaveAs(AModelFileDialog& dialog, MessageSink& messages) {
  std::string chosen;
  if (!dialog.ChooseSavePath(SaveDialogInitialName(), chosen)) return 0;
  return SaveTo(chosen, messages);
}

int AMModelDocument::Save(AModelFileDialog& dialog, MessageSink& messages) {
  if (path_.empty()) return SaveAs(dialog, messages);
  return SaveTo(path_, messages);
}

int AMModelDocument::AskSaveChanges(AModelFileDialog& dialog, MessageSink& messages, Answer default_answer) {
  if (!modified_) return 1;
  const std::string question = std::string(msg::kTaskSourceModeling) + msg::kSaveChanges;
  switch (messages.Ask(question, Buttons::YesNoCancel, default_answer)) {
    case Answer::Yes: return Save(dialog, messages);
    case Answer::No: return 1;
    default: return 0;
  }
}
