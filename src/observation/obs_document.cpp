#include "observation/obs_document.h"

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <system_error>

#include "core/file.h"
#include "core/messages.h"
#include "core/paths.h"
#include "core/text.h"
#include "observation/obs_json.h"

bool IsJsonObservationPath(const std::string& path) {
  const std::string name = getfName(path);
  const auto dot = name.find_last_of('.');
  return dot != std::string::npos && toUpper(name.substr(dot)) == ".JSON";
}

int LoadObservationPath(const std::string& path, const AMTlscCatalog& catalog, AMObservation& target,
                        std::string& error, const AMSourceCatalog* sources) {
  if (IsJsonObservationPath(path)) {
    std::ifstream in(path);
    if (!in) return error = "cannot open the file", 0;
    nlohmann::json j;
    try {
      in >> j;
    } catch (const nlohmann::json::exception& e) {
      return error = std::string("not valid JSON (") + e.what() + ")", 0;
    }
    return ObservationFromJson(j, target, error, &catalog, sources);
  }
  if (const std::string kind = FileKindName(path); !kind.empty())
    return error = "this is " + kind + ", not an observation (.obs, or .json)", 0;
  AFile f;
  if (!f.Open(path, AFile::modeRead | AFile::modeBinary)) return error = "cannot open the file", 0;
  if (!LoadObservation(f, target)) return error = "not a valid observation file (truncated or damaged)", 0;
  return 1;
}

int SaveObservationPath(const std::string& path, const AMObservation& obs) {
  if (!IsJsonObservationPath(path)) return SaveObservationFile(path, obs);
  const std::string temp = path + ".part";
  AFileRemover remover(temp);
  {
    std::ofstream out(temp, std::ios::binary | std::ios::trunc);
    if (!out) return 0;
    out << ObservationToJson(obs).dump(2) << '\n';
    out.close();
    if (out.fail()) return 0;
  }
  std::error_code ec;
  std::filesystem::rename(temp, path, ec);
  if (ec) return 0;
  remover.Keep();
  return 1;
}

AMObsDocument::AMObsDocument(std::string base_folder) : base_folder_(std::move(base_folder)), obs_(base_folder_) {
  tracker_.Take(obs_);
}

std::string AMObsDocument::Title() const {
  const std::string file = path_.empty() ? std::string("Untitled") : path_;
  return file + " (" + msg::kTaskVlbiConfiguration + ") - QVLModel";
}

std::string AMObsDocument::OpenDialogInitialName() const {
  return path_.empty() ? std::string("*") + kObsFileExtension : replaceExtension(path_, kObsFileExtension);
}

std::string AMObsDocument::SaveDialogInitialName() const {
  return path_.empty() ? std::string("*") + kObsFileExtension : path_;
}

void AMObsDocument::New() {
  obs_ = AMObservation(base_folder_);
  path_.clear();
  modified_ = 0;
  tracker_.Take(obs_);
}

int AMObsDocument::Open(const std::string& path, MessageSink& messages) {
  AMTlscCatalog catalog;
  AMSourceCatalog sources;
  if (IsJsonObservationPath(path)) {
    LoadTelescopeFile(base_folder_ + kTelescopesFileName, catalog);
    LoadSourceFile(base_folder_ + kSourcesFileName, sources, nullptr);
  }
  AMObservation loaded(base_folder_);
  std::string error;
  if (!LoadObservationPath(path, catalog, loaded, error, &sources)) {
    messages.Show("Can't open observation file " + path + ": " + error);
    return 0;
  }
  obs_ = loaded;
  path_ = path;
  modified_ = 0;
  tracker_.Take(obs_);
  return 1;
}

int AMObsDocument::OpenWithDialog(AObsFileDialog& dialog, MessageSink& messages) {
  std::string chosen;
  if (!dialog.ChooseOpenPath(OpenDialogInitialName(), chosen)) return 0;
  return Open(chosen, messages);
}

int AMObsDocument::SaveTo(const std::string& path, MessageSink& messages) {
  if (!SaveObservationPath(path, obs_)) {
    messages.Show("Can't write observation file: " + path);
    return 0;
  }
  path_ = path;
  modified_ = 0;
  tracker_.Take(obs_);
  return 1;
}

int AMObsDocument::SaveAs(AObsFileDialog& dialog, MessageSink& messages) {
  std::string chosen;
  if (!dialog.ChooseSavePath(SaveDialogInitialName(), chosen)) return 0;
  return SaveTo(chosen, messages);
}

int AMObsDocument::Save(AObsFileDialog& dialog, MessageSink& messages) {
  if (path_.empty()) return SaveAs(dialog, messages);
  return SaveTo(path_, messages);
}

int AMObsDocument::AskSaveChanges(AObsFileDialog& dialog, MessageSink& messages, Answer default_answer) {
  if (!IsModified()) return 1;
  const std::string question = std::string(msg::kTaskVlbiConfiguration) + msg::kSaveChanges;
  switch (messages.Ask(question, Buttons::YesNoCancel, default_answer)) {
    case Answer::Yes: return Save(dialog, messages);
    case Answer::No: return 1;
    default: return 0;
  }
}

AMCreateCheck AMObsDocument::CheckForCreate(MessageSink* messages, const AMSourceFieldTexts* fields) {
  const AMCreateCheck check = ::CheckForCreate(obs_, messages, fields);
  // The checks sort the intervals once the telescopes, intervals and polarizations are present.
  if (check.ok || (check.id != 300 && check.id != 301 && check.id != 306)) tracker_.SortCopy();
  return check;
}

AMObservation AMObsDocument::ObservationForRun() const {
  AMObservation run = obs_;
  run.output_path = ResolveOutputPath(path_, run.output_path);
  for (int i = 0; i < run.telescopes.GetSize(); ++i)
    run.telescopes[i].orbit_file = ResolveOutputPath(path_, run.telescopes[i].orbit_file);
  return run;
}
