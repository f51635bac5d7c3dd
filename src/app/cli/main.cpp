// qvlmodel: the command-line face of QVLModel.
#include <cstdio>
#include <exception>

#include "app/cli/commands.h"

int main(int argc, char** argv) {
  CLI::App app{"QVLModel: VLBI observation simulator for ground and space telescopes", "qvlmodel"};
  app.set_version_flag("--version", std::string("qvlmodel ") + QVL_VERSION);
  app.require_subcommand(1, 1);
  // One line on stderr for every usage error.
  app.failure_message([](const CLI::App*, const CLI::Error& e) {
    return std::string("qvlmodel: ") + e.what() + " (qvlmodel COMMAND --help lists the options)\n";
  });
  CliContext ctx;
  AddTimeCommand(app, ctx);
  AddObsCommand(app, ctx);
  AddCatalogCommand(app, ctx);
  AddInfoCommand(app, ctx);
  AddConfigureCommand(app, ctx);
  AddModelCommand(app, ctx);
  AddImageCommand(app, ctx);
  AddUVFitsCommands(app, ctx);
  AddErrorsCommand(app, ctx);
  AddNoiseCommand(app, ctx);
  AddRunCommand(app, ctx);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    // --help and --version end with 0; every other parse failure is a usage error: 2.
    return app.exit(e) == 0 ? 0 : 2;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "qvlmodel: %s\n", e.what());
    return 1;
  }
  return ctx.exit_code;
}
