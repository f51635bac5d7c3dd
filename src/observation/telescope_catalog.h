#pragma once
// The telescope catalogue "Telescopes.dat": reading, writing, ordering, insertion and the
// validation of the edit dialog.
//
// Line format: the 1-based line number, one blank, then
//   "%s %s\t%.15g\t%.15g\t%.15g\t%.15g\t%.15g\t%.15g\t%.15g\t%.15g\t%d"
// with the ID name, the name, the eight parameters and the kind code, which in the file is the
// negation of the ground flag (0 ground, 1 orbital). Lines are read with a 128-byte buffer; an
// empty line or one starting with ';' is a comment, skipped (and lost on rewriting).

#include <istream>
#include <string>
#include <string_view>
#include <vector>

#include "core/containers.h"
#include "core/runtime.h"
#include "observation/tlsc_item.h"

inline constexpr const char* kTelescopesFileName = "Telescopes.dat";
inline constexpr std::size_t kCatalogLineBytes = 128;
inline constexpr const char* kErrTelescopeFile = "err telescope file";
inline constexpr const char* kTelescopeNameEmpty = "Telescope name must be not empty.";
inline constexpr const char* kTelescopeIdEmpty = "Telescope ID name must be not empty.";
inline constexpr const char* kInvalidSemimajorAxis = "Invalid semimajor axis.";
inline constexpr const char* kInvalidEccentricity = "Invalid eccentrity.";
inline constexpr const char* kPericentreTooLow = "Pericentric distance of orbit is too low!";
inline constexpr const char* kAzLimits = "AZmin must be less than AZmax";
inline constexpr const char* kZLimits = "Zmin must be less than Zmax";
// Earth radius 6378 km plus 100 km: the lowest pericentre distance accepted.
inline constexpr double kMinPericentreKm = 6478.0;

using AMTlscCatalog = AObjArray<AMTlscInfoItem>;

// +1 when `a` sorts before `b`, -1 when after, 0 when name and ID name are equal; both compared
// in upper case (name first, then ID name).
int CompareTlscInfo(const AMTlscInfoItem& a, const AMTlscInfoItem& b);
// The negation of CompareTlscInfo (-1 when a sorts first), for sorting.
int CompareTlscInfoForSort(const AMTlscInfoItem& a, const AMTlscInfoItem& b);
// Sorts the catalogue in ascending order (stable).
void SortTlscCatalog(AMTlscCatalog& catalog);

// One line of the file without its line feed; `line_number` is 1-based.
std::string FormatTelescopeLine(int line_number, const AMTlscInfoItem& item);
// Parses one non-comment line; returns the number of fields converted (12 when complete). The
// fields that were not read keep their cleared values; `extra` is 0. A parameter that is not a
// finite number ends the parse like a field that does not convert.
int ParseTelescopeLine(std::string_view line, AMTlscInfoItem& item);

// Index of the first of the `fields` parsed fields that holds a parameter that is not a finite
// number, -1 when there is none.
int FirstNonFiniteParameter(const AMTlscInfoItem& item, int fields);

// Most entries read from a catalogue file.
inline constexpr int kMaxCatalogEntries = 65536;

// Reads a catalogue: entries appended in file order, not sorted. Always non-zero for a stream.
// A line holding a parameter that is not a finite number ("nan", "inf", 1e999) is refused and
// left out, as are lines beyond kMaxCatalogEntries entries; `refused` then names the first of
// them and how many there were.
int ReadTelescopes(std::istream& in, AMTlscCatalog& catalog, std::string* refused = nullptr);
// Writes all entries, numbered from 1.
void WriteTelescopes(std::ostream& out, const AMTlscCatalog& catalog);
// Loads `path` into a cleared catalogue; a missing file gives an empty catalogue (returns 0,
// with no message).
int LoadTelescopeFile(const std::string& path, AMTlscCatalog& catalog, std::string* refused = nullptr);
// Rewrites the whole file (beside the target, then renamed); on failure shows
// "err telescope file" and returns 0. `leading` (the comment block of LeadingComments, lines with
// their line feeds) is written before the entries; empty, the file holds the entries alone.
int SaveTelescopeFile(const std::string& path, const AMTlscCatalog& catalog, MessageSink* messages,
                      const std::string& leading = {});
// The comment block at the top of a catalogue file: the comment and blank lines before its first
// entry, each with its line feed; empty for a missing file.
std::string LeadingComments(const std::string& path);

// Identifiers carried by more than one entry (letter case ignored), one text per identifier:
// "ID EF: Effelsberg, Effelsberg_2". An identifier names one telescope in a UVX file's tables.
std::vector<std::string> DuplicateTelescopeIds(const AMTlscCatalog& catalog);

// Binary search over the ordered catalogue: index of the entry equal to `item` (ignoring case)
// with `found` set, or the insertion position with `found` cleared.
int FindTlscInsertPosition(const AMTlscCatalog& catalog, const AMTlscInfoItem& item, bool& found);

enum class AMInsertResult { Inserted, Overwritten, Declined };
struct AMInsertOutcome {
  AMInsertResult result = AMInsertResult::Declined;
  int row = -1;  // the selected row after the operation (-1 when declined)
};
// Inserts in order. An existing entry of the same name and ID name asks message 520 (Yes/No,
// default No); Yes overwrites it with every field of `item`. The file is not written here.
AMInsertOutcome InsertTelescope(AMTlscCatalog& catalog, const AMTlscInfoItem& item, MessageSink* messages);

// Finds an entry by name (and ID name when not empty), ignoring case; -1 when absent.
int FindTelescope(const AMTlscCatalog& catalog, std::string_view name, std::string_view id_name = {});

// Blank handling of the edit dialog: trims leading and trailing blanks and turns each inner
// blank into '_' (" Big  Dish " gives "Big__Dish").
std::string NormalizeTelescopeName(std::string_view text);

// Edit-dialog validation, in order: name, ID name (both normalised in place), then orbital
// semimajor axis, eccentricity, pericentre; or ground AZ and Z limits. `field` names the
// offending dialog field: 0 name, 1 ID name, 2.. parameter index + 2.
struct AMTlscCheck {
  int ok = 1;
  const char* message = nullptr;
  int field = -1;
};
AMTlscCheck ValidateTelescope(AMTlscInfoItem& item, MessageSink* messages = nullptr);
