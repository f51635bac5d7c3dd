// qvlmodel catalog: list, add and remove telescopes of Telescopes.dat in the base folder.
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "app/cli/commands.h"
#include "core/text.h"
#include "observation/obs_plausibility.h"
#include "observation/source_catalog.h"
#include "core/paths.h"
#include "observation/telescope_catalog.h"

namespace {

struct CatalogArgs {
  std::string base;
  bool json = false;
  std::string name, id, kind = "ground";
  std::vector<double> params;
  bool overwrite = false;
  std::string pattern;
};

// Answers the overwrite question from the command line (--yes), printing nothing.
class FixedAnswer final : public MessageSink {
 public:
  explicit FixedAnswer(Answer a) : answer_(a) {}
  void Show(std::string_view text) override { shown = text; }
  Answer Ask(std::string_view, Buttons, Answer) override { return answer_; }
  std::string shown;

 private:
  Answer answer_;
};

std::string CatalogPath(const CatalogArgs& a) { return BaseFolder(a.base) + kTelescopesFileName; }

// A warning on stderr for each identifier that more than one entry carries.
void WarnDuplicateIds(const char* me, const std::string& path, const AMTlscCatalog& cat) {
  for (const std::string& d : DuplicateTelescopeIds(cat))
    std::fprintf(stderr, "%s: warning: %s: %s share one identifier (a UVX file tells telescopes apart by it)\n", me,
                 path.c_str(), d.c_str());
}

nlohmann::json EntryJson(const AMTlscInfoItem& t) {
  return {{"name", t.name}, {"id", t.id_name}, {"kind", t.IsGround() ? "ground" : "orbital"},
          {"params", std::vector<double>(std::begin(t.params), std::end(t.params))}};
}

int RunList(const CatalogArgs& a) {
  AMTlscCatalog cat;
  LoadTelescopeFile(CatalogPath(a), cat);
  WarnDuplicateIds("qvlmodel catalog list", CatalogPath(a), cat);
  if (a.json) {
    nlohmann::json j = nlohmann::json::array();
    for (const AMTlscInfoItem& t : cat) j.push_back(EntryJson(t));
    std::printf("%s\n", nlohmann::json{{"file", CatalogPath(a)}, {"telescopes", j}}.dump(2).c_str());
    return 0;
  }
  std::printf("%s: %d telescope(s)\n", CatalogPath(a).c_str(), cat.count);
  for (const AMTlscInfoItem& t : cat) {
    if (t.IsGround())
      std::printf("  %-4s %-18s ground   X %.3f  Y %.3f  Z %.3f m  D %g m  AZ %g..%g  Z %g..%g deg\n",
                  t.id_name.c_str(), t.name.c_str(), t.params[0], t.params[1], t.params[2], t.params[3], t.params[4],
                  t.params[5], t.params[6], t.params[7]);
    else
      std::printf("  %-4s %-18s orbital  a %g km  e %g  i %g  node %g  perigee %g deg  epoch JD %.5f  M %g deg\n",
                  t.id_name.c_str(), t.name.c_str(), t.params[0], t.params[1], t.params[2], t.params[3], t.params[4],
                  t.params[5], t.params[6]);
  }
  return 0;
}

// Sources.dat of the base folder, the entries whose name or other name holds `pattern` (case
// ignored; all without one).
int RunSources(const CatalogArgs& a) {
  const std::string path = BaseFolder(a.base) + kSourcesFileName;
  AMSourceCatalog cat;
  if (!LoadSourceFile(path, cat, nullptr)) {
    std::fprintf(stderr, "qvlmodel catalog sources: %s: cannot open the file\n", path.c_str());
    return 2;
  }
  const std::string want = toUpper(a.pattern);
  nlohmann::json list = nlohmann::json::array();
  for (const AMSourceInfoItem& s : cat) {
    if (!want.empty() && toUpper(s.name).find(want) == std::string::npos &&
        toUpper(s.other_name).find(want) == std::string::npos)
      continue;
    if (a.json)
      list.push_back({{"name", s.name}, {"other_name", s.other_name}, {"ra", timeToStr(s.ra_time_s)},
                      {"dec", angleToStr(s.dec_arcsec)}});
    else
      std::printf("  %-12s %-12s %s  %s\n", s.name.c_str(), s.other_name.c_str(), timeToStr(s.ra_time_s).c_str(),
                  angleToStr(s.dec_arcsec).c_str());
  }
  if (a.json) std::printf("%s\n", nlohmann::json{{"file", path}, {"sources", list}}.dump(2).c_str());
  return 0;
}

int RunAdd(const CatalogArgs& a) {
  const std::string path = CatalogPath(a);
  if (a.kind != "ground" && a.kind != "orbital") {
    std::fprintf(stderr, "qvlmodel catalog add: --kind must be ground or orbital, not '%s'\n", a.kind.c_str());
    return 2;
  }
  if (a.params.size() < 7 || a.params.size() > 8) {
    std::fprintf(stderr, "qvlmodel catalog add: --params needs 8 values (7 for an orbital telescope), got %zu\n",
                 a.params.size());
    return 2;
  }
  AMTlscInfoItem item;
  item.name = a.name;
  item.id_name = a.id;
  item.ground = a.kind == "ground" ? kTlscGround : kTlscOrbital;
  for (std::size_t i = 0; i < a.params.size(); ++i) item.params[i] = a.params[i];
  FixedAnswer sink(a.overwrite ? Answer::Yes : Answer::No);
  const AMTlscCheck check = ValidateTelescope(item, &sink);
  if (!check.ok) {
    std::fprintf(stderr, "qvlmodel catalog add: %s\n", check.message);
    return 1;
  }
  AMTlscItem as_used(item);
  if (const std::string why = TelescopePlausibility(as_used); !why.empty()) {
    std::fprintf(stderr, "qvlmodel catalog add: %s %s: %s\n", item.name.c_str(), item.id_name.c_str(), why.c_str());
    return 1;
  }
  AMTlscCatalog cat;
  LoadTelescopeFile(path, cat);
  const AMInsertOutcome r = InsertTelescope(cat, item, &sink);
  if (r.result == AMInsertResult::Declined) {
    std::fprintf(stderr, "qvlmodel catalog add: %s %s: Telescope already exists (use --yes to overwrite)\n",
                 item.name.c_str(), item.id_name.c_str());
    return 1;
  }
  // The command line keeps the file's leading comment block (the desktop dialog rewrites the
  // entries alone).
  if (!SaveTelescopeFile(path, cat, &sink, LeadingComments(path))) {
    std::fprintf(stderr, "qvlmodel catalog add: %s: %s\n", path.c_str(), kErrTelescopeFile);
    return 1;
  }
  WarnDuplicateIds("qvlmodel catalog add", path, cat);
  const char* what = r.result == AMInsertResult::Overwritten ? "replaced" : "added";
  if (a.json)
    std::printf("%s\n", nlohmann::json{{"file", path}, {"result", what}, {"row", r.row + 1}, {"telescope", EntryJson(item)}}
                            .dump(2)
                            .c_str());
  else
    std::printf("%s %s %s in %s (line %d)\n", what, item.id_name.c_str(), item.name.c_str(), path.c_str(), r.row + 1);
  return 0;
}

int RunRemove(const CatalogArgs& a) {
  const std::string path = CatalogPath(a);
  AMTlscCatalog cat;
  LoadTelescopeFile(path, cat);
  const int at = FindTelescope(cat, a.name, a.id);
  if (at < 0) {
    std::fprintf(stderr, "qvlmodel catalog remove: %s: no telescope '%s%s%s'\n", path.c_str(), a.name.c_str(),
                 a.id.empty() ? "" : " ", a.id.c_str());
    return 1;
  }
  const AMTlscInfoItem removed = cat[at];
  cat.RemoveAt(at);
  FixedAnswer sink(Answer::No);
  if (!SaveTelescopeFile(path, cat, &sink, LeadingComments(path))) {
    std::fprintf(stderr, "qvlmodel catalog remove: %s: %s\n", path.c_str(), kErrTelescopeFile);
    return 1;
  }
  if (a.json)
    std::printf("%s\n", nlohmann::json{{"file", path}, {"removed", EntryJson(removed)}}.dump(2).c_str());
  else
    std::printf("removed %s %s from %s\n", removed.id_name.c_str(), removed.name.c_str(), path.c_str());
  return 0;
}

}  // namespace

void AddCatalogCommand(CLI::App& app, CliContext& ctx) {
  auto args = std::make_shared<CatalogArgs>();
  CLI::App* cmd = app.add_subcommand("catalog", "The catalogues: Telescopes.dat (list, add, remove) and Sources.dat (sources)");
  cmd->require_subcommand(1, 1);
  cmd->fallthrough();  // --base and --json may follow the action too
  cmd->add_option("--base", args->base, "Base folder holding Telescopes.dat")
      ->check(ExistingBaseFolder());
  cmd->add_flag("--json", args->json, "Print the results as JSON");

  CLI::App* list = cmd->add_subcommand("list", "List the telescopes");
  list->callback([args, &ctx] { ctx.exit_code = RunList(*args); });

  CLI::App* sources = cmd->add_subcommand("sources", "List the source catalogue Sources.dat");
  sources->add_option("pattern", args->pattern, "Only the sources whose name or other name holds this text");
  sources->callback([args, &ctx] { ctx.exit_code = RunSources(*args); });

  CLI::App* add = cmd->add_subcommand("add", "Add a telescope (checked like the edit dialog)");
  add->add_option("--name", args->name, "Telescope name (blanks become '_')")->required();
  add->add_option("--id", args->id, "Short ID name")->required();
  add->add_option("--kind", args->kind, "ground or orbital")->capture_default_str();
  add->add_option("--params", args->params,
                  "ground: X Y Z [m] (Y toward 90 deg West) D [m] AZmin AZmax Zmin Zmax [deg]; orbital: a [km] e "
                  "i node perigee [deg] epoch [JD] M [deg]")
      ->required()
      ->expected(7, 8);
  add->add_flag("--yes", args->overwrite, "Overwrite an entry with the same name and ID");
  add->callback([args, &ctx] { ctx.exit_code = RunAdd(*args); });

  CLI::App* remove = cmd->add_subcommand("remove", "Remove a telescope by name (and ID)");
  remove->add_option("name", args->name, "Telescope name (letter case ignored)")->required();
  remove->add_option("id", args->id, "ID name, when several entries share the name");
  remove->callback([args, &ctx] { ctx.exit_code = RunRemove(*args); });
}
