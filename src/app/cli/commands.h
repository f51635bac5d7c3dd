#pragma once
// Each subcommand of qvlmodel registers itself on the application. The registered callback sets
// `exit_code`; a failure prints one line on stderr and leaves a non-zero code.

#include <CLI/CLI.hpp>

struct CliContext {
  int exit_code = 0;
};

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
