#pragma once
// The settings of the four tasks as one model, kept in "QvlModel.ini" in the base folder, shared
// by the desktop program and the command line.
//
// Sections are "QVLMODEL" with a suffix: "-PROCESS1" .. "-PROCESS4", "-COMMON", "-UVXITEM",
// "-SIMAP". Doubles are written with valToStr and read with atof; integers as decimal text.
// Per-telescope keys carry a 0-based index ("TLSC NAME0"); the SEFD keys carry the telescope's
// and the IF's ("TLSC SEFD1_0"). Keys beyond the classic set (the errors' time interval and phase
// step, the random start values, the Gaussian noise option) are listed in docs/settings.md.
//
// Loading order: the window position; "OBS FILE"; "MODEL FILE"; the model-view and external-model keys of
// "-PROCESS2"; the "-UVXITEM" work item with the "-SIMAP" map read between "UVX BFAST" and
// "UVX USEMFS"; task 3; task 4; "CUR TASK". Tasks 3 and 4 read their input and output files
// first and everything else only when that input opens as a UVX file. Saving writes the same keys
// in the same order (tasks 3 and 4 without the input check).
//
// The window position is kept in the section "QVLMODEL" itself; its width and height must be
// positive for the position to count as stored.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "app/ini_file.h"
#include "errors/errors_task.h"
#include "errors/noise_task.h"
#include "model/model_run.h"

inline constexpr const char* kSettingsFileName = "QvlModel.ini";
inline constexpr const char* kSettingsName = "QVLMODEL";

// "QVLMODEL" formatted into a suffix pattern such as "%s-PROCESS1".
std::string SettingsSection(const char* pattern);

struct AMModelPageSettings {       // section "%s-PROCESS2"
  std::string model_file;          // "MODEL FILE"
  double fov_ra = 1.0;             // "FOV RA", arcseconds
  double fov_dec = 1.0;            // "FOV DEC"
  std::string ext_mdl;             // "EXT_MDL": the map file used as the model
  int use_ext = 0;                 // "USE_EXT": 0 components, 1 one map, 2 a map series
  std::string ext_mdl_path;        // "EXT_MDL_PATH": the folder of the map series
  double ext_mdl_tstep = 600.0;    // "EXT_MDL_TSTEP", seconds each map serves
};

// The main window's place on the screen, section "QVLMODEL" (keys "WND X", "WND Y", "WND WIDTH",
// "WND HEIGHT", "WND MAXIMIZED"). `valid` is 0 until a position was read or set; an invalid
// position is not written, so a program that never shows a window keeps the stored one.
struct AMWindowPos {
  int valid = 0;
  int x = 0, y = 0, width = 0, height = 0;
  int maximized = 0;
};

struct AMSettings {
  AMWindowPos window;              // "QVLMODEL"
  std::string obs_file;            // "%s-PROCESS1" "OBS FILE"
  int earth_blocking = 0;          // "%s-PROCESS1" "EARTH BLOCKING" (ours): task 1 drops Earth-blocked samples
  int azimuth_limits = 0;          // "%s-PROCESS1" "AZIMUTH LIMITS" (ours): task 1 applies AZmin/AZmax
  AMModelPageSettings model_page;
  AMUVXWorkItem work_item;         // "%s-UVXITEM" and "%s-SIMAP"
  AMErrorsParams errors;           // "%s-PROCESS3"
  AMNoiseParams noise;             // "%s-PROCESS4"
  int cur_task = 1;                // "%s-COMMON" "CUR TASK"
};

// Tells whether a path opens as a UVX file (tasks 3 and 4 load their telescope lists only then).
using UVXOpensFn = std::function<bool(const std::string&)>;
bool UVXFileOpens(const std::string& path);

void LoadSettings(const AIniFile& ini, AMSettings& settings, const UVXOpensFn& opens = UVXFileOpens);
void SaveSettings(AIniFile& ini, const AMSettings& settings);

// The spectral-index map in its settings form: "ROW-COL" = rows "\t" columns, "ROW<r>" = the
// row's values joined by ", ". A row with fewer values leaves the rest 0.
void LoadSIMapSettings(const AIniFile& ini, AMSIMap& map);
void SaveSIMapSettings(AIniFile& ini, const AMSIMap& map);

// The window position alone (read before the main window is shown, written first on closing).
void LoadWindowPos(const AIniFile& ini, AMWindowPos& pos);
void SaveWindowPos(AIniFile& ini, const AMWindowPos& pos);

// What a settings file holds that the program cannot use, one text per finding, each starting with
// its line ("line 12: [QVLMODEL-PROCESS4] DF: \"512 MHz\" is not a number (read as 512)"): a
// section or key the program does not know (letter case ignored; a misspelt key would silently
// give its default), and a number that does not parse as a whole (the value read stays what atof
// or the integer rule makes of it). Nothing here changes how the settings are read.
std::vector<std::string> CheckSettings(const AIniFile& ini);

// The settings file of a base folder, and the whole store read from and written to it.
std::string SettingsPath(const std::string& base_folder);
int LoadSettingsFile(const std::string& path, AMSettings& settings, const UVXOpensFn& opens = UVXFileOpens);
int SaveSettingsFile(const std::string& path, const AMSettings& settings);
