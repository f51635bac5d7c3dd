// qvlmodel export IN.uvx -o OUT.uvfits|OUT.ms / qvlmodel import IN.uvfits|IN.ms -o OUT.uvx: the
// interchange with AIPS, CASA, Difmap, WSClean and the other tools (docs/uvfits.md, docs/ms.md).
// A Measurement Set is chosen by the name: a directory, or a name ending in ".ms".
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <functional>
#include <map>
#include <string>

#include "app/cli/commands.h"
#include "app/cli/terminal.h"
#include "core/paths.h"
#include "ms/ms_export.h"
#include "ms/ms_import.h"
#include "ms/ms_output.h"
#include "uvx/uvfits_export.h"
#include "observation/telescope_catalog.h"
#include "uvx/uvfits_import.h"

namespace {

struct UVFitsArgs {
  std::string input;
  std::string output;
  std::string weights = "auto";
  std::string frame = "j2000";
  std::string column = "DATA";
  std::string base;
  bool json = false;
};

// Dish diameters of the ground telescopes of the catalogue in the base folder, by the name a
// UVX AN table gives them (the first 8 characters); empty when there is no catalogue.
std::map<std::string, double> CatalogueDiameters(const std::string& base) {
  std::map<std::string, double> out;
  AMTlscCatalog catalog;
  LoadTelescopeFile(BaseFolder(base) + "/" + kTelescopesFileName, catalog);
  for (int i = 0; i < catalog.GetSize(); ++i)
    if (catalog[i].IsGround()) out.emplace(catalog[i].name.substr(0, 8), catalog[i].params[tlsc::kDiameter]);
  return out;
}

// IN with its extension replaced by `ext` (".uvfits" for an export, ".uvx" for an import).
std::string DefaultOutput(std::string input, const char* ext) {
  while (input.size() > 1 && input.back() == '/') input.pop_back();  // a Measurement Set directory
  const auto slash = input.find_last_of('/');
  const auto dot = input.find_last_of('.');
  const bool has_ext = dot != std::string::npos && (slash == std::string::npos || dot > slash);
  return (has_ext ? input.substr(0, dot) : input) + ext;
}

using Runner = std::function<int(const std::string&, const std::string&, ProgressSink*, StopFlag*, MessageSink*,
                                 std::string&, UVFitsSummary*)>;

int RunConversion(const char* me, const UVFitsArgs& args, const char* ext, Runner run) {
  const std::string out = args.output.empty() ? DefaultOutput(args.input, ext) : args.output;
  if (out == args.input) {
    std::fprintf(stderr, "%s: %s: the output would replace the input (give -o)\n", me, args.input.c_str());
    return 2;
  }
  StopFlag stop{0};
  InterruptStop interrupt(stop);
  TerminalMessages messages(false);
  UVFitsSummary summary;
  std::string error;
  int ok = 0;
  {
    TerminalProgress progress;
    ok = run(args.input, out, &progress, &stop, &messages, error, &summary);
  }
  if (!ok) {
    if (StopRequested(&stop)) {
      std::fprintf(stderr, "%s: stopped; nothing written\n", me);
      return 130;
    }
    std::fprintf(stderr, "%s: %s: %s\n", me, args.input.c_str(), error.c_str());
    return 1;
  }
  if (args.json) {
    const nlohmann::json j = {{"input", args.input},           {"output", out},
                              {"groups", summary.groups},      {"telescopes", summary.telescopes},
                              {"n_if", summary.n_if},          {"n_channels", summary.n_channels},
                              {"n_stokes", summary.n_stokes},  {"frequency_setups", summary.freq_setups},
                              {"bytes", summary.bytes},        {"unit_weights", summary.unit_weights},
                              {"frame", summary.j2000 ? "j2000" : "date"}};
    std::printf("%s\n", j.dump(2).c_str());
  } else {
    std::printf("Groups:       %lld\n", static_cast<long long>(summary.groups));
    std::printf("Telescopes:   %d\n", summary.telescopes);
    std::printf("IFs x channels x Stokes: %d x %d x %d, %d frequency set-up(s)\n", summary.n_if, summary.n_channels,
                summary.n_stokes, summary.freq_setups);
    std::printf("u, v, w:      %s\n", summary.j2000 ? "J2000 axes in the UVFITS file or Measurement Set" : "as stored (frame of date)");
    if (summary.unit_weights) std::printf("Weights:      all 0 in the UVX file, written as 1 (--weights stored keeps them)\n");
    std::printf("Written:      %s (%lld bytes)\n", out.c_str(), static_cast<long long>(summary.bytes));
  }
  return 0;
}

CLI::App* AddConversion(CLI::App& app, const char* name, const char* help, const char* in_help, const char* out_help,
                        std::shared_ptr<UVFitsArgs> args) {
  CLI::App* cmd = app.add_subcommand(name, help);
  cmd->add_option("input", args->input, in_help)->required();
  cmd->add_option("-o,--output", args->output, out_help);
  cmd->add_flag("--json", args->json, "Print the summary as JSON");
  cmd->add_option("--frame", args->frame,
                  "Axes of UU, VV, WW in the UVFITS file (UVW in a Measurement Set): j2000 (default: those of the J2000 phase centre, as "
                  "AIPS, CASA and WSClean read them) or date (the UVX file's own: the apparent direction of date)")
      ->check(CLI::IsMember({"j2000", "date"}));
  return cmd;
}

}  // namespace

void AddUVFitsCommands(CLI::App& app, CliContext& ctx) {
  auto ex = std::make_shared<UVFitsArgs>();
  CLI::App* export_cmd =
      AddConversion(app, "export",
                    "Write a UVX file as UVFITS (AIPS random groups with AN, FQ, SU tables) or, for an output "
                    "ending in .ms, as a Measurement Set", "UVX file",
                    "Output UVFITS file or Measurement Set directory (.ms) (default: the input with .uvfits)", ex);
  export_cmd
      ->add_option("--weights", ex->weights,
                   "auto (default: 1 when every weight of the file is 0, else as stored), stored, or unit (all 1)")
      ->check(CLI::IsMember({"auto", "stored", "unit"}));
  export_cmd->add_option("--base", ex->base,
                         "Measurement Set: folder holding Telescopes.dat, whose dish diameters fill DISH_DIAMETER")
      ->check(ExistingBaseFolder());
  export_cmd->callback([ex, &ctx] {
    const UVFitsWeights w = ex->weights == "unit"     ? UVFitsWeights::Unit
                            : ex->weights == "stored" ? UVFitsWeights::AsStored
                                                      : UVFitsWeights::Auto;
    const UVFitsFrame frame = ex->frame == "date" ? UVFitsFrame::Date : UVFitsFrame::J2000;
    const std::string base = ex->base;
    ctx.exit_code = RunConversion("qvlmodel export", *ex, ".uvfits",
                                  [w, frame, base](const std::string& in, const std::string& out, ProgressSink* p,
                                                   StopFlag* s, MessageSink* m, std::string& e, UVFitsSummary* sum) {
                                    if (!ms::LooksLikeMS(out)) return ExportUVFITS(in, out, p, s, m, e, sum, w, frame);
                                    MSExportOptions options;
                                    options.weights = w, options.frame = frame;
                                    options.dish_diameters = CatalogueDiameters(base);
                                    return ExportMS(in, out, p, s, m, e, sum, options);
                                  });
  });
  auto im = std::make_shared<UVFitsArgs>();
  CLI::App* import_cmd =
      AddConversion(app, "import",
                    "Read a UVFITS file (AIPS, CASA, ours) or a Measurement Set (a directory or a name ending in "
                    ".ms) into a UVX file", "UVFITS file or Measurement Set",
                    "Output UVX file (default: the input with .uvx)", im);
  import_cmd->add_option("--data-column", im->column, "Measurement Set: the data column to read (default DATA)");
  import_cmd->callback([im, &ctx] {
    const UVFitsFrame frame = im->frame == "date" ? UVFitsFrame::Date : UVFitsFrame::J2000;
    const std::string column = im->column;
    ctx.exit_code = RunConversion("qvlmodel import", *im, ".uvx",
                                  [frame, column](const std::string& in, const std::string& out, ProgressSink* p,
                                                  StopFlag* s, MessageSink* m, std::string& e, UVFitsSummary* sum) {
                                    if (ms::LooksLikeMS(in)) return ImportMS(in, out, p, s, m, e, sum, frame, column);
                                    return ImportUVFITS(in, out, p, s, m, e, sum, frame);
                                  });
  });
}
