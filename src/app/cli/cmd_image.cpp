// qvlmodel image: the dirty image (and beam) of a UVX file as FITS, to see what an observation
// plan gives before the data leave the program.
#include <cstdio>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <system_error>
#include <vector>

#include "app/cli/commands.h"
#include "app/cli/terminal.h"
#include "imaging/dirty_image.h"

namespace {

struct ImageArgs {
  std::string in;
  std::string out;
  std::string psf;
  std::uint32_t size = 0;
  double cell_mas = 0;
  std::vector<std::string> weight{"natural"};
  std::string stokes = "I";
  double accuracy = 1e-6;
  bool json = false;
};

constexpr const char* kMe = "qvlmodel image";

int Fail(const std::string& what) {
  std::fprintf(stderr, "%s: %s\n", kMe, what.c_str());
  return 1;
}

// "natural", "uniform" or "briggs R".
int ParseWeighting(const std::vector<std::string>& words, ADirtyImageParams& params) {
  if (words.empty()) return 0;
  if (words[0] == "natural" && words.size() == 1) params.weighting = AImageWeighting::Natural;
  else if (words[0] == "uniform" && words.size() == 1) params.weighting = AImageWeighting::Uniform;
  else if (words[0] == "briggs" && words.size() == 2) {
    params.weighting = AImageWeighting::Briggs;
    try {
      std::size_t used = 0;
      params.robust = std::stod(words[1], &used);
      if (used != words[1].size()) return 0;
    } catch (const std::exception&) {
      return 0;
    }
  } else {
    return 0;
  }
  return 1;
}

int RunImage(const ImageArgs& args) {
  if (args.out.empty()) return Fail("give the output image: -o DIRTY.fits");
  ADirtyImageParams params;
  params.size = args.size;
  params.cell_mas = args.cell_mas;
  params.accuracy = args.accuracy;
  if (!ParseWeighting(args.weight, params)) return Fail("--weight must be natural, uniform or briggs R (R a number)");
  if (!ParseImageStokes(args.stokes, params.stokes)) return Fail("--stokes must be I, RR, LL, XX or YY");
  const std::string bad = params.Validate();
  if (!bad.empty()) return Fail(bad);

  StopFlag stop{0};
  InterruptStop interrupt(stop);
  ADirtyImage image;
  std::string error;
  int ok = 0;
  {
    TerminalProgress progress;
    ok = MakeDirtyImage(args.in, params, image, &progress, &stop, &error);
  }
  if (!ok) {
    if (StopRequested(&stop)) {
      std::fprintf(stderr, "%s: stopped; nothing written\n", kMe);
      return 130;
    }
    return Fail(error);
  }
  if (!image.fit.ok) std::fprintf(stderr, "%s: no beam fitted: %s\n", kMe, image.fit.why.c_str());
  if (!WriteDirtyImageFits(args.out, image, false, &error)) return Fail(error);
  if (!args.psf.empty() && !WriteDirtyImageFits(args.psf, image, true, &error)) {
    std::error_code ec;
    std::filesystem::remove(args.out, ec);  // both files or neither
    return Fail(error);
  }
  if (args.json) {
    nlohmann::json j = {{"input", args.in},
                        {"image", args.out},
                        {"size", image.size},
                        {"cell_mas", image.cell_mas},
                        {"stokes", ImageStokesName(params.stokes)},
                        {"weighting", ImageWeightingName(params.weighting)},
                        {"points", image.source.points},
                        {"unit_weights", image.source.unit_weights},
                        {"uv_max_wavelengths", image.source.uv_max},
                        {"accuracy", params.accuracy},
                        {"peak", {{"jy_per_beam", image.peak}, {"x_mas", image.peak_x_mas}, {"y_mas", image.peak_y_mas}}}};
    if (params.weighting == AImageWeighting::Briggs) j["robust"] = params.robust;
    if (!args.psf.empty()) j["psf"] = args.psf;
    if (image.fit.ok)
      j["beam"] = {{"bmaj_mas", image.fit.bmaj_as * 1000}, {"bmin_mas", image.fit.bmin_as * 1000},
                   {"bpa_deg", image.fit.bpa_deg}};
    std::printf("%s\n", j.dump(2).c_str());
  } else {
    std::printf("Dirty image of %s: %u x %u pixels of %.6g mas, Stokes %s, %s weighting, %lld UV points\n",
                args.in.c_str(), image.size, image.size, image.cell_mas, ImageStokesName(params.stokes),
                ImageWeightingName(params.weighting), static_cast<long long>(image.source.points));
    if (image.fit.ok)
      std::printf("Beam:         %.4g x %.4g mas, position angle %.1f deg\n", image.fit.bmaj_as * 1000,
                  image.fit.bmin_as * 1000, image.fit.bpa_deg);
    std::printf("Peak:         %.6g Jy/beam at %.4g, %.4g mas (east, north)\n", double(image.peak), image.peak_x_mas,
                image.peak_y_mas);
    std::printf("Written:      %s%s%s\n", args.out.c_str(), args.psf.empty() ? "" : ", ", args.psf.c_str());
  }
  return 0;
}

}  // namespace

void AddImageCommand(CLI::App& app, CliContext& ctx) {
  auto args = std::make_shared<ImageArgs>();
  CLI::App* cmd = app.add_subcommand("image", "Dirty image and beam of a UVX file (FITS, Jy/beam)");
  cmd->add_option("input", args->in, "Input UVX file")->required();
  cmd->add_option("-o,--output", args->out, "Dirty image (FITS)");
  cmd->add_option("--psf", args->psf, "Also write the dirty beam (FITS)");
  cmd->add_option("--size", args->size, "Pixels per side, even (default: from the shortest and longest baselines)");
  cmd->add_option("--cell", args->cell_mas, "Pixel size in milliarcseconds (default: 1 / (4 x longest baseline))");
  cmd->add_option("--weight", args->weight, "natural (default), uniform or briggs R")->expected(1, 2);
  cmd->add_option("--stokes", args->stokes, "I (default), RR, LL, XX or YY");
  cmd->add_option("--accuracy", args->accuracy, "Relative accuracy of the NUFFT (default 1e-6)");
  cmd->add_flag("--json", args->json, "Print the summary as JSON");
  cmd->callback([args, &ctx] { ctx.exit_code = RunImage(*args); });
}
