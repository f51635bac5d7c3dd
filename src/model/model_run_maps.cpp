// Task 2 with map models: the input is copied to the output (unless they are the same file) and
// the map's point components are then summed onto every group of the output in place.
#include <filesystem>
#include <system_error>

#include "model/map_fits.h"
#include "model/map_model.h"
#include "model/model_run.h"
#include "uvx/uvx_copy.h"
#include "uvx/uvx_file.h"
#include "uvx/uvx_frame.h"

int AMP2Work::RunMaps() {
  const bool in_place = SameFile(item_.in_path, item_.out_path);
  // A copy is written under a temporary name and renamed once the model is in it.
  const std::string target = in_place ? item_.out_path : PartPath(item_.out_path);
  if (!in_place) {
    if (progress_) progress_->SetText("Copying file...");
    if (!CopyUVXFile(item_.in_path, target, progress_, stop_)) {
      if (StopRequested(stop_)) return 0;
      return Fail("cannot copy " + item_.in_path + " to " + item_.out_path);
    }
  }
  auto discard = [&] {
    if (!in_place) {
      std::error_code ec;
      std::filesystem::remove(target, ec);
    }
  };
  if (progress_) progress_->SetText("Fit model onto UV-Plane...");
  AUVXFile file;
  if (!file.Open(target, AUVXFile::modeUpdate)) {
    discard();
    return Fail("cannot open " + item_.out_path + " for writing: " + file.Error());
  }
  const bool add = item_.add_type == 0;
  const bool fast = item_.fast != 0;
  AMapSumOptions options(model_.engine);
  options.accuracy = model_.accuracy;
  options.report = &engine_report_;
  options.groups_stored = &groups_done_;
  // With spectral scaling every (set-up, IF) row of the map's set pixels gets its factors.
  if (item_.use_mfs) options.spectral_index = &item_.si_map;
  std::string why;
  int ok = 0;
  if (model_.kind == kModelMap) {
    AMatrix<float> map;
    TMinMax range;
    std::string unit;
    if (!LoadMapAny(model_.map_path, map, range, unit, &why)) {
      file.Close();
      discard();
      return Fail(why);  // names the map file already
    }
    // A map in Jy/beam is summed as it stands: converting it to Jy/pixel needs the beam.
    if (unit.find("BEAM") != std::string::npos || unit.find("beam") != std::string::npos)
      messages_.Show(model_.map_path + ": the map is in " + unit +
                     "; its pixels are summed as Jy per pixel (divide by the beam area in pixels first)");
    // A FITS image's offsets are on J2000 axes; maps of our own formats on the file's frame of date.
    bool j2000 = FitsMapOnJ2000Axes(model_.map_path);
    double ra = 0, dec = 0;
    if (j2000 && !UVXPhaseCentre(file, ra, dec)) {
      j2000 = false;
      messages_.Show(item_.in_path + " has no SU table (no phase centre): the offsets of " + model_.map_path +
                     " are taken on the file's own axes");
    }
    ok = ApplyMapModel(file, map, range, add, fast, progress_, stop_, &why, options, j2000);
  } else {
    std::vector<std::string> maps;
    if (!ListMapFolder(model_.map_folder, maps)) {
      file.Close();
      discard();
      return Fail("cannot list the folder " + model_.map_folder);
    }
    if (maps.empty()) {
      file.Close();
      discard();
      return Fail("Not found .exm map file(s) in folder: " + model_.map_folder);
    }
    ok = ApplyMapSeries(file, maps, model_.map_time_step_s, add, fast, progress_, stop_, &why, options);
  }
  if (!ok) {
    file.Close();
    discard();
    if (StopRequested(stop_)) return 0;
    return Fail(why.empty() ? "the map model could not be applied" : why);
  }
  if (!file.Close() || (!in_place && !CommitPart(target, item_.out_path))) {
    discard();
    return Fail("writing " + item_.out_path + " failed: " + file.Error());
  }
  return 1;
}
