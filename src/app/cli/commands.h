#pragma once
// Each subcommand of qvlmodel registers itself on the application. The registered callback sets
// `exit_code`; a failure prints one line on stderr and leaves a non-zero code.

#include <CLI/CLI.hpp>

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "observation/obs_plausibility.h"

struct CliContext {
  int exit_code = 0;
};

// Prints the problems of an observation, errors and warnings, one line each on stderr (after
// "ME: FILE: "); 0 when one of them is an error.
int ReportProblems(const char* me, const std::string& file, const std::vector<AMObsProblem>& problems);

// The check of every --base option: the folder must exist (a mistyped folder would otherwise give
// an empty catalogue); a failure is a usage error.
inline CLI::Validator ExistingBaseFolder() {
  return CLI::Validator(
      [](std::string& folder) {
        std::error_code ec;
        if (std::filesystem::is_directory(folder, ec)) return std::string();
        return "the base folder " + folder + " does not exist (give the folder holding Telescopes.dat)";
      },
      "DIR");
}

void AddTimeCommand(CLI::App& app, CliContext& ctx);
void AddObsCommand(CLI::App& app, CliContext& ctx);
void AddCatalogCommand(CLI::App& app, CliContext& ctx);
void AddInfoCommand(CLI::App& app, CliContext& ctx);
void AddConfigureCommand(CLI::App& app, CliContext& ctx);
void AddUVFitsCommands(CLI::App& app, CliContext& ctx);  // export, import
void AddErrorsCommand(CLI::App& app, CliContext& ctx);
void AddNoiseCommand(CLI::App& app, CliContext& ctx);
void AddModelCommand(CLI::App& app, CliContext& ctx);
void AddImageCommand(CLI::App& app, CliContext& ctx);
void AddRunCommand(CLI::App& app, CliContext& ctx);
