#pragma once
// The four tasks run from the settings model, headless: what `qvlmodel run` and the desktop
// program's task pages start. Each run takes the usual progress sink, stop flag and message sink
// and reports what it wrote or why it could not.

#include <string>
#include <vector>

#include "app/settings_store.h"
#include "core/runtime.h"
#include "coverage/uv_plane.h"
#include "observation/observation.h"

struct ATaskOutcome {
  int task = 0;
  bool ok = false;
  bool stopped = false;
  std::string error;    // one line, naming the file, when !ok and !stopped
  std::string output;   // the file written
  std::string summary;  // one line for the user; for a task 2 stopped in place, what it changed
};

// Reads an observation from a .obs file or its JSON form (telescopes given by catalogue name are
// taken from Telescopes.dat in `base_folder`). Non-zero on success; `error` says why otherwise.
int LoadObservationAny(const std::string& path, const std::string& base_folder, AMObservation& obs,
                       std::string& error);

// Task 1: the observation file -> the empty UVX file named by the observation (or `output`).
// The observation's plausibility is checked first (errors stop the run, warnings go to
// `messages`); `options` are combined with the observation's own JSON choices.
ATaskOutcome RunTask1(const std::string& obs_path, const std::string& output, const std::string& base_folder,
                      ProgressSink* progress, StopFlag* stop, MessageSink& messages,
                      const AMUVPlaneOptions& options = {});
// Task 2 from the work item and the model page: components of "MODEL FILE" (USE_EXT 0), the map
// "EXT_MDL" (1) or the maps of "EXT_MDL_PATH" (2). With `components` given, a component run takes
// that list (the desktop page's model, saved or not) instead of reading "MODEL FILE"; the list
// is checked the same way.
ATaskOutcome RunTask2(const AMSettings& settings, ProgressSink* progress, StopFlag* stop, MessageSink& messages,
                      const AComponents* components = nullptr);
// Whether tasks 3 and 4 first match their telescope table against the input file's telescopes
// (errors/table_match.h): not at all (the desktop pages, whose tables are made from the file), the
// findings as warnings to `messages`, or as the reason to fail before anything is written.
enum class ATableCheck { Off, Warn, Strict };
ATaskOutcome RunTask3(const AMSettings& settings, ProgressSink* progress, StopFlag* stop, MessageSink& messages,
                      ATableCheck check = ATableCheck::Off);
ATaskOutcome RunTask4(const AMSettings& settings, ProgressSink* progress, StopFlag* stop, MessageSink& messages,
                      ATableCheck check = ATableCheck::Off);

// Paths in a settings file that are not absolute are taken relative to the settings file's folder.
void ResolveSettingsPaths(AMSettings& settings, const std::string& settings_path);

// Runs the chosen tasks (1..4) of a settings file in order, stopping at the first that fails or
// is stopped; `report` is called after each task. Each task's settings are read from `ini` just
// before it runs, so the telescope lists of tasks 3 and 4 are loaded when their input file opens
// at that moment (an earlier task of the same run may have written it). Paths are relative to
// `settings_path`'s folder; a task whose input file is empty takes the previous task's output.
std::vector<ATaskOutcome> RunTasks(const AIniFile& ini, const std::string& settings_path, const std::vector<int>& tasks,
                                   const std::string& base_folder, ProgressSink* progress, StopFlag* stop,
                                   MessageSink& messages,
                                   const std::function<void(const ATaskOutcome&)>& report = {},
                                   ATableCheck check = ATableCheck::Off);
